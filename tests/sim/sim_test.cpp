// The simulated host: journal text, fault rules, reset, interface indexes and model round trips.
#include "sim/sim.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/host_abi.h"

namespace {

using Lines = std::vector<std::string>;

// GCC warns about designated initializers that leave out members, even defaulted ones.
sim::Fault fault(std::string call, int64_t result, unsigned nth = 0, std::optional<uint32_t> port = {},
                 std::optional<uint64_t> outValue = {}) {
    return sim::Fault{std::move(call), result, nth, port, outValue};
}

class SimTest : public ::testing::Test {
protected:
    void SetUp() override { sim::reset(); }
    void TearDown() override { sim::reset(); }
};

// ---- journal ------------------------------------------------------------------------------------

TEST_F(SimTest, JournalRendersEveryArgumentKind) {
    ASSERT_EQ(qdInit(), 0);
    uint32_t mtu = 0;
    int table = 0;
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0xC3, 0xD4, 0xFF};
    std::array<EswMacPortEntry, 2> ports{{{0, 9}, {0, 3}}};
    uint32_t group = 7;
    EswMacDestination grouped{ports.data(), 2, 0, &group, 1, 0};
    EswMacDestination plain{ports.data(), 1, 0, nullptr, 0, 0};

    asic_create_vlan(0, 20);
    peridot_set_port_mtu(0, 3, 1522);
    peridot_get_port_mtu(0, 3, &mtu);
    peridot_get_port_mtu(0, 3, nullptr);
    hwSetAnyRegField(qddev, 1, 4, 14, 2, 2);
    hwSetAnyRegField(nullptr, 1, 4, 14, 2, 2);
    announce("mrvl_switch", &table);
    asic_vlan_install_mac_addr(0, 20, mac, &grouped, 1, 2, 3, 4);
    asic_vlan_install_mac_addr(0, 20, mac, &plain, 0, 0, 0, 0);
    asic_vlan_uninstall_mac_addr(0, 20, nullptr, 0);
    lib_fpga_reg_write(-1, 4660, 4294967295u);
    get_channel_cpu_port();

    EXPECT_EQ(sim::journal(), (Lines{
                                  "qdInit()",
                                  "asic_create_vlan(0, 20)",
                                  "peridot_set_port_mtu(0, 3, 1522)",
                                  "peridot_get_port_mtu(0, 3, ptr)",
                                  "peridot_get_port_mtu(0, 3, null)",
                                  "hwSetAnyRegField(qddev, 1, 4, 14, 2, 2)",
                                  "hwSetAnyRegField(null, 1, 4, 14, 2, 2)",
                                  "announce(mrvl_switch, ptr)",
                                  "asic_vlan_install_mac_addr(0, 20, 00:1a:2b:c3:d4:ff, "
                                  "{ports=[(0,9),(0,3)] group=7 flag=1}, 1, 2, 3, 4)",
                                  "asic_vlan_install_mac_addr(0, 20, 00:1a:2b:c3:d4:ff, "
                                  "{ports=[(0,9)] group=none flag=0}, 0, 0, 0, 0)",
                                  "asic_vlan_uninstall_mac_addr(0, 20, null, 0)",
                                  "lib_fpga_reg_write(-1, 4660, 4294967295)",
                                  "get_channel_cpu_port()",
                              }));
    std::vector<sim::Call> calls = sim::calls();
    ASSERT_EQ(calls.size(), 13u);
    EXPECT_EQ(calls[3].result, 1);    // get mtu answered
    EXPECT_EQ(calls[4].result, 0);    // no place to write the answer
    EXPECT_EQ(calls[6].result, -1);   // null chip driver record
    EXPECT_EQ(calls[11].result, -1);  // FPGA device -1 does not exist
    EXPECT_EQ(calls[12].result, 0);   // no CPU channel registered
    for (const sim::Call& c : calls) EXPECT_FALSE(c.faulted) << c.text();
}

