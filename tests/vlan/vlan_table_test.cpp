// The VLAN table and membership commands: each command's calls in order, the stop at the first
// failing call with its record, and the table question each command asks (or does not ask).
#include <string>
#include <vector>

#include "tests/vlan/vlan_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vlan_test::IoctlError;
using vlan_test::NamesOperationAndLine;
using vlan_test::Parts;
using vlan_test::Records;
using vlan_test::request;
using vlan_test::VlanTest;

// VLAN 20 on port 3; every injected failure answers 7 so that the record must carry the result.
constexpr uint32_t kVlan = 20;
constexpr int64_t kFail = 7;

struct CommandCase {
    const char* label;
    uint32_t cmd;
    bool vlanInTable;                  // before the command
    std::vector<std::string> journal;  // all calls succeeding
    std::vector<Records> failures;     // records when the Nth chip call (questions aside) fails
};
void PrintTo(const CommandCase& c, std::ostream* os) { *os << c.label; }

const std::vector<CommandCase> kCommands = {
    {
        "AddVlan",
        IOCTL_SW_ADD_NEW_VLAN,
        false,
        {"asic_vlan_exists(0, 20)", "asic_create_vlan(0, 20)", "peridot_set_port_allowed_vlan(0, 9, 20, 1)",
         "peridot_set_tagging_on_port(0, 9, 20, 1)"},
        {{{"mrvl_esw_ioctl_add_vlan", "vlan 20", "status 7"}},
         {{"mrvl_esw_allow_vlan_on_dataplane_port", "port 9", "status 7"},
          {"mrvl_esw_ioctl_add_vlan", "status 1"}},
         {{"mrvl_esw_allow_vlan_on_dataplane_port", "port 9", "status 7"},
          {"mrvl_esw_ioctl_add_vlan", "status 1"}}},
    },
    {
        "RemoveVlan",
        IOCTL_SW_REMOVE_VLAN,
        true,
        {"asic_vlan_exists(0, 20)", "asic_delete_vlan(0, 20)"},
        {{{"mrvl_esw_ioctl_remove_vlan", "vlan 20", "status 7"}}},
    },
    {
        "AccessPortVlan",
        IOCTL_SW_APORT_ADD_VLAN,
        true,
        {"asic_vlan_exists(0, 20)", "peridot_set_default_source_vlan_id(0, 3, 20)",
         "peridot_set_port_allowed_vlan(0, 3, 20, 1)", "peridot_set_tagging_on_port(0, 3, 20, 0)"},
        {{{"mrvl_esw_ioctl_set_vlan_to_aport", "default vlan", "port 3", "status 7"}},
         {{"mrvl_esw_ioctl_set_vlan_to_aport", "add port to vlan", "port 3", "status 7"}},
         {{"mrvl_esw_ioctl_set_vlan_to_aport", "untagged", "port 3", "status 7"}}},
    },
    {
        "RemoveAccessPortVlan",
        IOCTL_SW_APORT_REMOVE_VLAN,
        true,
        {"asic_vlan_exists(0, 20)", "peridot_set_port_allowed_vlan(0, 3, 20, 0)"},
        {{{"mrvl_esw_ioctl_reset_vlan_of_aport", "port 3", "status 7"}}},
    },
    {
        "AllowVlanOnTrunk",
        IOCTL_SW_TPORT_ADD_VLAN,
        true,
        {"asic_vlan_exists(0, 20)", "peridot_set_tagging_on_port(0, 3, 20, 1)"},
        {{{"mrvl_esw_ioctl_add_port_to_vlan", "port 3", "status 7"}}},
    },
    {
        "DisallowVlanOnTrunk",
        IOCTL_SW_TPORT_REMOVE_VLAN,
        true,
        {"peridot_set_port_allowed_vlan(0, 3, 20, 0)"},
        {{{"mrvl_esw_ioctl_remove_port_from_vlan", "port 3", "status 7"}}},
    },
    {"AddNativeVlan",
     IOCTL_SW_TPORT_ADD_NATIVE_VLAN,
     true,
     {"asic_vlan_exists(0, 20)", "peridot_set_tagging_on_port(0, 3, 20, 0)",
      "peridot_set_allow_native(0, 3, 1)", "peridot_set_default_source_vlan_id(0, 3, 20)"},
     {{{"untagged", "port 3", "status 7", "vlan 20"}},
      {{"native", "port 3", "status 7"}},
      {{"default vlan", "port 3", "status 7", "vlan 20"}}}},
    {"RemoveNativeVlan",
     IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN,
     true,
     {"asic_vlan_exists(0, 20)", "peridot_set_port_allowed_vlan(0, 3, 20, 0)",
      "peridot_set_allow_native(0, 3, 0)"},
     {{{"remove port from vlan", "port 3", "status 7", "vlan 20"}}, {{"native", "port 3", "status 7"}}}},
};

