// The command set of mrvl_esw_ioctl as data: one row per command number 8192..8255 with its name,
// what the dispatcher does with it and how it reports the result. The dispatcher is a lookup in
// this table and one call.
#pragma once

#include <array>
#include <cstdint>
#include <variant>

#include "driver/esw_driver.h"

namespace esw {

// The ten argument forms in which the dispatcher hands a command to its handler.
using F1 = uint32_t (*)(uint32_t dev, uint32_t port, void* arg);
using F2 = uint32_t (*)(uint32_t dev, uint32_t port, void* arg, uint32_t cmd);
using F3 = uint32_t (*)(EswFrameworkHandle* handle, void* arg);
using F4 = uint32_t (*)(EswFrameworkHandle* handle, uint32_t cmd, void* arg);
using F5 = uint32_t (*)(uint32_t dev, void* arg);
using F6 = uint32_t (*)(uint32_t dev, uint32_t port);
using F7 = uint32_t (*)(uint32_t dev, uint32_t port, uint32_t value);
using F8 = uint32_t (*)(EswFrameworkHandle* handle, int32_t value);
using F9 = uint32_t (*)(EswFrameworkHandle* handle);
using F10 = uint32_t (*)(void* arg);

struct Unhandled {};  // default branch: logged, -1
struct Accepted {};   // answered with success, nothing called

using Action = std::variant<Unhandled, Accepted, F1, F2, F3, F4, F5, F6, F7, F8, F9, F10>;

// Whether the host sees the handler's result or always success.
enum class Report : uint8_t { handler, always_zero };

struct Command {
    uint32_t number;
    const char* name;  // null for the one code among 8222..8224 that has no name
    Action action;
    Report report = Report::handler;
};

// clang-format off
inline constexpr std::array<Command, ESW_COMMAND_COUNT> kCommands{{
    {NIC_LNK_TYPE, "NIC_LNK_TYPE", F7{mrvl_esw_set_link_type}},
    {NIC_STATS, "NIC_STATS", F3{mrvl_esw_get_nic_stats}, Report::always_zero},
    {NIC_LINK, "NIC_LINK", F1{mrvl_get_nic_link_ioctl}, Report::always_zero},
    {NIC_CLR_STATS, "NIC_CLR_STATS", F9{mrvl_esw_clear_nic_stats}},
    {NIC_STATUS, "NIC_STATUS", F1{mrvl_esw_set_nic_status}},
    {NIC_GET_SFP_INFO, "NIC_GET_SFP_INFO", Unhandled{}},
    {NIC_GET_MAX_FRM_LEN, "NIC_GET_MAX_FRM_LEN", F3{mrvl_esw_get_mru}},
    {NIC_SET_MAX_FRM_LEN, "NIC_SET_MAX_FRM_LEN", F8{mrvl_esw_set_mru}},
    {NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE, "NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE", F3{mrvl_esw_add_egress_vlan_tag_mode}},
    {NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE, "NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE", F3{mrvl_esw_remove_egress_vlan_tag_mode}},
    {NIC_MC_MODE, "NIC_MC_MODE", F2{mrvl_esw_ioctl_forward_filter_cfg}},
    {IOCTL_SW_CPU_TX, "IOCTL_SW_CPU_TX", F4{mrvl_esw_ioctl_cpu_tx}},
    {IOCTL_SW_REG_CPU_RX_CALLBACK, "IOCTL_SW_REG_CPU_RX_CALLBACK", F4{mrvl_esw_ioctl_reg_cpu_rx_callback}},
    {IOCTL_SW_CLR_CPU_STATS, "IOCTL_SW_CLR_CPU_STATS", F4{mrvl_esw_ioctl_clr_cpu_stats}},
    {IOCTL_SW_TRUNK_MEMBERS_SET, "IOCTL_SW_TRUNK_MEMBERS_SET", F4{mrvl_esw_ioctl_portchannel_cfg}},
    {IOCTL_SW_TRUNK_MEMBER_CFG, "IOCTL_SW_TRUNK_MEMBER_CFG", F4{mrvl_esw_ioctl_portchannel_cfg}},
    {IOCTL_SW_ADD_TOS_PORT_PORT_FWDING, "IOCTL_SW_ADD_TOS_PORT_PORT_FWDING", Unhandled{}},
    {IOCTL_SW_REM_TOS_PORT_PORT_FWDING, "IOCTL_SW_REM_TOS_PORT_PORT_FWDING", Unhandled{}},
    {IOCTL_SW_ADD_ETYPE_PORT_REDIRECT, "IOCTL_SW_ADD_ETYPE_PORT_REDIRECT", Unhandled{}},
    {IOCTL_SW_REMOVE_ETYPE_PORT_REDIRECT, "IOCTL_SW_REMOVE_ETYPE_PORT_REDIRECT", Unhandled{}},
    {IOCTL_SW_ADD_CCL_PORT_REDIRECT, "IOCTL_SW_ADD_CCL_PORT_REDIRECT", Unhandled{}},
    {IOCTL_SW_REMOVE_CCL_PORT_REDIRECT, "IOCTL_SW_REMOVE_CCL_PORT_REDIRECT", Unhandled{}},
    {NIC_SET_MAX_CAP, "NIC_SET_MAX_CAP", F3{mrvl_esw_set_nic_max_cap}},
    {NIC_MODE, "NIC_MODE", F2{mrvl_esw_ioctl_forward_filter_cfg}},
    {NIC_SETMAC, "NIC_SETMAC", Unhandled{}},
    {NIC_REG_MC_HW, "NIC_REG_MC_HW", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {NIC_UNREG_MC_HW, "NIC_UNREG_MC_HW", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {NIC_SET_MAC_TABLE, "NIC_SET_MAC_TABLE", Unhandled{}},
    {NIC_SET_MCAST_MAC_TABLE, "NIC_SET_MCAST_MAC_TABLE", Unhandled{}},
    {NIC_SHOW_SWITCH_GLOBAL_INFO, "NIC_SHOW_SWITCH_GLOBAL_INFO", F10{mrvl_esw_show_global_info}},
    {IOCTL_GET_SWDRV_DBG_CNTRS, "IOCTL_GET_SWDRV_DBG_CNTRS", Unhandled{}},
    {IOCTL_DBG_GET_PHY_REGS, "IOCTL_DBG_GET_PHY_REGS", Unhandled{}},
    {0x2020, nullptr, Unhandled{}},
    {IOCTL_SW_PORT_MODE_ACCESS, "IOCTL_SW_PORT_MODE_ACCESS", F6{mrvl_esw_ioctl_set_port_to_access_mode}},
    {IOCTL_SW_PORT_MODE_TRUNK, "IOCTL_SW_PORT_MODE_TRUNK", F6{mrvl_esw_ioctl_set_port_to_trunk_mode}},
    {IOCTL_SW_PORT_MODE_PROTECTED, "IOCTL_SW_PORT_MODE_PROTECTED", F1{mrvl_esw_ioctl_set_port_to_protected_mode}},
    {IOCTL_SW_ADD_NEW_VLAN, "IOCTL_SW_ADD_NEW_VLAN", F5{mrvl_esw_ioctl_add_vlan}},
    {IOCTL_SW_REMOVE_VLAN, "IOCTL_SW_REMOVE_VLAN", F5{mrvl_esw_ioctl_remove_vlan}},
    {IOCTL_SW_APORT_ADD_VLAN, "IOCTL_SW_APORT_ADD_VLAN", F1{mrvl_esw_ioctl_set_vlan_to_aport}},
    {IOCTL_SW_APORT_REMOVE_VLAN, "IOCTL_SW_APORT_REMOVE_VLAN", F1{mrvl_esw_ioctl_reset_vlan_of_aport}},
    {IOCTL_SW_TPORT_ADD_VLAN, "IOCTL_SW_TPORT_ADD_VLAN", F1{mrvl_esw_ioctl_add_port_to_vlan}},
    {IOCTL_SW_TPORT_REMOVE_VLAN, "IOCTL_SW_TPORT_REMOVE_VLAN", F1{mrvl_esw_ioctl_remove_port_from_vlan}},
    {IOCTL_SW_TPORT_ADD_NATIVE_VLAN, "IOCTL_SW_TPORT_ADD_NATIVE_VLAN", F1{mrvl_esw_ioctl_tport_add_native_vlan}},
    {IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, "IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN", F1{mrvl_esw_ioctl_tport_remove_native_vlan}},
    {IOCTL_SW_ENABLE_CPU_VLAN, "IOCTL_SW_ENABLE_CPU_VLAN", Accepted{}},
    {IOCTL_SW_DISABLE_CPU_VLAN, "IOCTL_SW_DISABLE_CPU_VLAN", Accepted{}},
    {IOCTL_SW_PORT_MONITOR, "IOCTL_SW_PORT_MONITOR", F1{mrvl_esw_ioctl_set_port_monitor}},
    {IOCTL_GET_EEE_STATUS, "IOCTL_GET_EEE_STATUS", F1{mrvl_esw_ioctl_get_eee}},
    {IOCTL_SET_EEE_MODE, "IOCTL_SET_EEE_MODE", F1{mrvl_esw_ioctl_set_eee}},
    {IOCTL_SW_CONFIG_STORM_CTRL, "IOCTL_SW_CONFIG_STORM_CTRL", F1{mrvl_esw_ioctl_config_storm_control}},
    {IOCTL_GET_STORM_CTRL_STATUS, "IOCTL_GET_STORM_CTRL_STATUS", F1{mrvl_esw_ioctl_get_storm_control_status}},
    {IOCTL_SET_PORT_SECURITY, "IOCTL_SET_PORT_SECURITY", F1{mrvl_esw_ioctl_set_port_security}},
    {IOCTL_SET_MAC_LEARNING, "IOCTL_SET_MAC_LEARNING", F1{mrvl_esw_ioctl_set_mac_learning}},
    {IOCTL_SW_DEL_DATAPLANE_MAC, "IOCTL_SW_DEL_DATAPLANE_MAC", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {IOCTL_SW_ADD_DATAPLANE_MAC, "IOCTL_SW_ADD_DATAPLANE_MAC", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {IOCTL_SW_ADD_PORT_MAC, "IOCTL_SW_ADD_PORT_MAC", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {IOCTL_SW_DEL_PORT_MAC, "IOCTL_SW_DEL_PORT_MAC", F2{mrvl_esw_ioctl_static_mac_cfg}},
    {IOCTL_SW_FLUSH_VLAN_MACS, "IOCTL_SW_FLUSH_VLAN_MACS", F2{mrvl_esw_ioctl_flush_mac_cfg}},
    {IOCTL_SET_MAX_NUM_MAC, "IOCTL_SET_MAX_NUM_MAC", F1{mrvl_esw_ioctl_set_max_num_mac}},
    {IOCTL_SET_AGE_TIME, "IOCTL_SET_AGE_TIME", F5{mrvl_esw_ioctl_set_age_time}},
    {IOCTL_POPULATE_VLAN_MAC_DB, "IOCTL_POPULATE_VLAN_MAC_DB", F1{mrvl_esw_ioctl_populate_vlan_mac_db}},
    {IOCTL_SET_PORT_L2_MODE, "IOCTL_SET_PORT_L2_MODE", F2{mrvl_esw_ioctl_port_l2_mode}},
    {IOCTL_REMOVE_PORT_L2_MODE, "IOCTL_REMOVE_PORT_L2_MODE", F2{mrvl_esw_ioctl_port_l2_mode}},
    {IOCTL_SET_VLAN_MODE, "IOCTL_SET_VLAN_MODE", F5{mrvl_esw_ioctl_set_vlan_forwarding_mode}},
}};
// clang-format on

constexpr bool rows_in_number_order() {
    for (uint32_t i = 0; i < kCommands.size(); ++i)
        if (kCommands[i].number != ESW_FIRST_COMMAND + i) return false;
    return true;
}
static_assert(rows_in_number_order(), "row k of the command table must hold command 8192 + k");

// The row of `cmd`, or null outside 8192..8255.
constexpr const Command* find_command(uint32_t cmd) {
    if (cmd < ESW_FIRST_COMMAND || cmd > ESW_LAST_COMMAND) return nullptr;
    return &kCommands[cmd - ESW_FIRST_COMMAND];
}

// The 58 description texts in command order, and the command each describes.
extern const std::array<const char*, 58> eswCommandDescriptions;
constexpr uint32_t description_command(uint32_t k) {
    if (k < 30) return ESW_FIRST_COMMAND + k;
    if (k < 32) return ESW_FIRST_COMMAND + k;  // two of the codes 8222..8224: 8222 and 8223
    if (k < 52) return ESW_FIRST_COMMAND + 1 + k;
    return ESW_FIRST_COMMAND + 6 + k;
}

extern const std::array<const char*, 18> eswSpeedDuplexNames;
const char* esw_sfp_type_name(int32_t code);

}  // namespace esw