TEST_F(SimTest, JournalOfFiltersAndRxPathCanBeSilenced) {
    uint32_t out = 0;
    if_index_phy_ethernet_get(1, 4);
    if_index_phy_eth_get_slot(1004, &out);
    sim::set_journal_rx_path(false);
    if_index_phy_eth_get_port(1004, &out);
    get_channel_cpu_port();
    if_index_phy_ethernet_get(1, 5);
    peridot_set_global_age(0, 60);

    EXPECT_EQ(sim::journal(),
              (Lines{"if_index_phy_ethernet_get(1, 4)", "if_index_phy_eth_get_slot(1004, ptr)",
                     "if_index_phy_ethernet_get(1, 5)", "peridot_set_global_age(0, 60)"}));
    EXPECT_EQ(sim::journal_of({"peridot_set_global_age", "if_index_phy_eth_get_slot"}),
              (Lines{"if_index_phy_eth_get_slot(1004, ptr)", "peridot_set_global_age(0, 60)"}));
    EXPECT_EQ(out, 4u);  // the silenced call still ran
    sim::clear_journal();
    EXPECT_TRUE(sim::journal().empty());
}

TEST_F(SimTest, ObserverSeesEachCallAfterTheLockIsReleased) {
    std::vector<std::string> seen;
    std::vector<size_t> journalSizes;
    sim::set_call_observer([&](const sim::Call& c) {
        seen.push_back(c.text() + (c.faulted ? " faulted" : ""));
        journalSizes.push_back(sim::journal().size());  // would deadlock inside the lock
    });
    sim::inject(fault("peridot_vodSet", 0));
    peridot_vodSet(0, 2);
    asic_create_vlan(0, 9);
    sim::set_call_observer(nullptr);
    asic_create_vlan(0, 10);

    EXPECT_EQ(seen, (Lines{"peridot_vodSet(0, 2) faulted", "asic_create_vlan(0, 9)"}));
    EXPECT_EQ(journalSizes, (std::vector<size_t>{1, 2}));
}

TEST_F(SimTest, PlatformLogFormatsAndIsNeitherJournalledNorFaulted) {
    sim::inject(fault("zel_syslog", 0));
    zel_syslog(3, "switch", "port.cpp:42", "set mtu port %u to %u: status %d", 4u, 9000u, -2);
    zel_syslog(6, nullptr, nullptr, "%s", "plain");

    std::vector<sim::LogRecord> logs = sim::logs();
    ASSERT_EQ(logs.size(), 2u);
    EXPECT_EQ(logs[0].level, 3);
    EXPECT_EQ(logs[0].module, "switch");
    EXPECT_EQ(logs[0].location, "port.cpp:42");
    EXPECT_EQ(logs[0].message, "set mtu port 4 to 9000: status -2");
    EXPECT_EQ(logs[1].module, "");
    EXPECT_EQ(logs[1].message, "plain");
    EXPECT_TRUE(sim::journal().empty());
    sim::clear_logs();
    EXPECT_TRUE(sim::logs().empty());
}

// ---- faults -------------------------------------------------------------------------------------

TEST_F(SimTest, NthFaultFiresOnceAndLeavesTheModelAlone) {
    sim::inject(fault("peridot_set_port_mtu", 0, /*nth=*/2));
    EXPECT_EQ(peridot_set_port_mtu(0, 1, 1600), 1);
    EXPECT_EQ(peridot_set_port_mtu(0, 2, 1700), 0);
    EXPECT_EQ(peridot_set_port_mtu(0, 3, 1800), 1);

    EXPECT_EQ(sim::port(1).mtu, 1600u);
    EXPECT_EQ(sim::port(2).mtu, 1522u);
    EXPECT_EQ(sim::port(3).mtu, 1800u);
    std::vector<sim::Call> calls = sim::calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_FALSE(calls[0].faulted);
    EXPECT_TRUE(calls[1].faulted);
    EXPECT_EQ(calls[1].result, 0);
    EXPECT_EQ(calls[1].text(), "peridot_set_port_mtu(0, 2, 1700)");
    EXPECT_FALSE(calls[2].faulted);
}

