// Switchport L2 mode: the two sequences, the port's forwarding set, the VLAN translation and the
// chip state each order of set and remove leaves.
#include <string>
#include <vector>

#include "tests/vlan/vlan_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vlan_test::IoctlError;
using vlan_test::Records;
using vlan_test::request;
using vlan_test::VlanTest;

constexpr const char* kL2 = "mrvl_esw_ioctl_port_l2_mode";

const std::vector<std::string> kSetOnPort3 = {"peridot_port_vlan_map(0, 3, 2039)",  // 0x7f7
                                              "peridot_set_port_allowed_vlan(0, 3, 4073, 0)",
                                              "asic_vlan_exists(0, 1)",
                                              "peridot_set_default_source_vlan_id(0, 3, 1)",
                                              "peridot_allow_priority_tagged(0, 3, 0)",
                                              "peridot_set_allow_native(0, 3, 1)",
                                              "peridot_enable_8021q_mode(0, 3)",
                                              "peridot_set_port_allowed_vlan(0, 3, 1, 1)",
                                              "peridot_set_tagging_on_port(0, 3, 1, 0)",
                                              "peridot_set_port_allowed_vlan(0, 9, 1, 1)",
                                              "peridot_set_tagging_on_port(0, 9, 1, 1)",
                                              "peridot_enable_atu_learning(0, 3)",
                                              "asic_acl_remove_port(0, ptr, 3, ptr)",
                                              "asic_acl_remove_port(0, ptr, 3, ptr)"};

const std::vector<std::string> kRemoveOnPort3 = {"asic_vlan_exists(0, 1)",
                                                 "peridot_set_port_allowed_vlan(0, 3, 1, 0)",
                                                 "asic_peridot_double_tagging(0, 4073, 3, 9)",
                                                 "peridot_disable_8021q_mode(0, 3)",
                                                 "peridot_port_vlan_map(0, 3, 1536)",  // 0x600
                                                 "peridot_set_tagging_on_port(0, 3, 4073, 0)",
                                                 "asic_allow_priority_tagged(0, 3, 1)",
                                                 "peridot_disable_atu_learning(0, 3)",
                                                 "asic_acl_add_port(0, ptr, 3, ptr)",
                                                 "asic_acl_add_port(0, ptr, 3, ptr)"};

class L2ModeTest : public VlanTest {
protected:
    int64_t l2(uint32_t cmd, uint32_t vlanId, EswFrameworkHandle* handle = nullptr) {
        auto req = request(EswVlanRequest{vlanId});
        return ioctl(handle != nullptr ? handle : port3_, cmd, req.get());
    }
    // The chip after bring-up as far as these commands care: VLAN 1 and the port's own VLAN.
    static void arrange() {
        add_to_table(1);
        add_to_table(4073);
    }
};

