// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {


ESW_EXPORT uint32_t mrvl_esw_ioctl_static_mac_cfg(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/, uint32_t /*cmd*/) { ESW_PENDING(mrvl_esw_ioctl_static_mac_cfg); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_monitor(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_port_monitor); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_get_eee(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_get_eee); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_eee(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_eee); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_config_storm_control(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_config_storm_control); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_get_storm_control_status(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_get_storm_control_status); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_security(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_port_security); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_mac_learning(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_mac_learning); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_flush_mac_cfg(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/, uint32_t /*cmd*/) { ESW_PENDING(mrvl_esw_ioctl_flush_mac_cfg); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_max_num_mac(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_max_num_mac); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_age_time(uint32_t /*dev*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_age_time); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_populate_vlan_mac_db(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_populate_vlan_mac_db); }

}
