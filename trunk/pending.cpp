// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {


ESW_EXPORT uint32_t mrvl_esw_ioctl_portchannel_cfg(EswFrameworkHandle* /*handle*/, uint32_t /*cmd*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_portchannel_cfg); }

}
