// The library's dynamic symbol table is the host ABI, both ways: every name the host may call is
// there, nothing else the library defines is, and the host's own services stay undefined.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> symbols(const char* nmArgs) {
    const std::string command = std::string("nm -D ") + nmArgs + " '" + ESW_LIBRARY_FILE + "'";
    FILE* pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    std::set<std::string> names;
    if (pipe == nullptr) return names;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::istringstream fields(line);
        std::string word, last;
        while (fields >> word) last = word;
        const auto at = last.find('@');
        names.insert(at == std::string::npos ? last : last.substr(0, at));
    }
    EXPECT_EQ(pclose(pipe), 0);
    return names;
}

const std::set<std::string> kHostAbiExports = {
    // module entry, device operations, ports and helpers
    "mrvl_esw_devmain", "mrvl_esw_open", "mrvl_esw_close", "mrvl_esw_ioctl", "getPortNumByName",
    "mrvl_get_phy_port_map", "timedifference_msec", "mrvl_esw_show_global_info", "mrvl_get_sfp_info_ioctl",
    // trace
    "kpmdTrace", "kpmdTraceInit", "kpmdTraceSetGlobalEnable", "kpmdTraceSetFilterLevel", "kpmdTraceSetModule",
    "kpmdTraceSetAllModulesEnable", "kpmdTraceIsEnable", "kpmdTraceShowModuleIdDb",
    // bring-up, CPU path
    "initKPMD", "initKpmdPcl", "mrvl_esw_cpu_rx_callback", "get_pcap_from_ifindex", "mrvl_cpu_clear_stats",
    // port management
    "mrvl_esw_get_link_state", "mrvl_esw_get_speed_type", "mrvl_esw_get_media_type", "mrvl_esw_clear_counters",
    "mrvl_set_link_speed_led", "mrvl_set_port_speed_led", "set_speed_led_based_on_link_state",
    // VLANs
    "mrvl_esw_allow_vlan_on_dataplane_port", "file_exists", "platform_supports_switching",
    // command handlers
    "mrvl_esw_set_link_type", "mrvl_esw_get_nic_stats", "mrvl_get_nic_link_ioctl", "mrvl_esw_clear_nic_stats",
    "mrvl_esw_set_nic_status", "mrvl_esw_get_mru", "mrvl_esw_set_mru", "mrvl_esw_add_egress_vlan_tag_mode",
    "mrvl_esw_remove_egress_vlan_tag_mode", "mrvl_esw_ioctl_forward_filter_cfg", "mrvl_esw_ioctl_cpu_tx",
    "mrvl_esw_ioctl_reg_cpu_rx_callback", "mrvl_esw_ioctl_clr_cpu_stats", "mrvl_esw_ioctl_portchannel_cfg",
    "mrvl_esw_set_nic_max_cap", "mrvl_esw_ioctl_static_mac_cfg", "mrvl_esw_ioctl_set_port_to_access_mode",
    "mrvl_esw_ioctl_set_port_to_trunk_mode", "mrvl_esw_ioctl_set_port_to_protected_mode",
    "mrvl_esw_ioctl_add_vlan", "mrvl_esw_ioctl_remove_vlan", "mrvl_esw_ioctl_set_vlan_to_aport",
    "mrvl_esw_ioctl_reset_vlan_of_aport", "mrvl_esw_ioctl_add_port_to_vlan",
    "mrvl_esw_ioctl_remove_port_from_vlan", "mrvl_esw_ioctl_tport_add_native_vlan",
    "mrvl_esw_ioctl_tport_remove_native_vlan", "mrvl_esw_ioctl_set_port_monitor", "mrvl_esw_ioctl_get_eee",
    "mrvl_esw_ioctl_set_eee", "mrvl_esw_ioctl_config_storm_control", "mrvl_esw_ioctl_get_storm_control_status",
    "mrvl_esw_ioctl_set_port_security", "mrvl_esw_ioctl_set_mac_learning", "mrvl_esw_ioctl_flush_mac_cfg",
    "mrvl_esw_ioctl_set_max_num_mac", "mrvl_esw_ioctl_set_age_time", "mrvl_esw_ioctl_populate_vlan_mac_db",
    "mrvl_esw_ioctl_port_l2_mode", "mrvl_esw_ioctl_set_vlan_forwarding_mode",
    // data
    "devtab", "allThePorts", "numOfAllThePortsCns", "userPorts", "numOfUserPortsCns", "DataPlanePort",
    "ControlPlanePort", "kpmdDeviceInfo", "uc_mac_acl_handle_p", "mc_mac_acl_handle_p", "eswCpuStats",
    "__SymbolTable", "__SymbolTableLength",
};

// Host services the library calls; each must stay an undefined reference, bound at load time.
const std::set<std::string> kHostServicesCalled = {
    "announce", "zel_syslog",
    // bring-up and CPU path
    "qdInit", "qddev", "hwSetAnyRegField", "pcap_rmuOpenEthDevice", "peridot_init_reg", "asic_get_acl_handle",
    "if_index_phy_ethernet_get", "if_index_phy_eth_get_slot", "if_index_phy_eth_get_port", "get_channel_cpu_port",
};

TEST(Exports, DefinedSymbolsAreExactlyTheHostAbi) {
    EXPECT_EQ(symbols("--defined-only"), kHostAbiExports);
}

TEST(Exports, HostServicesStayUndefined) {
    const std::set<std::string> defined = symbols("--defined-only");
    const std::set<std::string> undefined = symbols("--undefined-only");
    for (const std::string& host : kHostServicesCalled) {
        EXPECT_FALSE(defined.contains(host)) << host;
        EXPECT_TRUE(undefined.contains(host)) << host;
    }
}

}  // namespace