TEST_F(SimTest, NthCountsOnlyCallsMatchingThePort) {
    sim::inject(fault("asic_enable_receive", 9, /*nth=*/2, /*port=*/5));
    EXPECT_EQ(asic_enable_receive(0, 5, 0), 1);
    EXPECT_EQ(asic_enable_receive(0, 6, 0), 1);
    EXPECT_EQ(asic_enable_receive(0, 5, 1), 9);
    EXPECT_EQ(asic_enable_receive(0, 5, 1), 1);
    EXPECT_TRUE(sim::port(5).rxEnable);
    EXPECT_FALSE(sim::port(6).rxEnable);
}

TEST_F(SimTest, EveryMatchingCallFailsOnlyOnTheRestrictedPort) {
    sim::inject(fault("peridot_set_mac_learning", 0, 0, /*port=*/3));
    sim::inject(fault("peridot_set_global_age", 0, 0, /*port=*/0));  // has no port: never matches
    for (int i = 0; i < 3; ++i) EXPECT_EQ(peridot_set_mac_learning(0, 3, 0), 0);
    EXPECT_EQ(peridot_set_mac_learning(0, 4, 0), 1);
    EXPECT_EQ(peridot_set_global_age(0, 15), 1);
    EXPECT_TRUE(sim::port(3).learning);
    EXPECT_FALSE(sim::port(4).learning);
    EXPECT_EQ(sim::chip().device.ageTime, 15);

    sim::clear_faults();
    EXPECT_EQ(peridot_set_mac_learning(0, 3, 0), 1);
    EXPECT_FALSE(sim::port(3).learning);
}

TEST_F(SimTest, FaultResultIsCutToTheReturnType) {
    sim::inject(fault("peridot_set_port_speed", 0x101));
    sim::inject(fault("asic_delete_span_dest_port", 0x101));
    sim::inject(fault("asic_get_acl_handle", -1));
    EXPECT_EQ(peridot_set_port_speed(0, 1, 2), 1);
    EXPECT_EQ(asic_delete_span_dest_port(0, 1, 2), 0x101);
    EXPECT_EQ(asic_get_acl_handle(0, 255), UINT64_MAX);
    EXPECT_EQ(sim::port(1).speed, 15u);
    EXPECT_EQ(sim::calls()[0].result, 1);
}

TEST_F(SimTest, OutValueReplacesTheModelAnswer) {
    uint32_t state = 7, slot = 7, fpgaValue = 7;
    sim::inject(fault("peridot_get_link_state", 1, 0, {}, /*outValue=*/1));
    sim::inject(fault("if_index_phy_eth_get_slot", 0, 0, {}, /*outValue=*/42));
    sim::inject(fault("lib_fpga_reg_read", -5, 0, {}, /*outValue=*/0xBEEF));
    EXPECT_EQ(peridot_get_link_state(0, 2, &state), 1);
    EXPECT_EQ(if_index_phy_eth_get_slot(0, &slot), 0);
    EXPECT_EQ(lib_fpga_reg_read(0, 8, &fpgaValue), -5);
    EXPECT_EQ(state, 1u);  // the cable is unplugged
    EXPECT_EQ(slot, 42u);  // index 0 resolves to nothing
    EXPECT_EQ(fpgaValue, 0xBEEFu);

    uint16_t first = 0, second = 0;
    sim::inject(fault("peridot_get_force_eee", 1, 0, {}, /*outValue=*/0x00030005));
    EXPECT_EQ(peridot_get_force_eee(0, 4, &first, &second), 1);
    EXPECT_EQ(first, 5);
    EXPECT_EQ(second, 3);

    uint32_t a = 11, b = 12, status = 13;
    sim::port(4).storm[1].counter = 99;
    sim::inject(fault("peridot_storm_control_check", 1, 0, {}, /*outValue=*/6));
    EXPECT_EQ(peridot_storm_control_check(0, 4, 1, &a, &b, &status), 1);
    EXPECT_EQ(a, 11u);
    EXPECT_EQ(b, 12u);
    EXPECT_EQ(status, 6u);

    uint64_t handle = sim::acl_handle(255);
    uint32_t aclResult = 77;
    sim::inject(fault("asic_acl_add_port", 1, 0, {}, /*outValue=*/5));
    EXPECT_EQ(asic_acl_add_port(0, &handle, 3, &aclResult), 1);
    EXPECT_EQ(aclResult, 77u);
    EXPECT_TRUE(sim::chip().device.aclMembers.empty());
}

