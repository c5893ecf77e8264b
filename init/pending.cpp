// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {

ESW_EXPORT EswDeviceInfo kpmdDeviceInfo = {};
ESW_EXPORT uint64_t uc_mac_acl_handle_p[1] = {};
ESW_EXPORT uint64_t mc_mac_acl_handle_p[1] = {};

ESW_EXPORT int32_t initKPMD(void) { ESW_PENDING(initKPMD); }
ESW_EXPORT void initKpmdPcl(uint8_t /*device*/) {}

}
