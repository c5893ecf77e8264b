#include "tools/eswctl/driver_loader.h"

#include <dlfcn.h>

namespace eswctl {
namespace {

template <typename T>
bool resolve(void* library, const char* name, T* out, std::string* why) {
    dlerror();
    void* symbol = dlsym(library, name);
    if (!symbol) {
        if (why) *why = std::string("symbol ") + name + " not found";
        return false;
    }
    *out = reinterpret_cast<T>(symbol);
    return true;
}

}  // namespace

bool load_driver(const std::string& path, Driver* out, std::string* why) {
    // RTLD_NOW: a host symbol the driver needs and this program lacks fails here, not mid-command.
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* error = dlerror();
        *why = error ? error : "dlopen failed";
        return false;
    }
    Driver d;
    d.path = path;
    d.library = library;
    if (!resolve(library, "mrvl_esw_devmain", &d.devmain, why) ||
        !resolve(library, "mrvl_esw_open", &d.open, why) ||
        !resolve(library, "mrvl_esw_close", &d.close, why) ||
        !resolve(library, "mrvl_esw_ioctl", &d.ioctl, why)) {
        *why = path + ": " + *why;
        dlclose(library);
        return false;
    }
    resolve(library, "mrvl_set_link_speed_led", &d.setLinkSpeedLeds, nullptr);
    resolve(library, "mrvl_set_port_speed_led", &d.setPortSpeedLed, nullptr);
    resolve(library, "eswCpuStats", &d.cpuStats, nullptr);
    resolve(library, "uc_mac_acl_handle_p", &d.ucAclHandle, nullptr);
    resolve(library, "mc_mac_acl_handle_p", &d.mcAclHandle, nullptr);
    *out = d;
    return true;
}

}  // namespace eswctl