TEST_F(SimTest, FaultWithoutOutValueWritesNothing) {
    uint32_t mtu = 7;
    sim::inject(fault("peridot_get_port_mtu", 0));
    EXPECT_EQ(peridot_get_port_mtu(0, 1, &mtu), 0);
    EXPECT_EQ(mtu, 7u);
}

// ---- reset --------------------------------------------------------------------------------------

TEST_F(SimTest, ResetReturnsEverythingToPowerOn) {
    EswFrameworkHandle channel{};
    int observed = 0;
    ASSERT_EQ(qdInit(), 0);
    ASSERT_NE(qddev, nullptr);
    EXPECT_EQ(qddev->numOfPorts, 11u);
    peridot_set_port_mtu(0, 1, 9000);
    asic_create_vlan(0, 100);
    lib_fpga_reg_write(0, 1, 2);
    announce("mrvl_switch", nullptr);
    zel_syslog(1, "m", "l", "x");
    sim::set_cpu_channel(&channel);
    sim::set_journal_rx_path(false);
    sim::inject(fault("asic_create_vlan", 0));
    sim::set_call_observer([&](const sim::Call&) { ++observed; });
    sim::plug(2);

    sim::reset();

    EXPECT_EQ(qddev, nullptr);
    EXPECT_FALSE(sim::chip().device.qdLoaded);
    EXPECT_EQ(sim::port(1).mtu, 1522u);
    EXPECT_FALSE(sim::port(2).linkUp);
    EXPECT_TRUE(sim::chip().device.vlans.empty());
    EXPECT_TRUE(sim::fpga().empty());
    EXPECT_TRUE(sim::announcements().empty());
    EXPECT_TRUE(sim::logs().empty());
    EXPECT_TRUE(sim::journal().empty());
    EXPECT_EQ(get_channel_cpu_port(), nullptr);  // journalled again: rx path is back on
    EXPECT_EQ(asic_create_vlan(0, 100), 1);      // the fault is gone
    EXPECT_EQ(observed, 0);                      // so is the observer
    EXPECT_EQ(sim::journal(), (Lines{"get_channel_cpu_port()", "asic_create_vlan(0, 100)"}));
}

// ---- interface indexes, CPU channel, framework ----------------------------------------------------

TEST_F(SimTest, InterfaceIndexesDecodeSlotAndPort) {
    EXPECT_EQ(if_index_phy_ethernet_get(1, 5), 1005u);
    EXPECT_EQ(if_index_phy_ethernet_get(0, 7), 7u);
    EXPECT_EQ(sim::if_index(3, 999), 3999u);

    struct Row {
        uint32_t ifIndex;
        int32_t result;
        uint32_t slot, port;
    };
    for (Row r : {Row{1005, 0, 1, 5}, Row{7, 0, 0, 7}, Row{2999, 0, 2, 999}, Row{4000, 0, 4, 0},
                  Row{0, -1, 55, 55}}) {
        uint32_t slot = 55, port = 55;
        EXPECT_EQ(if_index_phy_eth_get_slot(r.ifIndex, &slot), r.result) << r.ifIndex;
        EXPECT_EQ(if_index_phy_eth_get_port(r.ifIndex, &port), r.result) << r.ifIndex;
        EXPECT_EQ(slot, r.slot) << r.ifIndex;
        EXPECT_EQ(port, r.port) << r.ifIndex;
    }
}