TEST_F(L2ModeTest, SetMakesThePortAnAccessPortThatForwardsEverywhere) {
    arrange();
    EXPECT_EQ(l2(IOCTL_SET_PORT_L2_MODE, 103), 0);
    EXPECT_EQ(journal(), kSetOnPort3);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(L2ModeTest, SetStopsAtEachFailingStep) {
    const Records access = {{"mrvl_esw_ioctl_set_port_to_access_mode", "port 3", "status 0"},
                            {kL2, "port 3", "access port", "status 1"}};
    const Records dataPlane = {{"mrvl_esw_allow_vlan_on_dataplane_port", "port 9", "status 0"},
                               {kL2, "data-plane port 9", "status 1"}};
    expect_stop_at_each_step(
        kSetOnPort3,
        {{{kL2, "port vlan map"}},
         {{kL2, "port 3", "own vlan", "status 0"}},
         access,
         access,
         access,
         access,
         access,
         access,
         dataPlane,
         dataPlane,
         {{kL2, "port 3", "learning", "status 0"}},
         {{"mrvl_esw_ioctl_forward_filter_cfg", "port 3", "PROMISCUOUS", "UC_MODE"},
          {kL2, "port 3", "unicast", "status 1"}},
         {{"mrvl_esw_ioctl_forward_filter_cfg", "port 3", "PROMISCUOUS", "MC_MODE"},
          {kL2, "port 3", "multicast", "status 1"}}},
        arrange, [this] { return l2(IOCTL_SET_PORT_L2_MODE, 103); }, -1);
}

TEST_F(L2ModeTest, SetWithoutVlan1CreatesItAndCarriesItToTheDataPlane) {
    EXPECT_EQ(l2(IOCTL_SET_PORT_L2_MODE, 103), 0);
    std::vector<std::string> expected = kSetOnPort3;
    expected.insert(expected.begin() + 3, "asic_create_vlan(0, 1)");
    EXPECT_EQ(journal(), expected);
}

TEST_F(L2ModeTest, RemoveTiesThePortToTheDataPlane) {
    arrange();
    EXPECT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, 103), 0);
    EXPECT_EQ(journal(), kRemoveOnPort3);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(L2ModeTest, RemoveStopsAtEachFailingStep) {
    expect_stop_at_each_step(
        kRemoveOnPort3,
        {{{kL2, "vlan 1"}},
         {{kL2, "port 3", "double tagging", "status 0", "vlan 103"}},
         {{kL2, "port 3", "802.1q", "status 0"}},
         {{kL2, "port vlan map"}},
         {{kL2, "vlan 103", "untagged"}},
         {{kL2, "port 3", "priority-tagged"}},
         {{kL2, "port 3", "learning", "status 0"}},
         {{"mrvl_esw_ioctl_forward_filter_cfg", "port 3", "INDIVIDUAL", "UC_MODE"},
          {kL2, "port 3", "unicast", "status 1"}},
         {{"mrvl_esw_ioctl_forward_filter_cfg", "port 3", "INDIVIDUAL", "MC_MODE"},
          {kL2, "port 3", "multicast", "status 1"}}},
        arrange, [this] { return l2(IOCTL_REMOVE_PORT_L2_MODE, 103); }, -1);
}

TEST_F(L2ModeTest, RecordsWithoutValuesCarryNone) {
    arrange();
    sim::inject({.call = "peridot_port_vlan_map", .result = 0});
    ASSERT_EQ(l2(IOCTL_SET_PORT_L2_MODE, 103), -1);
    ASSERT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, 103), -1);
    ASSERT_EQ(logs().size(), 2u);
    for (const sim::LogRecord& record : logs()) {
        const std::string text = record.message.substr(std::string(kL2).size());
        EXPECT_THAT(text, testing::Not(testing::ContainsRegex("[0-9]"))) << record.message;
    }
}

TEST_F(L2ModeTest, RemoveWithVlanZeroSkipsDoubleTaggingAndSetsVlanZeroUntagged) {
    arrange();
    add_to_table(0);
    EXPECT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, 0), 0);
    EXPECT_THAT(sim::journal_of({"asic_peridot_double_tagging", "peridot_set_tagging_on_port"}),
                ElementsAre("peridot_set_tagging_on_port(0, 3, 0, 0)"));
}

TEST_F(L2ModeTest, RemoveWithoutVlan1SkipsLeavingIt) {
    add_to_table(4073);
    EXPECT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, 103), 0);
    std::vector<std::string> expected = kRemoveOnPort3;
    expected.erase(expected.begin() + 1);
    EXPECT_EQ(journal(), expected);
}

