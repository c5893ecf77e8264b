// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {

ESW_EXPORT EswCpuPortStats eswCpuStats[25] = {};

ESW_EXPORT int32_t mrvl_esw_cpu_rx_callback(uint32_t /*ifIndex*/, uint16_t /*length*/, uint8_t* /*frame*/) { ESW_PENDING(mrvl_esw_cpu_rx_callback); }
ESW_EXPORT pcap_t* get_pcap_from_ifindex(uint32_t /*ifIndex*/) { esw::Log<esw::Src::drv>::error("%s: not available in this build yet", "get_pcap_from_ifindex"); return nullptr; }
ESW_EXPORT void mrvl_cpu_clear_stats(void) {}
ESW_EXPORT uint32_t mrvl_esw_ioctl_cpu_tx(EswFrameworkHandle* /*handle*/, uint32_t /*cmd*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_cpu_tx); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_reg_cpu_rx_callback(EswFrameworkHandle* /*handle*/, uint32_t /*cmd*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_reg_cpu_rx_callback); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_clr_cpu_stats(EswFrameworkHandle* /*handle*/, uint32_t /*cmd*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_clr_cpu_stats); }
void init_lacp_interfaces(void) { esw::Log<esw::Src::drv>::error("%s: not available in this build yet", "init_lacp_interfaces"); }
int32_t open_all_lacp_interfaces(void) { ESW_PENDING(open_all_lacp_interfaces); }
void* rx_poll_task(void* /*arg*/) { esw::Log<esw::Src::drv>::error("%s: not available in this build yet", "rx_poll_task"); return nullptr; }
EswCpuPortStats* mrvl_cpu_get_stats(void) { esw::Log<esw::Src::drv>::error("%s: not available in this build yet", "mrvl_cpu_get_stats"); return nullptr; }

}