TEST_F(SimTest, CpuChannelAndAnnouncementsAreWhatWasGiven) {
    EswFrameworkHandle channel{};
    int table = 0;
    sim::set_cpu_channel(&channel);
    EXPECT_EQ(get_channel_cpu_port(), &channel);
    EXPECT_EQ(announce("mrvl_switch", &table), 0);
    std::vector<sim::Announcement> a = sim::announcements();
    ASSERT_EQ(a.size(), 1u);
    EXPECT_EQ(a[0].name, "mrvl_switch");
    EXPECT_EQ(a[0].table, &table);

    sim::inject(fault("get_channel_cpu_port", 1));
    EXPECT_EQ(get_channel_cpu_port(), nullptr);  // a faulted pointer call answers null
}

TEST_F(SimTest, FpgaReadsWhatWasWrittenAndOnlyDeviceZeroExists) {
    uint32_t value = 9;
    EXPECT_EQ(lib_fpga_reg_read(0, 0x40, &value), 0);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(lib_fpga_reg_write(0, 0x40, 0x1234), 0);
    EXPECT_EQ(lib_fpga_reg_read(0, 0x40, &value), 0);
    EXPECT_EQ(value, 0x1234u);
    EXPECT_EQ(lib_fpga_reg_write(1, 0x40, 5), -1);
    EXPECT_EQ(lib_fpga_reg_read(1, 0x40, &value), -1);
    EXPECT_EQ(sim::fpga(), (std::map<uint32_t, uint32_t>{{0x40, 0x1234}}));
}

// ---- model round trips ----------------------------------------------------------------------------

TEST_F(SimTest, PortSettingsReadBackAndBadPortsTouchNothing) {
    uint32_t v = 0;
    EXPECT_EQ(peridot_set_port_mtu(0, 10, 2048), 1);
    EXPECT_EQ(peridot_get_port_mtu(0, 10, &v), 1);
    EXPECT_EQ(v, 2048u);

    sim::plug(6, 1, 0);
    EXPECT_EQ(peridot_get_link_state(0, 6, &v), 1);
    EXPECT_EQ(v, 1u);
    EXPECT_EQ(peridot_get_speed(0, 6, &v), 1);
    EXPECT_EQ(v, 1u);
    EXPECT_EQ(peridot_get_duplex_mode(0, 6, &v), 1);
    EXPECT_EQ(v, 0u);
    sim::unplug(6);
    EXPECT_EQ(peridot_get_link_state(0, 6, &v), 1);
    EXPECT_EQ(v, 0u);

    sim::port(2).counters.word[0] = 10;
    sim::port(2).counters.word[67] = 20;
    EswChipCounters counters{};
    EXPECT_EQ(peridot_get_port_counters(0, 2, &counters), 1);
    EXPECT_EQ(counters.word[0], 10u);
    EXPECT_EQ(counters.word[67], 20u);
    EXPECT_EQ(peridot_flush_port_counters(0, 2), 1);
    EXPECT_EQ(sim::port(2).counters.word[67], 0u);

    const sim::Chip before = sim::chip();
    EXPECT_EQ(peridot_set_port_mtu(0, 11, 2048), 0);
    EXPECT_EQ(asic_allow_unicast(0, 200, 0), 0);
    EXPECT_EQ(asic_peridot_set_ethertype(0, 11, 0x88a8), -1);
    EXPECT_EQ(hwSetAnyRegField(qddev, 11, 4, 14, 2, 1), -1);
    EXPECT_EQ(peridot_get_port_mtu(0, 11, &v), 0);
    for (int p = 0; p < sim::kPortCount; ++p) {
        EXPECT_EQ(sim::chip().ports[p].mtu, before.ports[p].mtu);
        EXPECT_EQ(sim::chip().ports[p].allowUnicast, before.ports[p].allowUnicast);
        EXPECT_EQ(sim::chip().ports[p].ethertype, before.ports[p].ethertype);
    }
    EXPECT_EQ(asic_peridot_set_ethertype(0, 10, 0x88a8), 0);
    EXPECT_EQ(sim::port(10).ethertype, 0x88a8u);
}

