// mrvl_esw_devmain: the one call through which the host starts the library.
#include <cstring>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"

extern "C" {

ESW_EXPORT void* devtab[16] = {};

ESW_EXPORT int32_t mrvl_esw_devmain(void) {
    using Log = esw::Log<esw::Src::drv>;
    char name[12];
    std::memcpy(name, "mrvl_switch", sizeof name);

    // A failed bring-up still registers the device: commands may then meet a partly configured
    // chip, which each command reports through its own result.
    if (initKPMD() != 0) Log::error("mrvl_esw_devmain: switch bring-up failed");

    std::memset(devtab, 0, sizeof devtab);
    devtab[ESW_DEVTAB_OPEN] = reinterpret_cast<void*>(&mrvl_esw_open);
    devtab[ESW_DEVTAB_CLOSE] = reinterpret_cast<void*>(&mrvl_esw_close);
    devtab[ESW_DEVTAB_IOCTL] = reinterpret_cast<void*>(&mrvl_esw_ioctl);
    announce(name, devtab);
    return 0;
}

}
