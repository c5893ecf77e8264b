// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {


ESW_EXPORT uint32_t mrvl_esw_add_egress_vlan_tag_mode(EswFrameworkHandle* /*handle*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_add_egress_vlan_tag_mode); }
ESW_EXPORT uint32_t mrvl_esw_remove_egress_vlan_tag_mode(EswFrameworkHandle* /*handle*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_remove_egress_vlan_tag_mode); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_forward_filter_cfg(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/, uint32_t /*cmd*/) { ESW_PENDING(mrvl_esw_ioctl_forward_filter_cfg); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_access_mode(uint32_t /*dev*/, uint32_t /*port*/) { ESW_PENDING(mrvl_esw_ioctl_set_port_to_access_mode); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_trunk_mode(uint32_t /*dev*/, uint32_t /*port*/) { ESW_PENDING(mrvl_esw_ioctl_set_port_to_trunk_mode); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_protected_mode(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_port_to_protected_mode); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_add_vlan(uint32_t /*dev*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_add_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_vlan(uint32_t /*dev*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_remove_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_to_aport(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_vlan_to_aport); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_reset_vlan_of_aport(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_reset_vlan_of_aport); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_add_port_to_vlan(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_add_port_to_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_port_from_vlan(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_remove_port_from_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_add_native_vlan(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_tport_add_native_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_remove_native_vlan(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_tport_remove_native_vlan); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_port_l2_mode(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/, uint32_t /*cmd*/) { ESW_PENDING(mrvl_esw_ioctl_port_l2_mode); }
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_forwarding_mode(uint32_t /*dev*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_ioctl_set_vlan_forwarding_mode); }
ESW_EXPORT uint32_t mrvl_esw_allow_vlan_on_dataplane_port(uint32_t /*dev*/, uint32_t /*vlan*/) { ESW_PENDING(mrvl_esw_allow_vlan_on_dataplane_port); }
ESW_EXPORT uint32_t file_exists(const char* /*path*/) { ESW_PENDING(file_exists); }
ESW_EXPORT uint32_t platform_supports_switching(void) { ESW_PENDING(platform_supports_switching); }
uint32_t mrvl_esw_translate_vlan_id(uint32_t /*vlanId*/) { ESW_PENDING(mrvl_esw_translate_vlan_id); }

}