TEST_F(SimTest, VlanMembershipAndTagging) {
    EXPECT_EQ(asic_vlan_exists(0, 30), 0);
    EXPECT_EQ(asic_set_port_allowed_vlan(0, 1, 30, 1), 0);  // no such VLAN
    EXPECT_EQ(asic_set_port_allowed_vlan(0, 1, 30, 0), 1);  // nothing to remove
    EXPECT_EQ(asic_delete_vlan(0, 30), 0);
    EXPECT_EQ(peridot_add_vlan_forlacp_dsa(0, 30, 1, 10, 1), 0);

    EXPECT_EQ(asic_create_vlan(0, 30), 1);
    EXPECT_EQ(asic_create_vlan(0, 30), 1);
    EXPECT_EQ(asic_vlan_exists(0, 30), 1);
    EXPECT_EQ(asic_set_port_allowed_vlan(0, 1, 30, 1), 1);
    EXPECT_EQ(peridot_set_port_allowed_vlan(0, 2, 30, 1), 1);
    EXPECT_EQ(peridot_set_tagging_on_port(0, 3, 30, 1), 1);
    EXPECT_EQ(peridot_set_tagging_on_port(0, 2, 30, 1), 1);
    EXPECT_EQ(peridot_set_tagging_on_port(0, 2, 30, 0), 1);
    EXPECT_EQ(peridot_add_vlan_forlacp_dsa(0, 30, 1, 10, 1), 1);
    EXPECT_EQ(peridot_add_vlan_forlldp_dsa(0, 30, 7, 10, 1), 1);
    const sim::VlanEntry& v = sim::chip().device.vlans.at(30);
    EXPECT_EQ(v.members, (std::set<uint8_t>{1, 2, 3}));
    EXPECT_EQ(v.tagged, (std::set<uint8_t>{3}));
    EXPECT_EQ(v.lacpDsa, (std::set<uint8_t>{1}));
    EXPECT_EQ(v.lldpDsa, (std::set<uint8_t>{7}));

    EXPECT_EQ(peridot_set_port_allowed_vlan(0, 3, 30, 0), 1);
    EXPECT_EQ(sim::chip().device.vlans.at(30).members, (std::set<uint8_t>{1, 2}));
    EXPECT_TRUE(sim::chip().device.vlans.at(30).tagged.empty());
    EXPECT_EQ(asic_delete_vlan(0, 30), 1);
    EXPECT_EQ(asic_vlan_exists(0, 30), 0);
}

TEST_F(SimTest, StaticAddressesKeepACopyOfTheDestination) {
    const uint8_t mac[6] = {0x02, 0, 0, 0, 0, 0x0a};
    std::array<EswMacPortEntry, 2> ports{{{0, 4}, {0, 5}}};
    uint32_t group = 3;
    EswMacDestination dest{ports.data(), 2, 0, &group, 1, 0};
    EXPECT_EQ(asic_vlan_install_mac_addr(0, 40, mac, &dest, 0, 0, 0, 0), 0);  // no such VLAN

    asic_create_vlan(0, 40);
    EXPECT_EQ(asic_vlan_install_mac_addr(0, 40, mac, &dest, 0, 0, 0, 0), 1);
    ports[0].port = 9;
    group = 8;
    const sim::StaticMac& entry = sim::chip().device.staticMacs.at(40).at("02:00:00:00:00:0a");
    ASSERT_EQ(entry.ports.size(), 2u);
    EXPECT_EQ(entry.ports[0].port, 4);
    EXPECT_EQ(entry.ports[1].port, 5);
    EXPECT_EQ(entry.groupWord, std::optional<uint32_t>(3));

    EXPECT_EQ(asic_vlan_uninstall_mac_addr(0, 40, mac, 0), 1);
    EXPECT_EQ(asic_vlan_uninstall_mac_addr(0, 40, mac, 0), 0);

    asic_vlan_install_mac_addr(0, 40, mac, &dest, 0, 0, 0, 0);
    sim::port(4).dynamicMacs = {{{2, 0, 0, 0, 0, 1}, 40}, {{2, 0, 0, 0, 0, 2}, 41}};
    EXPECT_EQ(asic_delete_all_mac_addresses_vlan(0, 40), 1);
    EXPECT_FALSE(sim::chip().device.staticMacs.count(40));
    ASSERT_EQ(sim::port(4).dynamicMacs.size(), 1u);
    EXPECT_EQ(sim::port(4).dynamicMacs[0].vlan, 41);
}

