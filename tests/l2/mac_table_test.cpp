// The address table through mrvl_esw_ioctl: static entries (destination shapes, broadcast rules,
// VLAN translation), the VLAN flush, the learning settings and the dynamic-address copy.
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Mac = std::array<uint8_t, 6>;
constexpr Mac kUnicast{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr Mac kMulticast{0x01, 0x00, 0x5E, 0x00, 0x00, 0x01};
constexpr Mac kBroadcast{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr uint32_t kVlan = 20;

std::string mac_text(const Mac& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

// The bytes the handler must not read hold a marker, so that reading one shows in the result.
EswStaticMacRequest mac_request(const Mac& mac, uint32_t vlan, uint32_t groupWord = 0) {
    EswStaticMacRequest request{};
    std::memcpy(request.mac, mac.data(), mac.size());
    request.unused6[0] = request.unused6[1] = 0xEE;
    std::memset(request.unused12, 0xEE, sizeof request.unused12);
    request.vlanId = vlan;
    request.groupWord = groupWord;
    return request;
}

std::string exists(uint32_t vlan) { return "asic_vlan_exists(0, " + std::to_string(vlan) + ")"; }
std::string install(uint32_t vlan, const Mac& mac, const std::string& dest) {
    return "asic_vlan_install_mac_addr(0, " + std::to_string(vlan) + ", " + mac_text(mac) + ", " + dest +
           ", 1, 0, 0, 0)";
}
std::string uninstall(uint32_t vlan, const Mac& mac) {
    return "asic_vlan_uninstall_mac_addr(0, " + std::to_string(vlan) + ", " + mac_text(mac) + ", 0)";
}

class MacTableTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        add_vlan(kVlan);
    }
    static void add_vlan(uint32_t vlan) { sim::chip().device.vlans[vlan]; }
    // An entry for the uninstall commands to remove.
    static void add_static(uint32_t vlan, const Mac& mac) {
        sim::chip().device.staticMacs[vlan][mac_text(mac)] = sim::StaticMac{{{0, 9}}, std::nullopt};
    }
    static const sim::StaticMac* find_static(uint32_t vlan, const Mac& mac) {
        auto& table = sim::chip().device.staticMacs;
        auto v = table.find(vlan);
        if (v == table.end()) return nullptr;
        auto m = v->second.find(mac_text(mac));
        return m == v->second.end() ? nullptr : &m->second;
    }
    static std::vector<std::pair<int, int>> ports_of(const sim::StaticMac& entry) {
        std::vector<std::pair<int, int>> ports;
        for (const EswMacPortEntry& p : entry.ports) ports.emplace_back(p.device, p.port);
        return ports;
    }
};

// ---- NIC_REG_MC_HW destinations -----------------------------------------------------------------

struct ShapeCase {
    const char* name;
    Mac mac;
    uint32_t groupWord;
    uint32_t handlePort;
    std::string destination;
    std::vector<std::pair<int, int>> ports;
    std::optional<uint32_t> groupWordInChip;
};
void PrintTo(const ShapeCase& c, std::ostream* os) { *os << c.name; }

class RegisterShapeTest : public MacTableTest, public testing::WithParamInterface<ShapeCase> {};

TEST_P(RegisterShapeTest, InstallsTheDestinationOfTheAddressKind) {
    const ShapeCase& c = GetParam();
    EswFrameworkHandle* handle = open_port(c.handlePort);
    EswStaticMacRequest request = mac_request(c.mac, kVlan, c.groupWord);
    const EswStaticMacRequest before = request;
    EXPECT_EQ(ioctl(handle, NIC_REG_MC_HW, &request), 0);
    EXPECT_THAT(journal(), ElementsAre(exists(kVlan), install(kVlan, c.mac, c.destination)));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(std::memcmp(&request, &before, sizeof request), 0);
    const sim::StaticMac* entry = find_static(kVlan, c.mac);
    ASSERT_NE(entry, nullptr);
    EXPECT_THAT(ports_of(*entry), ElementsAreArray(c.ports));
    EXPECT_EQ(entry->groupWord, c.groupWordInChip);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, RegisterShapeTest,
    testing::Values(
        ShapeCase{
            "UnicastIgnoresTheGroupWord", kUnicast, 7, 3, "{ports=[(0,9)] group=none flag=0}", {{0, 9}}, {}},
        ShapeCase{
            "UnicastWithoutGroupWord", kUnicast, 0, 3, "{ports=[(0,9)] group=none flag=0}", {{0, 9}}, {}},
        ShapeCase{"MulticastWithoutGroupWordAddsTheHandlesPort",
                  kMulticast,
                  0,
                  3,
                  "{ports=[(0,9),(0,3)] group=none flag=0}",
                  {{0, 9}, {0, 3}},
                  {}},
        ShapeCase{"MulticastOnAnotherPort",
                  kMulticast,
                  0,
                  7,
                  "{ports=[(0,9),(0,7)] group=none flag=0}",
                  {{0, 9}, {0, 7}},
                  {}},
        ShapeCase{"MulticastWithGroupWordGoesToTheDataPlaneOnly",
                  kMulticast,
                  7,
                  3,
                  "{ports=[(0,9)] group=7 flag=1}",
                  {{0, 9}},
                  7u},
        ShapeCase{"GroupBitAloneMakesAMulticast",
                  Mac{0x03, 0, 0, 0, 0, 0},
                  0xFFFFFFFF,
                  3,
                  "{ports=[(0,9)] group=4294967295 flag=1}",
                  {{0, 9}},
                  0xFFFFFFFFu}),
    [](const testing::TestParamInfo<ShapeCase>& info) { return std::string(info.param.name); });

TEST_F(MacTableTest, AHandlePortAboveAByteReachesTheDestinationAsItsLowByte) {
    EswFrameworkHandle* handle = open_port(259);
    EswStaticMacRequest request = mac_request(kMulticast, kVlan);
    EXPECT_EQ(ioctl(handle, NIC_REG_MC_HW, &request), 0);
    EXPECT_THAT(journal(), ElementsAre(exists(kVlan), install(kVlan, kMulticast,
                                                              "{ports=[(0,9),(0,3)] group=none flag=0}")));
}

// ---- the six static-entry commands ------------------------------------------------------------

struct CommandCase {
    uint32_t cmd;
    bool installs;
    bool refusesBroadcast;
    bool translates;
    std::string destinationOnPort5;  // installs only
};
void PrintTo(const CommandCase& c, std::ostream* os) { *os << "command " << c.cmd; }

class StaticCommandTest : public MacTableTest, public testing::WithParamInterface<CommandCase> {
protected:
    void SetUp() override {
        MacTableTest::SetUp();
        handle_ = open_port(5);
    }
    EswFrameworkHandle* handle_ = nullptr;
};

TEST_P(StaticCommandTest, BroadcastAddressFollowsTheCommandsRule) {
    const CommandCase& c = GetParam();
    add_static(kVlan, kBroadcast);
    EswStaticMacRequest request = mac_request(kBroadcast, kVlan);
    const int32_t result = ioctl(handle_, c.cmd, &request);
    if (c.refusesBroadcast) {
        EXPECT_EQ(result, -1);
        EXPECT_THAT(journal(), ElementsAre(exists(kVlan)));
        EXPECT_THAT(logs(),
                    ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg", "broadcast"})));
        EXPECT_NE(find_static(kVlan, kBroadcast), nullptr);
    } else {
        EXPECT_EQ(result, 0);
        EXPECT_THAT(journal(),
                    ElementsAre(exists(kVlan), c.installs ? install(kVlan, kBroadcast, c.destinationOnPort5)
                                                          : uninstall(kVlan, kBroadcast)));
        EXPECT_THAT(logs(), IsEmpty());
        EXPECT_EQ(find_static(kVlan, kBroadcast) != nullptr, c.installs);
    }
}

TEST_P(StaticCommandTest, HostVlanNumbersAreTranslatedOnlyForTheMulticastCommands) {
    const CommandCase& c = GetParam();
    for (const auto& [hostVlan, chipVlan] : std::vector<std::pair<uint32_t, uint32_t>>{{101, 4071},
                                                                                       {105, 4075},
                                                                                       {108, 4078},
                                                                                       {1001, 4079},
                                                                                       {1008, 4086},
                                                                                       {100, 100},
                                                                                       {109, 109},
                                                                                       {1009, 1009}}) {
        const uint32_t vlan = c.translates ? chipVlan : hostVlan;
        add_vlan(vlan);
        add_static(vlan, kUnicast);
        forget();
        EswStaticMacRequest request = mac_request(kUnicast, hostVlan);
        EXPECT_EQ(ioctl(handle_, c.cmd, &request), 0) << hostVlan;
        EXPECT_THAT(journal(),
                    ElementsAre(exists(vlan), c.installs ? install(vlan, kUnicast, c.destinationOnPort5)
                                                         : uninstall(vlan, kUnicast)))
            << hostVlan;
    }
}

TEST_P(StaticCommandTest, AVlanMissingFromTheChipFailsBeforeAnyTableChange) {
    const CommandCase& c = GetParam();
    EswStaticMacRequest request = mac_request(kMulticast, 77);
    EXPECT_EQ(ioctl(handle_, c.cmd, &request), -1);
    EXPECT_THAT(journal(), ElementsAre(exists(77)));
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg", "VLAN 77"})));
}

TEST_P(StaticCommandTest, AFailingTableCallIsLoggedWithItsStatus) {
    const CommandCase& c = GetParam();
    add_static(kVlan, kUnicast);
    sim::inject(
        {.call = c.installs ? "asic_vlan_install_mac_addr" : "asic_vlan_uninstall_mac_addr", .result = 2});
    EswStaticMacRequest request = mac_request(kUnicast, kVlan);
    EXPECT_EQ(ioctl(handle_, c.cmd, &request), -1);
    EXPECT_EQ(journal().size(), 2u);
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg", "status 2"})));
}

TEST_P(StaticCommandTest, AMissingRequestIsRefusedWithARecord) {
    EXPECT_EQ(ioctl(handle_, GetParam().cmd, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg"})));
}

INSTANTIATE_TEST_SUITE_P(Commands, StaticCommandTest,
                         testing::Values(CommandCase{NIC_REG_MC_HW, true, true, true,
                                                     "{ports=[(0,9)] group=none flag=0}"},
                                         CommandCase{NIC_UNREG_MC_HW, false, true, true, ""},
                                         CommandCase{IOCTL_SW_DEL_DATAPLANE_MAC, false, false, false, ""},
                                         CommandCase{IOCTL_SW_ADD_DATAPLANE_MAC, true, false, false,
                                                     "{ports=[(0,9)] group=none flag=0}"},
                                         CommandCase{IOCTL_SW_ADD_PORT_MAC, true, false, false,
                                                     "{ports=[(0,5)] group=none flag=0}"},
                                         CommandCase{IOCTL_SW_DEL_PORT_MAC, false, false, false, ""}));

TEST_F(MacTableTest, PortAndDataPlaneEntriesIgnoreTheGroupWord) {
    EswFrameworkHandle* handle = open_port(5);
    EswStaticMacRequest request = mac_request(kMulticast, kVlan, 7);
    EXPECT_EQ(ioctl(handle, IOCTL_SW_ADD_PORT_MAC, &request), 0);
    EXPECT_EQ(ioctl(handle, IOCTL_SW_ADD_DATAPLANE_MAC, &request), 0);
    EXPECT_THAT(journal(),
                ElementsAre(exists(kVlan), install(kVlan, kMulticast, "{ports=[(0,5)] group=none flag=0}"),
                            exists(kVlan), install(kVlan, kMulticast, "{ports=[(0,9)] group=none flag=0}")));
}

TEST_F(MacTableTest, ARemovedEntryLeavesTheChip) {
    EswFrameworkHandle* handle = open_port(5);
    EswStaticMacRequest request = mac_request(kUnicast, kVlan);
    ASSERT_EQ(ioctl(handle, IOCTL_SW_ADD_PORT_MAC, &request), 0);
    ASSERT_NE(find_static(kVlan, kUnicast), nullptr);
    EXPECT_EQ(ioctl(handle, IOCTL_SW_DEL_PORT_MAC, &request), 0);
    EXPECT_EQ(find_static(kVlan, kUnicast), nullptr);
    // A second removal finds nothing: the chip layer says so and the command fails.
    forget();
    EXPECT_EQ(ioctl(handle, IOCTL_SW_DEL_PORT_MAC, &request), -1);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"status 0"})));
}