class VlanCommandTest : public VlanTest, public testing::WithParamInterface<CommandCase> {
protected:
    int64_t issue() {
        auto req = request(EswVlanRequest{kVlan});
        return ioctl(port3_, GetParam().cmd, req.get());
    }
    void arrange() const {
        if (GetParam().vlanInTable) add_to_table(kVlan);
    }
};

TEST_P(VlanCommandTest, MakesItsCallsInOrderAndSucceeds) {
    arrange();
    EXPECT_EQ(issue(), 0);
    EXPECT_EQ(journal(), GetParam().journal);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_P(VlanCommandTest, StopsAtTheFirstFailingCallWithOneRecord) {
    expect_stop_at_each_step(
        GetParam().journal, GetParam().failures, [this] { arrange(); }, [this] { return issue(); }, -1,
        kFail);
}

TEST_P(VlanCommandTest, MissingRequestIsRefusedWithoutAnyCall) {
    arrange();
    EXPECT_EQ(ioctl(port3_, GetParam().cmd, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"no request"})));
}

INSTANTIATE_TEST_SUITE_P(Commands, VlanCommandTest, testing::ValuesIn(kCommands),
                         [](const testing::TestParamInfo<CommandCase>& info) { return info.param.label; });

// What each command makes of the table's answer before its first call.
struct ExistenceCase {
    const char* label;
    uint32_t cmd;
    int64_t answer;  // what asic_vlan_exists returns
    int32_t result;
    std::vector<std::string> journal;
};
void PrintTo(const ExistenceCase& c, std::ostream* os) { *os << c.label; }

const std::vector<ExistenceCase> kExistence = {
    {"AddPresent", IOCTL_SW_ADD_NEW_VLAN, 1, 0, {"asic_vlan_exists(0, 20)"}},
    {"AddPresentAnyNonZero", IOCTL_SW_ADD_NEW_VLAN, -3, 0, {"asic_vlan_exists(0, 20)"}},
    {"RemoveAbsent", IOCTL_SW_REMOVE_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    {"RemoveAnswerTwo", IOCTL_SW_REMOVE_VLAN, 2, -1, {"asic_vlan_exists(0, 20)"}},
    {"RemoveAnswerMinusOne", IOCTL_SW_REMOVE_VLAN, -1, -1, {"asic_vlan_exists(0, 20)"}},
    {"AccessPortVlanAbsent", IOCTL_SW_APORT_ADD_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    {"RemoveAccessPortVlanAbsent", IOCTL_SW_APORT_REMOVE_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    {"AllowOnTrunkAbsent", IOCTL_SW_TPORT_ADD_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    {"AddNativeAbsent", IOCTL_SW_TPORT_ADD_NATIVE_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    {"RemoveNativeAbsent", IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, 0, -1, {"asic_vlan_exists(0, 20)"}},
    // Any non-zero answer counts as present for the membership commands.
    {"AllowOnTrunkAnswerTwo",
     IOCTL_SW_TPORT_ADD_VLAN,
     2,
     0,
     {"asic_vlan_exists(0, 20)", "peridot_set_tagging_on_port(0, 3, 20, 1)"}},
    // Disallowing on a trunk port asks nothing: the port leaves the VLAN table or no table.
    {"DisallowOnTrunkAbsent",
     IOCTL_SW_TPORT_REMOVE_VLAN,
     0,
     0,
     {"peridot_set_port_allowed_vlan(0, 3, 20, 0)"}},
};

class VlanExistenceTest : public VlanTest, public testing::WithParamInterface<ExistenceCase> {};

TEST_P(VlanExistenceTest, DecidesBeforeAnyOtherCallWithoutARecord) {
    const ExistenceCase& c = GetParam();
    add_to_table(kVlan);  // the answer below is what counts, not the model
    sim::inject({.call = "asic_vlan_exists", .result = c.answer});
    auto req = request(EswVlanRequest{kVlan});
    EXPECT_EQ(ioctl(port3_, c.cmd, req.get()), c.result);
    EXPECT_EQ(journal(), c.journal);
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rules, VlanExistenceTest, testing::ValuesIn(kExistence),
                         [](const testing::TestParamInfo<ExistenceCase>& info) { return info.param.label; });

using VlanTableTest = VlanTest;

TEST_F(VlanTableTest, AddingAnExistingVlanLeavesTheDataPlaneAloneEvenAfterAFailedAdd) {
    sim::inject({.call = "peridot_set_tagging_on_port", .result = 0, .nth = 1});
    auto req = request(EswVlanRequest{kVlan});
    ASSERT_EQ(ioctl(port3_, IOCTL_SW_ADD_NEW_VLAN, req.get()), -1);
    EXPECT_TRUE(in_table(kVlan));  // the created VLAN stays
    EXPECT_EQ(sim::chip().device.vlans[kVlan].tagged.count(9), 0u);

    forget();
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_ADD_NEW_VLAN, req.get()), 0);
    EXPECT_THAT(journal(), ElementsAre("asic_vlan_exists(0, 20)"));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(sim::chip().device.vlans[kVlan].tagged.count(9), 0u);
}

// Ids go to the chip layer as they are; only the chip decides what it accepts.
class VlanIdPassThroughTest : public VlanTest, public testing::WithParamInterface<uint32_t> {};

TEST_P(VlanIdPassThroughTest, ReachesTheChipUnchanged) {
    const uint32_t vlan = GetParam();
    const std::string id = std::to_string(vlan);
    auto req = request(EswVlanRequest{vlan});
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_TPORT_REMOVE_VLAN, req.get()), 0);
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_ADD_NEW_VLAN, req.get()), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_set_port_allowed_vlan(0, 3, " + id + ", 0)",
                                       "asic_vlan_exists(0, " + id + ")", "asic_create_vlan(0, " + id + ")",
                                       "peridot_set_port_allowed_vlan(0, 9, " + id + ", 1)",
                                       "peridot_set_tagging_on_port(0, 9, " + id + ", 1)"));
}