TEST_F(SimTest, DynamicAddressesFillTheHostBuffer) {
    for (uint8_t i = 0; i < 70; ++i)
        sim::port(5).dynamicMacs.push_back({{2, 0, 0, 0, 1, i}, uint16_t(100 + i)});
    auto buffer = std::make_unique<sim::DynamicMacBuffer>();
    std::memset(buffer.get(), 0xee, sizeof *buffer);
    EXPECT_EQ(peridot_get_dynamic_mac_addresses_port(0, 5, buffer.get()), 1);
    EXPECT_EQ(buffer->count, 64u);
    EXPECT_EQ(buffer->entries[63].mac[5], 63);
    EXPECT_EQ(buffer->entries[63].vlan, 163);
    EXPECT_EQ(peridot_get_dynamic_mac_addresses_port(0, 6, buffer.get()), 1);
    EXPECT_EQ(buffer->count, 0u);
    EXPECT_EQ(peridot_get_dynamic_mac_addresses_port(0, 5, nullptr), 0);
}

TEST_F(SimTest, AclListsAcceptOnlyTheirOwnHandles) {
    uint64_t handle = asic_get_acl_handle(0, 254);
    EXPECT_EQ(handle, sim::acl_handle(254));
    uint64_t bogus = 254;
    uint32_t result = 9;
    EXPECT_EQ(asic_acl_add_port(0, &bogus, 3, &result), 0);
    EXPECT_EQ(result, 9u);
    EXPECT_EQ(asic_acl_add_port(0, &handle, 3, &result), 1);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(asic_acl_add_port(0, &handle, 4, &result), 1);
    EXPECT_EQ(asic_acl_remove_port(0, &handle, 3, &result), 1);
    EXPECT_EQ(sim::chip().device.aclMembers, (std::map<uint8_t, std::set<uint8_t>>{{254, {4}}}));
}

TEST_F(SimTest, StormSettingsCountersAndChannels) {
    uint32_t first = 1, second = 1, status = 0;
    EXPECT_EQ(asic_set_storm_control_broadcast(0, 1, 2, 5000, 7, 1), 1);
    EXPECT_EQ(peridot_set_storm_control_unicast(0, 1, 3, 4, 5, 6, 1), 1);
    EXPECT_EQ(asic_enable_span_storm_port(0, 1, 1, 100, 2, 1), 1);
    const sim::PortState& p = sim::port(1);
    EXPECT_EQ(p.storm[2].rate, 5000u);
    EXPECT_EQ(p.storm[2].arg5, 7u);
    EXPECT_TRUE(p.storm[2].enable);
    EXPECT_EQ(p.storm[0].arg6, 6u);
    EXPECT_EQ(p.spanStorm.rate, 100u);

    sim::port(1).storm[2].counter = 12;
    sim::port(1).stormStatus = 4;
    EXPECT_EQ(peridot_storm_control_check(0, 1, 2, &first, &second, &status), 1);
    EXPECT_EQ(first, 12u);
    EXPECT_EQ(second, 0u);
    EXPECT_EQ(status, 4u);
    EXPECT_EQ(peridot_reset_storm_counters(0, 1, 3), 1);
    EXPECT_EQ(p.storm[2].counter, 12u);
    EXPECT_EQ(peridot_reset_storm_counters(0, 1, 2), 1);
    EXPECT_EQ(p.storm[2].counter, 0u);

    asic_set_port_ether_channel(0, 1, 2);
    asic_set_port_ether_channel(0, 2, 2);
    asic_set_port_ether_channel(0, 3, 5);
    EXPECT_EQ(asic_remove_ether_channel(0, 2), 1);
    EXPECT_FALSE(sim::port(1).channel.has_value());
    EXPECT_FALSE(sim::port(2).channel.has_value());
    EXPECT_EQ(sim::port(3).channel, std::optional<uint16_t>(5));
}

}  // namespace
