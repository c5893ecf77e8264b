// What a well-behaved host hands each command and what each host call answers on failure: shared
// by the fault sweep, the bad-input tests, the soak run and the fuzz targets, so that they all
// agree on one description of the command set's inputs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace esw_catalog {

// How the third argument of mrvl_esw_ioctl is used by a command.
enum class Arg : uint8_t {
    unused,    // not read (no handler, no-action commands, handlers that take no request)
    value,     // the pointer value itself is the datum
    buffer,    // a record of `size` bytes that the handler reads or writes
    cpu_tx,    // an EswCpuTxRequest: 6-byte header and `length` bytes of frame
    callback,  // the address of an EswRxCallback
};

struct Shape {
    Arg arg;
    std::size_t size;  // bytes of the record for Arg::buffer
};

// The exact number of bytes a host passes for each command: the record's size, or where the
// driver reads less than a whole record (a single byte or word), exactly what it reads.
constexpr Shape shape_of(uint32_t cmd) {
    switch (cmd) {
        case NIC_LNK_TYPE:
            return {Arg::value, 0};
        case NIC_STATS:
            return {Arg::buffer, sizeof(EswNicStats)};
        case NIC_LINK:
            return {Arg::buffer, sizeof(EswLinkInfo)};
        case NIC_CLR_STATS:
            return {Arg::unused, 0};
        case NIC_STATUS:
            return {Arg::value, 0};
        case NIC_GET_MAX_FRM_LEN:
            return {Arg::buffer, sizeof(uint32_t)};
        case NIC_SET_MAX_FRM_LEN:
            return {Arg::value, 0};
        case NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE:
        case NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE:
            return {Arg::buffer, sizeof(EswEgressTagRequest)};
        case NIC_MC_MODE:
        case NIC_MODE:
            return {Arg::buffer, sizeof(EswFilterModeRequest)};
        case IOCTL_SW_CPU_TX:
            return {Arg::cpu_tx, sizeof(EswCpuTxRequest)};
        case IOCTL_SW_REG_CPU_RX_CALLBACK:
            return {Arg::callback, 0};
        case IOCTL_SW_CLR_CPU_STATS:
            return {Arg::buffer, sizeof(void*)};
        case IOCTL_SW_TRUNK_MEMBERS_SET:
        case IOCTL_SW_TRUNK_MEMBER_CFG:
            return {Arg::buffer, sizeof(EswTrunkRequest)};
        case NIC_SET_MAX_CAP:
            return {Arg::buffer, sizeof(uint32_t)};
        case NIC_REG_MC_HW:
        case NIC_UNREG_MC_HW:
        case IOCTL_SW_DEL_DATAPLANE_MAC:
        case IOCTL_SW_ADD_DATAPLANE_MAC:
        case IOCTL_SW_ADD_PORT_MAC:
        case IOCTL_SW_DEL_PORT_MAC:
            return {Arg::buffer, sizeof(EswStaticMacRequest)};
        case IOCTL_SW_PORT_MODE_PROTECTED:
            return {Arg::buffer, sizeof(EswProtectedPortRequest)};
        case IOCTL_SW_ADD_NEW_VLAN:
        case IOCTL_SW_REMOVE_VLAN:
        case IOCTL_SW_APORT_ADD_VLAN:
        case IOCTL_SW_APORT_REMOVE_VLAN:
        case IOCTL_SW_TPORT_ADD_VLAN:
        case IOCTL_SW_TPORT_REMOVE_VLAN:
        case IOCTL_SW_TPORT_ADD_NATIVE_VLAN:
        case IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN:
        case IOCTL_SW_FLUSH_VLAN_MACS:
        case IOCTL_SET_PORT_L2_MODE:
        case IOCTL_REMOVE_PORT_L2_MODE:
            return {Arg::buffer, sizeof(EswVlanRequest)};
        case IOCTL_SW_PORT_MONITOR:
            return {Arg::buffer, sizeof(EswPortMonitorRequest)};
        case IOCTL_GET_EEE_STATUS:
        case IOCTL_SET_EEE_MODE:
            return {Arg::buffer, sizeof(EswEeeRequest)};
        case IOCTL_SW_CONFIG_STORM_CTRL:
            return {Arg::buffer, sizeof(EswStormRequest)};
        case IOCTL_GET_STORM_CTRL_STATUS:
            return {Arg::buffer, sizeof(EswStormStatusRequest)};
        case IOCTL_SET_PORT_SECURITY:
        case IOCTL_SET_MAC_LEARNING:
            return {Arg::buffer, sizeof(uint8_t)};
        case IOCTL_SET_MAX_NUM_MAC:
        case IOCTL_SET_AGE_TIME:
            return {Arg::buffer, sizeof(uint16_t)};
        case IOCTL_POPULATE_VLAN_MAC_DB:
            return {Arg::buffer, sizeof(sim::DynamicMacBuffer)};
        case IOCTL_SET_VLAN_MODE:
            return {Arg::buffer, sizeof(EswVlanModeRequest)};
        default:
            return {Arg::unused, 0};
    }
}