TEST_F(MacTableTest, OtherCommandNumbersAreRefusedAfterTheVlanCheck) {
    EswStaticMacRequest request = mac_request(kUnicast, 105);
    add_vlan(105);
    EXPECT_EQ(mrvl_esw_ioctl_static_mac_cfg(0, 3, &request, IOCTL_SW_FLUSH_VLAN_MACS), 1u);
    EXPECT_THAT(journal(), ElementsAre(exists(105)));
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg", "command 8249"})));
}

// ---- flush ------------------------------------------------------------------------------------

TEST_F(MacTableTest, FlushDeletesEveryAddressOfTheVlan) {
    EswFrameworkHandle* handle = open_port(3);
    add_vlan(30);
    add_static(30, kUnicast);
    add_static(kVlan, kUnicast);
    sim::port(4).dynamicMacs = {{Mac{0, 1, 2, 3, 4, 5}, 30}, {Mac{0, 1, 2, 3, 4, 6}, uint16_t{kVlan}}};
    EswVlanRequest request{30};
    EXPECT_EQ(ioctl(handle, IOCTL_SW_FLUSH_VLAN_MACS, &request), 0);
    EXPECT_THAT(journal(), ElementsAre(exists(30), "asic_delete_all_mac_addresses_vlan(0, 30)"));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(find_static(30, kUnicast), nullptr);
    EXPECT_NE(find_static(kVlan, kUnicast), nullptr);
    ASSERT_EQ(sim::port(4).dynamicMacs.size(), 1u);
    EXPECT_EQ(sim::port(4).dynamicMacs[0].vlan, kVlan);
}