INSTANTIATE_TEST_SUITE_P(Ids, VlanIdPassThroughTest, testing::Values(0u, 4095u, 4096u, 70000u, 0xFFFFFFFFu));

TEST_F(VlanTableTest, PortsReachTheChipAsTheirLowEightBits) {
    EswFrameworkHandle* wide = open_path("mrvl_switch/0/259");
    add_to_table(kVlan);
    sim::inject({.call = "peridot_set_tagging_on_port", .result = 0});
    auto req = request(EswVlanRequest{kVlan});
    EXPECT_EQ(ioctl(wide, IOCTL_SW_TPORT_ADD_VLAN, req.get()), -1);
    EXPECT_THAT(journal(),
                ElementsAre("asic_vlan_exists(0, 20)", "peridot_set_tagging_on_port(0, 3, 20, 1)"));
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"port 259", "status 0"})));
}

// The native-VLAN commands name themselves and the line in each record, as the prefix does.
TEST_F(VlanTableTest, NativeVlanRecordsNameOperationAndLine) {
    struct Failure {
        uint32_t cmd;
        const char* call;
        const char* operation;
    };
    for (const Failure& f : {Failure{IOCTL_SW_TPORT_ADD_NATIVE_VLAN, "peridot_set_tagging_on_port",
                                     "mrvl_esw_ioctl_tport_add_native_vlan"},
                             Failure{IOCTL_SW_TPORT_ADD_NATIVE_VLAN, "peridot_set_allow_native",
                                     "mrvl_esw_ioctl_tport_add_native_vlan"},
                             Failure{IOCTL_SW_TPORT_ADD_NATIVE_VLAN, "peridot_set_default_source_vlan_id",
                                     "mrvl_esw_ioctl_tport_add_native_vlan"},
                             Failure{IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, "peridot_set_port_allowed_vlan",
                                     "mrvl_esw_ioctl_tport_remove_native_vlan"},
                             Failure{IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, "peridot_set_allow_native",
                                     "mrvl_esw_ioctl_tport_remove_native_vlan"}}) {
        sim::reset();
        add_to_table(kVlan);
        sim::inject({.call = f.call, .result = 0});
        auto req = request(EswVlanRequest{kVlan});
        EXPECT_EQ(ioctl(port3_, f.cmd, req.get()), -1) << f.call;
        EXPECT_THAT(logs(), ElementsAre(NamesOperationAndLine(f.operation))) << f.call;
    }
}

TEST_F(VlanTableTest, DataPlaneOperationMakesTheVlanATaggedMemberOfPortNine) {
    add_to_table(kVlan);
    EXPECT_EQ(mrvl_esw_allow_vlan_on_dataplane_port(0, kVlan), 0u);
    EXPECT_THAT(journal(), ElementsAre("peridot_set_port_allowed_vlan(0, 9, 20, 1)",
                                       "peridot_set_tagging_on_port(0, 9, 20, 1)"));
    EXPECT_THAT(sim::chip().device.vlans[kVlan].tagged, ElementsAre(9));
}

}  // namespace
