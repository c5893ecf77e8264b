// The command set's shared vocabulary (description texts, speed/duplex names, SFP module type
// names) and the small exported helpers that belong to the dispatcher.
#include <array>
#include <cstdint>

#include "driver/command_table.h"
#include "driver/esw_driver.h"

namespace esw {

// clang-format off
const std::array<const char*, 58> eswCommandDescriptions = {
    "NIC_LNK_TYPE (set the speed)",
    "NIC_STATS (get the stats)",
    "NIC_LINK (get Nic_link; does NOT CONFIG)",
    "NIC_CLR_STATS (clear the stats)",
    "NIC_STATUS (set port admin state)",
    "NIC_GET_SFP_INFO (get SFP/SFP+ info)",
    "NIC_GET_MAX_FRM_LEN (get max supported mtu)",
    "NIC_SET_MAX_FRM_LEN (set max supported mtu)",
    "NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE (mrvl; set vlan/tag mode )",
    "NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE (mrvl; remove vlan/tag mode)",
    "NIC_MC_MODE, (set  promiscuous/individual mode)",
    "IOCTL_SW_CPU_TX (CPU path Tx )",
    "IOCTL_SW_REG_CPU_RX_CALLBACK (Register CPU path Rx callback)",
    "IOCTL_SW_CLR_CPU_STATS (clear CPU stats)",
    "IOCTL_SW_TRUNK_MEMBERS_SET (set per port trunk load balancing)",
    "IOCTL_SW_TRUNK_MEMBER_CFG (config trunk members )",
    "IOCTL_SW_ADD_TOS_PORT_PORT_FWDING(failover high priority: IPv4 TOS + inner VLAN )",
    "IOCTL_SW_REM_TOS_PORT_PORT_FWDING",
    "IOCTL_SW_ADD_ETYPE_PORT_REDIRECT (LACP high priority: Ethertype 0x8809)",
    "IOCTL_SW_REMOVE_ETYPE_PORT_REDIRECT",
    "IOCTL_SW_ADD_CCL_PORT_REDIRECT (CCL high priority: destIP, L4 proto, L4 ports)",
    "IOCTL_SW_REMOVE_CCL_PORT_REDIRECT",
    "NIC_SET_MAX_CAP (set port's max capability)",
    "NIC_MODE (set unicast Promiscuous vs Individual)",
    "NIC_SETMAC (add a unicast MAC to the switch FDB)",
    "NIC_REG_MC_HW (add a multicast MAC to the switch FDB)",
    "NIC_UNREG_MC_HW (remove a multicast MAC from the switch FDB)",
    "NIC_SET_MAC_TABLE (replace current unicast MAC table w/ supplied one)",
    "NIC_SET_MCAST_MAC_TABLE (replace current multicast MAC table w/ supplied one)",
    "NIC_SHOW_SWITCH_GLOBAL_INFO (debug info )",
    "IOCTL_GET_SWDRV_DBG_CNTRS (Collect the debug view of all cntrs collected by swdrv)",
    "IOCTL_DBG_GET_PHY_REGS (Read phy registers for a given port)",
    "IOCTL_SW_PORT_MODE_ACCESS (put port into access mode)",
    "IOCTL_SW_PORT_MODE_TRUNK (put port into trunk mode)",
    "IOCTL_SW_PORT_MODE_PROTECTED (put port into protected mode)",
    "IOCTL_SW_ADD_NEW_VLAN (add a new vlan)",
    "IOCTL_SW_REMOVE_VLAN (remove a vlan)",
    "IOCTL_SW_APORT_ADD_VLAN (set default vlan for access port)",
    "IOCTL_SW_APORT_REMOVE_VLAN (remove default vlan for access port)",
    "IOCTL_SW_TPORT_ADD_VLAN (allow a vlan on a trunk port)",
    "IOCTL_SW_TPORT_REMOVE_VLAN (dont allow vlan on a trunk port)",
    "IOCTL_SW_TPORT_ADD_NATIVE_VLAN (add native vlan on a trunk port)",
    "IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN (remove native vlan on a trunk port)",
    "IOCTL_SW_ENABLE_CPU_VLAN (enable cpu vlan)",
    "IOCTL_SW_DISABLE_CPU_VLAN (disable cpu vlan)",
    "IOCTL_SW_PORT_MONITOR (make a port monitor port)",
    "IOCTL_GET_EEE_STATUS (get EEE value)",
    "IOCTL_SET_EEE_MODE (set EEE value)",
    "IOCTL_SW_CONFIG_STORM_CTRL (configure storm control)",
    "IOCTL_GET_STORM_CTRL_STATUS (get storm control status)",
    "IOCTL_SET_PORT_SECURITY (make a port secure)",
    "IOCTL_SET_MAC_LEARNING (configure mac learning)",
    "IOCTL_SET_MAX_NUM_MAC (set max num of mac the port should learn)",
    "IOCTL_SET_AGE_TIME (set age timer value)",
    "IOCTL_POPULATE_VLAN_MAC_DB (populate vlan mac db)",
    "IOCTL_SET_PORT_L2_MODE (Set the port in switchport l2 mode)",
    "IOCTL_REMOVE_PORT_L2_MODE (Remove the port from switchport L2 mode)",
    "IOCTL_SET_VLAN_MODE (Set the vlan forwarding mode to promiscuous or individual)",
};

const std::array<const char*, 18> eswSpeedDuplexNames = {
    "Unknown", "10 Mbps / Half", "100 Mbps / Half", "10 Mbps / Full", "100 Mbps / Full",
    "Auto / Auto", "10 Mbps / Auto", "100 Mbps / Auto", "1000 Mbps / Auto", "Auto / Full",
    "Auto / Half", "1000 Mbps / Full", "1000 Mbps Nonegotiate / Full", "10000 Mbps / Full",
    "12000 Mbps / Full", "NoSpeed", "40000 Mbps / Full", "2500 Mbps / Full",
};
// clang-format on

namespace {

struct SfpName {
    int32_t code;
    const char* name;
};

// Five families, each a family bit (0x10, 0x20, 0x40, 0x80, 0x100) plus a small index.
constexpr std::array<SfpName, 40> kSfpNames{{
    {0x11, "SFP_10G_PAS_CX1_1"},   {0x12, "SFP_10G_PAS_CX1_2"},     {0x13, "SFP_10G_PAS_CX1_3"},
    {0x14, "SFP_10G_PAS_CX1_4"},   {0x15, "SFP_10G_PAS_CX1_5"},     {0x16, "SFP_10G_PAS_CX1_6"},
    {0x17, "SFP_10G_PAS_CX1_7"},   {0x18, "SFP_10G_PAS_CX1_1S"},    {0x19, "SFP_10G_PAS_CX1"},
    {0x21, "SFP_10G_ACT_CX1_1"},   {0x22, "SFP_10G_ACT_CX1_3"},     {0x23, "SFP_10G_ACT_CX1_5"},
    {0x24, "SFP_10G_ACT_CX1_7"},   {0x25, "SFP_10G_ACT_CX1_1S"},    {0x26, "SFP_10G_ACT_CX1"},
    {0x27, "SFP_10G_ACT_LIMIT_CX1"}, {0x41, "SFP_H10GB_CU1M"},      {0x42, "SFP_H10GB_CU3M"},
    {0x43, "SFP_H10GB_CU5M"},      {0x44, "SFP_H10GB_CU7M"},        {0x45, "SFP_10G_CX1_1S"},
    {0x46, "SFP_10G_LBX1"},        {0x47, "SFP_10GB_USR"},          {0x48, "SFP_10GB_LRM_SM"},
    {0x49, "SFP_10GB_ELPBK"},      {0x4A, "SFP_10GB_ELPBK_CR"},     {0x4B, "SFP_10GB_ELPBK_BER"},
    {0x81, "SFP_10G_ER"},          {0x82, "SFP_10G_LRM"},           {0x83, "SFP_10G_LR"},
    {0x84, "SFP_10G_SR"},          {0x85, "SFP_10G_ZR"},            {0x101, "SFP_1G_NS"},
    {0x102, "SFP_1G_T"},           {0x103, "SFP_1G_CX"},            {0x104, "SFP_1G_LX"},
    {0x105, "SFP_1G_SX"},          {0x106, "SFP_100BASE"},          {0x107, "SFP_1G_EX"},
    {0x108, "SFP_1G_ZX"},
}};

}  // namespace

const char* esw_sfp_type_name(int32_t code) {
    for (const SfpName& entry : kSfpNames)
        if (entry.code == code) return entry.name;
    return "SFP_UNKNOWN";
}

}  // namespace esw

extern "C" {

ESW_EXPORT float timedifference_msec(struct timeval t0, struct timeval t1) {
    const auto seconds = static_cast<float>(static_cast<int64_t>(t1.tv_sec) - static_cast<int64_t>(t0.tv_sec));
    const auto micros = static_cast<float>(static_cast<int64_t>(t1.tv_usec) - static_cast<int64_t>(t0.tv_usec));
    return seconds * 1000.0f + micros / 1000.0f;
}

ESW_EXPORT uint32_t mrvl_esw_show_global_info(void* /*arg*/) { return 0; }

ESW_EXPORT uint32_t mrvl_get_sfp_info_ioctl(uint32_t /*dev*/, uint32_t /*port*/, void* /*arg*/) { return 13; }

}
