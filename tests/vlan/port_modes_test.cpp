// Access, trunk and protected port modes.
#include <string>
#include <vector>

#include "tests/vlan/vlan_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vlan_test::IoctlError;
using vlan_test::NamesOperationAndLine;
using vlan_test::Records;
using vlan_test::request;
using vlan_test::VlanTest;

const std::vector<std::string> kAccessWithVlan1 = {"asic_vlan_exists(0, 1)",
                                                   "peridot_set_default_source_vlan_id(0, 3, 1)",
                                                   "peridot_allow_priority_tagged(0, 3, 0)",
                                                   "peridot_set_allow_native(0, 3, 1)",
                                                   "peridot_enable_8021q_mode(0, 3)",
                                                   "peridot_set_port_allowed_vlan(0, 3, 1, 1)",
                                                   "peridot_set_tagging_on_port(0, 3, 1, 0)"};

std::vector<std::string> access_creating_vlan1() {
    std::vector<std::string> calls = kAccessWithVlan1;
    calls.insert(calls.begin() + 1, "asic_create_vlan(0, 1)");
    return calls;
}

const std::vector<std::string> kTrunk = {
    "peridot_set_default_source_vlan_id(0, 3, 1)", "peridot_allow_priority_tagged(0, 3, 1)",
    "peridot_set_allow_native(0, 3, 0)", "peridot_enable_8021q_mode(0, 3)"};

Records port_record(const char* operation, const char* what) {
    return {{operation, what, "port 3", "status 0"}};
}

using PortModeTest = VlanTest;

TEST_F(PortModeTest, AccessModeWithVlan1PresentCreatesNothing) {
    add_to_table(1);
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_ACCESS, nullptr), 0);
    EXPECT_EQ(journal(), kAccessWithVlan1);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(PortModeTest, AccessModeCreatesVlan1WithoutCarryingItToTheDataPlane) {
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_ACCESS, nullptr), 0);
    EXPECT_EQ(journal(), access_creating_vlan1());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(PortModeTest, AccessModeStopsAtEachFailingCall) {
    const char* op = "mrvl_esw_ioctl_set_port_to_access_mode";
    expect_stop_at_each_step(
        access_creating_vlan1(),
        {port_record(op, "create vlan"), port_record(op, "default vlan"), port_record(op, "priority-tagged"),
         port_record(op, "native"), port_record(op, "802.1q"), port_record(op, "add port to vlan"),
         port_record(op, "untagged")},
        [] {}, [this] { return ioctl(port3_, IOCTL_SW_PORT_MODE_ACCESS, nullptr); }, -1);
}

TEST_F(PortModeTest, AccessModeTwiceRepeatsTheWholeSequence) {
    ASSERT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_ACCESS, nullptr), 0);
    forget();
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_ACCESS, nullptr), 0);
    EXPECT_EQ(journal(), kAccessWithVlan1);
}

TEST_F(PortModeTest, TrunkModeRewritesTheSharedSettingsOnly) {
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_TRUNK, nullptr), 0);
    EXPECT_EQ(journal(), kTrunk);
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_TRUE(sim::chip().device.vlans.empty());
}

TEST_F(PortModeTest, TrunkModeStopsAtEachFailingCall) {
    const char* op = "mrvl_esw_ioctl_set_port_to_trunk_mode";
    expect_stop_at_each_step(
        kTrunk,
        {port_record(op, "default vlan"), port_record(op, "priority-tagged"), port_record(op, "native"),
         port_record(op, "802.1q")},
        [] {}, [this] { return ioctl(port3_, IOCTL_SW_PORT_MODE_TRUNK, nullptr); }, -1);
}

TEST_F(PortModeTest, ProtectedModePassesTheValueAloneWhateverThePort) {
    EswFrameworkHandle* port7 = open_port(7);
    auto req = request(EswProtectedPortRequest{0xCAFE0001});
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_PROTECTED, req.get()), 0);
    EXPECT_EQ(ioctl(port7, IOCTL_SW_PORT_MODE_PROTECTED, req.get()), 0);
    EXPECT_THAT(journal(), ElementsAre("asic_enable_protected_port(0, 3405643777)",
                                       "asic_enable_protected_port(0, 3405643777)"));
    EXPECT_EQ(sim::chip().device.protectValue, 0xCAFE0001u);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(PortModeTest, ProtectedModeFailureNamesDevicePortAndValue) {
    for (int64_t answer : {0, 2, -1}) {
        forget();
        sim::clear_faults();
        sim::inject({.call = "asic_enable_protected_port", .result = answer});
        auto req = request(EswProtectedPortRequest{4242});
        EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_PROTECTED, req.get()), -1) << answer;
        EXPECT_THAT(logs(), ElementsAre(testing::AllOf(
                                IoctlError({"device 0", "port 3", "4242"}),
                                NamesOperationAndLine("mrvl_esw_ioctl_set_port_to_protected_mode"))))
            << answer;
    }
}

TEST_F(PortModeTest, ProtectedModeWithoutRequestIsRefused) {
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_PORT_MODE_PROTECTED, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"mrvl_esw_ioctl_set_port_to_protected_mode", "no request"})));
}

}  // namespace