TEST_F(MacTableTest, FlushOfAVlanMissingFromTheChipDeletesNothing) {
    EswFrameworkHandle* handle = open_port(3);
    EswVlanRequest request{31};
    EXPECT_EQ(ioctl(handle, IOCTL_SW_FLUSH_VLAN_MACS, &request), -1);
    EXPECT_THAT(journal(), ElementsAre(exists(31)));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_flush_mac_cfg", "VLAN 31"})));
}

TEST_F(MacTableTest, FlushFailuresAreLogged) {
    EswFrameworkHandle* handle = open_port(3);
    EswVlanRequest request{kVlan};
    sim::inject({.call = "asic_delete_all_mac_addresses_vlan", .result = 0});
    EXPECT_EQ(ioctl(handle, IOCTL_SW_FLUSH_VLAN_MACS, &request), -1);
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_flush_mac_cfg", "status 0"})));
    forget();
    EXPECT_EQ(ioctl(handle, IOCTL_SW_FLUSH_VLAN_MACS, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_flush_mac_cfg"})));
    forget();
    EXPECT_EQ(mrvl_esw_ioctl_flush_mac_cfg(0, 3, &request, IOCTL_SW_DEL_PORT_MAC), 1u);
    EXPECT_THAT(journal(), ElementsAre(exists(kVlan)));
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_flush_mac_cfg", "command 8248"})));
}

// ---- settings ---------------------------------------------------------------------------------

struct SettingCase {
    uint32_t cmd;
    std::array<uint8_t, 4> buffer;
    std::optional<std::string> call;  // none: refused
    std::string handler;
};
void PrintTo(const SettingCase& c, std::ostream* os) {
    *os << "command " << c.cmd << " bytes " << int(c.buffer[0]) << "," << int(c.buffer[1]);
}

class SettingTest : public MacTableTest, public testing::WithParamInterface<SettingCase> {};

TEST_P(SettingTest, AcceptsTheRangeAndPassesTheValue) {
    const SettingCase& c = GetParam();
    EswFrameworkHandle* handle = open_port(3);
    std::array<uint8_t, 4> buffer = c.buffer;
    if (c.call) {
        EXPECT_EQ(ioctl(handle, c.cmd, buffer.data()), 0);
        EXPECT_THAT(journal(), ElementsAre(*c.call));
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_EQ(ioctl(handle, c.cmd, buffer.data()), -1);
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {c.handler})));
    }
    EXPECT_EQ(buffer, c.buffer);
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, SettingTest,
    testing::Values(
        SettingCase{IOCTL_SET_PORT_SECURITY, {0, 1, 0, 0}, "peridot_set_SA_filtering(0, 3, 0)", ""},
        SettingCase{IOCTL_SET_PORT_SECURITY, {1, 0, 0, 0}, "peridot_set_SA_filtering(0, 3, 1)", ""},
        SettingCase{IOCTL_SET_PORT_SECURITY, {2, 0, 0, 0}, {}, "value 2"},
        SettingCase{IOCTL_SET_PORT_SECURITY, {255, 0, 0, 0}, {}, "value 255"},
        SettingCase{IOCTL_SET_MAC_LEARNING, {0, 1, 0, 0}, "peridot_set_mac_learning(0, 3, 0)", ""},
        SettingCase{IOCTL_SET_MAC_LEARNING, {1, 1, 0, 0}, "peridot_set_mac_learning(0, 3, 1)", ""},
        SettingCase{IOCTL_SET_MAC_LEARNING, {2, 0, 0, 0}, {}, "value 2"},
        SettingCase{IOCTL_SET_MAX_NUM_MAC, {0, 0, 9, 9}, "peridot_set_port_maximum_num_mac(0, 3, 0)", ""},
        SettingCase{
            IOCTL_SET_MAX_NUM_MAC, {0xFF, 0x0F, 9, 9}, "peridot_set_port_maximum_num_mac(0, 3, 4095)", ""},
        SettingCase{IOCTL_SET_MAX_NUM_MAC, {0x00, 0x10, 0, 0}, {}, "mrvl_esw_ioctl_set_max_num_mac"},
        SettingCase{IOCTL_SET_MAX_NUM_MAC, {0xFF, 0xFF, 0, 0}, {}, "mrvl_esw_ioctl_set_max_num_mac"},
        SettingCase{IOCTL_SET_AGE_TIME, {0, 0, 1, 0}, {}, "mrvl_esw_ioctl_set_age_time"},
        SettingCase{IOCTL_SET_AGE_TIME, {1, 0, 9, 9}, "peridot_set_global_age(0, 1)", ""},
        SettingCase{IOCTL_SET_AGE_TIME, {0xBC, 0x03, 9, 9}, "peridot_set_global_age(0, 956)", ""},
        SettingCase{IOCTL_SET_AGE_TIME, {0xBD, 0x03, 0, 0}, {}, "mrvl_esw_ioctl_set_age_time"},
        SettingCase{IOCTL_SET_AGE_TIME, {0x2C, 0x01, 0, 0}, "peridot_set_global_age(0, 300)", ""}));