TEST_F(L2ModeTest, OtherCommandNumbersDoNothing) {
    auto req = request(EswVlanRequest{103});
    for (uint32_t cmd : {0u, 8252u, 8255u, 8200u}) {
        EXPECT_EQ(mrvl_esw_ioctl_port_l2_mode(0, 3, req.get(), cmd), 1u) << cmd;
        EXPECT_EQ(mrvl_esw_ioctl_port_l2_mode(0, 3, nullptr, cmd), 1u) << cmd;
    }
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(L2ModeTest, MissingRequestIsRefused) {
    EXPECT_EQ(ioctl(port3_, IOCTL_SET_PORT_L2_MODE, nullptr), -1);
    EXPECT_EQ(ioctl(port3_, IOCTL_REMOVE_PORT_L2_MODE, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({kL2, "no request"}), IoctlError({kL2, "no request"})));
}

// The forwarding set of a port in L2 mode is every port but itself.
struct PortSetCase {
    uint32_t port;
    std::string line;
};
void PrintTo(const PortSetCase& c, std::ostream* os) { *os << "port " << c.port; }
class L2PortSetTest : public L2ModeTest, public testing::WithParamInterface<PortSetCase> {};

TEST_P(L2PortSetTest, ClearsOnlyThePortsOwnBit) {
    arrange();
    EXPECT_EQ(mrvl_esw_ioctl_port_l2_mode(0, GetParam().port, request(EswVlanRequest{103}).get(),
                                          IOCTL_SET_PORT_L2_MODE),
              0u);
    ASSERT_FALSE(journal().empty());
    EXPECT_EQ(journal().front(), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(Ports, L2PortSetTest,
                         testing::Values(PortSetCase{3, "peridot_port_vlan_map(0, 3, 2039)"},    // 0x7f7
                                         PortSetCase{10, "peridot_port_vlan_map(0, 10, 1023)"},  // 0x3ff
                                         PortSetCase{0, "peridot_port_vlan_map(0, 0, 2046)"},    // 0x7fe
                                         PortSetCase{9, "peridot_port_vlan_map(0, 9, 1535)"}));  // 0x5ff

TEST_F(L2ModeTest, SetOnAPortBeyondTheForwardingSetIsRefusedWithoutAChipCall) {
    arrange();
    for (uint32_t port : {11u, 31u, 32u, 0xFFFFFFFFu}) {
        forget();
        EXPECT_EQ(
            mrvl_esw_ioctl_port_l2_mode(0, port, request(EswVlanRequest{103}).get(), IOCTL_SET_PORT_L2_MODE),
            1u);
        EXPECT_THAT(journal(), IsEmpty()) << port;
        EXPECT_THAT(logs(), ElementsAre(IoctlError({kL2, "port " + std::to_string(port)}))) << port;
    }
}

// Host VLAN numbers 101..108 and 1001..1008 are chip ids 4071..4078 and 4079..4086; their
// neighbours go unchanged.
struct TranslationCase {
    uint32_t host;
    uint32_t chip;
};
void PrintTo(const TranslationCase& c, std::ostream* os) { *os << c.host << " as " << c.chip; }
class L2TranslationTest : public L2ModeTest, public testing::WithParamInterface<TranslationCase> {};

TEST_P(L2TranslationTest, ChipCallsTakeTheTranslatedIdAndRecordsTheHostOne) {
    const auto [host, chip] = GetParam();
    add_to_table(1);
    add_to_table(chip);
    ASSERT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, host), 0);
    const std::string id = std::to_string(chip);
    EXPECT_THAT(sim::journal_of({"asic_peridot_double_tagging", "peridot_set_tagging_on_port"}),
                ElementsAre("asic_peridot_double_tagging(0, " + id + ", 3, 9)",
                            "peridot_set_tagging_on_port(0, 3, " + id + ", 0)"));
    forget();
    ASSERT_EQ(l2(IOCTL_SET_PORT_L2_MODE, host), 0);
    EXPECT_THAT(sim::journal_of({"peridot_set_port_allowed_vlan"}),
                testing::Contains("peridot_set_port_allowed_vlan(0, 3, " + id + ", 0)"));

    forget();
    sim::inject({.call = "peridot_set_tagging_on_port", .result = 0});
    ASSERT_EQ(l2(IOCTL_REMOVE_PORT_L2_MODE, host), -1);
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"vlan " + std::to_string(host) + " "})));
}

INSTANTIATE_TEST_SUITE_P(Bounds, L2TranslationTest,
                         testing::Values(TranslationCase{100, 100}, TranslationCase{101, 4071},
                                         TranslationCase{108, 4078}, TranslationCase{109, 109},
                                         TranslationCase{1000, 1000}, TranslationCase{1001, 4079},
                                         TranslationCase{1008, 4086}, TranslationCase{1009, 1009}));

}  // namespace