// Commands that read or write through their buffer argument: a null buffer must be refused.
constexpr bool reads_buffer(uint32_t cmd) {
    const Arg a = shape_of(cmd).arg;
    return a == Arg::buffer || a == Arg::cpu_tx;
}

// A request that takes each command down its main path against a model that holds VLANs 1, 100,
// 4075 and 4079 (see add_typical_vlans): the same inputs a host sends in normal operation.
inline std::vector<uint8_t> typical_request(uint32_t cmd) {
    auto bytes = [](const auto& record) {
        const auto* p = reinterpret_cast<const uint8_t*>(&record);
        return std::vector<uint8_t>(p, p + sizeof record);
    };
    EswStaticMacRequest mac{};
    const uint8_t unicast[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::memcpy(mac.mac, unicast, sizeof unicast);
    mac.vlanId = 100;
    EswVlanModeRequest vlanMode{};
    vlanMode.modeValue = 3;
    vlanMode.modeFlag = 1;
    EswStormStatusRequest stormStatus{};
    stormStatus.kind = 1;
    switch (cmd) {
        case NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE:
            return bytes(EswEgressTagRequest{103});
        case NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE:
            return bytes(EswEgressTagRequest{100});
        case NIC_MC_MODE:
        case NIC_MODE:
            return bytes(EswFilterModeRequest{ESW_FILTER_INDIVIDUAL});
        case IOCTL_SW_TRUNK_MEMBERS_SET:
            return bytes(EswTrunkRequest{2, 0, 0, 0});
        case IOCTL_SW_TRUNK_MEMBER_CFG:
            return bytes(EswTrunkRequest{2, 0, 1, 4});
        case NIC_SET_MAX_CAP:
            return bytes(uint32_t{1});
        case NIC_REG_MC_HW:
        case NIC_UNREG_MC_HW:
        case IOCTL_SW_DEL_DATAPLANE_MAC:
        case IOCTL_SW_ADD_DATAPLANE_MAC:
        case IOCTL_SW_ADD_PORT_MAC:
        case IOCTL_SW_DEL_PORT_MAC:
            return bytes(mac);
        case IOCTL_SW_PORT_MODE_PROTECTED:
            return bytes(EswProtectedPortRequest{7});
        case IOCTL_SW_ADD_NEW_VLAN:
        case IOCTL_SW_REMOVE_VLAN:
        case IOCTL_SW_APORT_ADD_VLAN:
        case IOCTL_SW_APORT_REMOVE_VLAN:
        case IOCTL_SW_TPORT_ADD_VLAN:
        case IOCTL_SW_TPORT_REMOVE_VLAN:
        case IOCTL_SW_TPORT_ADD_NATIVE_VLAN:
        case IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN:
        case IOCTL_SW_FLUSH_VLAN_MACS:
            return bytes(EswVlanRequest{100});
        case IOCTL_SET_PORT_L2_MODE:
            return bytes(EswVlanRequest{101});
        case IOCTL_REMOVE_PORT_L2_MODE:
            return bytes(EswVlanRequest{1001});
        case IOCTL_SW_PORT_MONITOR:
            return bytes(EswPortMonitorRequest{4});
        case IOCTL_SET_EEE_MODE:
            return bytes(EswEeeRequest{4});
        case IOCTL_SW_CONFIG_STORM_CTRL:
            return bytes(EswStormRequest{2, 100});
        case IOCTL_GET_STORM_CTRL_STATUS:
            return bytes(stormStatus);
        case IOCTL_SET_PORT_SECURITY:
            return {1};
        case IOCTL_SET_MAC_LEARNING:
            return {0};
        case IOCTL_SET_MAX_NUM_MAC:
            return bytes(uint16_t{4095});
        case IOCTL_SET_AGE_TIME:
            return bytes(uint16_t{956});
        case IOCTL_SET_VLAN_MODE:
            return bytes(vlanMode);
        default: {
            const Shape shape = shape_of(cmd);
            return std::vector<uint8_t>(shape.arg == Arg::buffer ? shape.size : 0);
        }
    }
}

// The pointer-sized value of the commands that carry their datum in the argument itself.
constexpr uint64_t typical_value(uint32_t cmd) {
    switch (cmd) {
        case NIC_LNK_TYPE:
            return 11;
        case NIC_STATUS:
            return 1;
        case NIC_SET_MAX_FRM_LEN:
            return 9000;
        default:
            return 0;
    }
}

inline void add_typical_vlans() {
    for (uint32_t vlan : {1u, 100u, 4075u, 4079u}) sim::chip().device.vlans[vlan];
}

// Every function of the host that the library may call, in host_abi.h order.
inline constexpr std::array<std::string_view, 87> kHostCalls{
    "announce",
    "qdInit",
    "hwSetAnyRegField",
    "pcap_rmuOpenEthDevice",
    "if_index_phy_ethernet_get",
    "if_index_phy_eth_get_slot",
    "if_index_phy_eth_get_port",
    "get_channel_cpu_port",
    "lib_fpga_reg_read",
    "lib_fpga_reg_write",
    "peridot_init_reg",
    "peridot_vodSet",
    "peridot_set_rmu_mode",
    "peridot_set_learning",
    "peridot_disable_atu_learning",
    "peridot_enable_atu_learning",
    "asic_enable_8021q_mode",
    "asic_set_storm_control_unicast",
    "asic_set_storm_control_multicast",
    "asic_set_storm_control_broadcast",
    "asic_enable_span_storm_port",
    "asic_create_vlan",
    "asic_delete_vlan",
    "asic_vlan_exists",
    "asic_set_port_allowed_vlan",
    "peridot_add_vlan_forlldp_dsa",
    "peridot_add_vlan_forlacp_dsa",
    "peridot_set_ARPwoBC_reg",
    "asic_get_acl_handle",
    "asic_allow_unicast",
    "asic_allow_multicast",
    "asic_allow_broadcast",
    "asic_enable_receive",
    "asic_enable_transmit",
    "peridot_port_power_down",
    "peridot_set_port_portstate",
    "peridot_set_port_mtu",
    "peridot_get_port_mtu",
    "peridot_set_port_auto_mode",
    "peridot_set_port_phy_speed",
    "peridot_set_port_speed",
    "peridot_set_duplex_mode",
    "peridot_set_cmode_2p5G",
    "peridot_get_link_state",
    "peridot_get_speed",
    "peridot_get_duplex_mode",
    "peridot_get_port_counters",
    "peridot_flush_port_counters",
    "peridot_port_led1_set",
    "asic_remove_ether_channel",
    "asic_set_port_ether_channel",
    "asic_remove_port_ether_channel",
    "asic_delete_span_dest_port",
    "asic_add_span_dest_ports",
    "asic_delete_span_source_port",
    "asic_add_span_source_port",
    "peridot_set_port_allowed_vlan",
    "peridot_set_tagging_on_port",
    "peridot_set_default_source_vlan_id",
    "peridot_set_allow_native",
    "peridot_allow_priority_tagged",
    "peridot_enable_8021q_mode",
    "peridot_disable_8021q_mode",
    "asic_enable_protected_port",
    "peridot_dsamode_enable",
    "asic_peridot_set_ethertype",
    "asic_peridot_double_tagging",
    "peridot_port_vlan_map",
    "asic_allow_priority_tagged",
    "asic_acl_add_port",
    "asic_acl_remove_port",
    "asic_set_vlan_forwarding_mode",
    "peridot_set_storm_control_unicast",
    "peridot_set_storm_control_multicast",
    "peridot_set_storm_control_broadcast",
    "peridot_reset_storm_counters",
    "peridot_storm_control_check",
    "peridot_get_force_eee",
    "peridot_set_force_eee",
    "asic_vlan_install_mac_addr",
    "asic_vlan_uninstall_mac_addr",
    "asic_delete_all_mac_addresses_vlan",
    "peridot_set_SA_filtering",
    "peridot_set_mac_learning",
    "peridot_set_port_maximum_num_mac",
    "peridot_set_global_age",
    "peridot_get_dynamic_mac_addresses_port",
};

// The value that makes a host call report failure: 0 where success is 1 or non-zero, -1 where
// success is 0, and 1 for the one chip call whose success is 0 but whose failures are positive.
constexpr int64_t failing_value(std::string_view call) {
    constexpr std::array<std::string_view, 8> zeroSuccess{"qdInit",
                                                          "hwSetAnyRegField",
                                                          "pcap_rmuOpenEthDevice",
                                                          "if_index_phy_eth_get_slot",
                                                          "if_index_phy_eth_get_port",
                                                          "lib_fpga_reg_read",
                                                          "lib_fpga_reg_write",
                                                          "announce"};
    if (call == "asic_peridot_set_ethertype") return 1;
    for (std::string_view z : zeroSuccess)
        if (z == call) return -1;
    return 0;
}

// The library's source names as log prefixes carry them.
inline constexpr std::array<std::string_view, 5> kSources{"peridot_drv", "peridot_cpu", "peridot_trunk",
                                                          "mrvl_periodot_init", "peridot_ioctl"};

}  // namespace esw_catalog