struct SettingFailureCase {
    uint32_t cmd;
    const char* call;
    std::vector<std::string> logged;
};
void PrintTo(const SettingFailureCase& c, std::ostream* os) { *os << c.call; }

class SettingFailureTest : public MacTableTest, public testing::WithParamInterface<SettingFailureCase> {};

TEST_P(SettingFailureTest, AFailingChipCallIsLoggedWithItsStatus) {
    const SettingFailureCase& c = GetParam();
    EswFrameworkHandle* handle = open_port(3);
    sim::inject({.call = c.call, .result = 0});
    sim::DynamicMacBuffer buffer{};
    buffer.count = 1;  // valid for every setting: byte 1, limit 1, age 1
    EXPECT_EQ(ioctl(handle, c.cmd, &buffer), -1);
    EXPECT_EQ(journal().size(), 1u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", c.logged)));
}

TEST_P(SettingFailureTest, AMissingRequestIsRefusedSilently) {
    EswFrameworkHandle* handle = open_port(3);
    EXPECT_EQ(ioctl(handle, GetParam().cmd, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Settings, SettingFailureTest,
    testing::Values(SettingFailureCase{IOCTL_SET_PORT_SECURITY,
                                       "peridot_set_SA_filtering",
                                       {"mrvl_esw_ioctl_set_port_security", "port 3", "status 0"}},
                    SettingFailureCase{IOCTL_SET_MAC_LEARNING,
                                       "peridot_set_mac_learning",
                                       {"mrvl_esw_ioctl_set_mac_learning", "port 3", "status 0"}},
                    SettingFailureCase{IOCTL_SET_MAX_NUM_MAC,
                                       "peridot_set_port_maximum_num_mac",
                                       {"mrvl_esw_ioctl_set_max_num_mac", "status 0"}},
                    SettingFailureCase{IOCTL_SET_AGE_TIME,
                                       "peridot_set_global_age",
                                       {"mrvl_esw_ioctl_set_age_time", "status 0"}},
                    SettingFailureCase{IOCTL_POPULATE_VLAN_MAC_DB,
                                       "peridot_get_dynamic_mac_addresses_port",
                                       {"mrvl_esw_ioctl_populate_vlan_mac_db", "port 3", "status 0"}}));

// ---- dynamic-address copy ---------------------------------------------------------------------

TEST_F(MacTableTest, PopulateCopiesThePortsLearnedAddresses) {
    EswFrameworkHandle* handle = open_port(3);
    sim::port(3).dynamicMacs = {{Mac{0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0x01}, 10},
                                {Mac{0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0x02}, 4094}};
    sim::port(4).dynamicMacs = {{Mac{0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0x03}, 10}};
    sim::DynamicMacBuffer buffer;
    std::memset(&buffer, 0x5A, sizeof buffer);
    EXPECT_EQ(ioctl(handle, IOCTL_POPULATE_VLAN_MAC_DB, &buffer), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_get_dynamic_mac_addresses_port(0, 3, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
    ASSERT_EQ(buffer.count, 2u);
    EXPECT_THAT(buffer.entries[0].mac, ElementsAre(0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0x01));
    EXPECT_EQ(buffer.entries[0].vlan, 10);
    EXPECT_THAT(buffer.entries[1].mac, ElementsAre(0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0x02));
    EXPECT_EQ(buffer.entries[1].vlan, 4094);
}

}  // namespace
