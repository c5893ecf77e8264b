// Egress VLAN tag mode: the switching markers, the outcome of add by port and value, remove, and
// the reading of the eight-byte request.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/vlan/vlan_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vlan_test::IoctlError;
using vlan_test::NamesOperationAndLine;
using vlan_test::request;
using vlan_test::VlanTest;

constexpr const char* kAdd = "mrvl_esw_add_egress_vlan_tag_mode";
constexpr const char* kRemove = "mrvl_esw_remove_egress_vlan_tag_mode";
constexpr const char* kNoDoubleTagging =
    "mrvl_esw_add_egress_vlan_tag_mode -  no need to enable double tagging \n";
constexpr const char* kTraceLine = "mrvl_esw_add_egress_vlan_tag_mode:[0-9]+ \n";

// Every test gets its own marker folder, so that nothing depends on or lands in the real one.
class EgressTest : public VlanTest {
protected:
    void SetUp() override {
        VlanTest::SetUp();
        std::string pattern = (std::filesystem::temp_directory_path() / "esw_markers_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
        setenv("ESW_CONFIG_DIR_OVERRIDE", dir_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("ESW_CONFIG_DIR_OVERRIDE");
        std::filesystem::remove_all(dir_);
        VlanTest::TearDown();
    }
    void place(const char* file) const { std::ofstream(dir_ / file) << "x"; }
    void drop(const char* file) const { std::filesystem::remove(dir_ / file); }
    void markers(bool enable, bool disable) const {
        if (enable) place("enable_switching.dat");
        if (disable) place("disable_switching.dat");
    }

    int64_t add(EswFrameworkHandle* handle, int64_t value) {
        auto req = request(EswEgressTagRequest{value});
        return ioctl(handle, NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE, req.get());
    }
    int64_t remove(EswFrameworkHandle* handle, int64_t value) {
        auto req = request(EswEgressTagRequest{value});
        return ioctl(handle, NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE, req.get());
    }

    std::filesystem::path dir_;
};

// ---- outcome of add by port and value, under each combination of markers -----------------------

struct Outcome {
    const char* label;
    uint32_t port;
    int64_t value;
    std::vector<std::string> journal;  // switching off
    bool controlPlane;                 // trace line on stdout and the fixed record
};
void PrintTo(const Outcome& o, std::ostream* os) { *os << o.label; }

const std::vector<Outcome> kOutcomes = {
    {"Port1Negative",
     1,
     -1,
     {"asic_peridot_double_tagging(0, 4294967295, 1, 9)", "peridot_disable_8021q_mode(0, 1)"}},
    {"Port1Zero", 1, 0, {"asic_peridot_double_tagging(0, 0, 1, 9)", "peridot_disable_8021q_mode(0, 1)"}},
    {"Port1Positive", 1, 7, {"asic_peridot_double_tagging(0, 7, 1, 9)", "peridot_disable_8021q_mode(0, 1)"}},
    {"Port1Translated",
     1,
     103,
     {"asic_peridot_double_tagging(0, 4073, 1, 9)", "peridot_disable_8021q_mode(0, 1)"}},
    {"DataPlaneNegative",
     9,
     -1,
     {"asic_vlan_exists(0, 1)", "asic_create_vlan(0, 1)", "peridot_set_port_allowed_vlan(0, 9, 1, 1)",
      "peridot_set_tagging_on_port(0, 9, 1, 1)", "peridot_disable_8021q_mode(0, 9)"}},
    {"DataPlaneZero", 9, 0, {"peridot_disable_8021q_mode(0, 9)"}},
    {"DataPlanePositive", 9, 7, {"peridot_disable_8021q_mode(0, 9)"}},
    {"DataPlaneTranslated", 9, 1005, {"peridot_disable_8021q_mode(0, 9)"}},
    {"ControlPlaneNegative",
     10,
     -1,
     {"peridot_dsamode_enable(0, 10, 2)", "asic_peridot_set_ethertype(0, 10, 33024)"},
     true},
    {"ControlPlaneZero", 10, 0, {"peridot_disable_8021q_mode(0, 10)"}},
    {"ControlPlanePositive", 10, 7, {"peridot_disable_8021q_mode(0, 10)"}},
    {"ControlPlaneTranslated", 10, 103, {"peridot_disable_8021q_mode(0, 10)"}},
};

struct Markers {
    const char* label;
    bool enable;
    bool disable;
    bool switching;  // the add command does nothing
};
void PrintTo(const Markers& m, std::ostream* os) { *os << m.label; }

const std::vector<Markers> kMarkers = {
    {"Both", true, true, true},
    {"EnableOnly", true, false, true},
    {"DisableOnly", false, true, false},
    {"None", false, false, false},
};

class EgressOutcomeTest : public EgressTest,
                          public testing::WithParamInterface<std::tuple<Outcome, Markers>> {};

TEST_P(EgressOutcomeTest, AddFollowsPortValueAndMarkers) {
    const auto& [o, m] = GetParam();
    markers(m.enable, m.disable);
    EswFrameworkHandle* handle = open_port(o.port);
    sim::port(static_cast<uint8_t>(o.port)).dot1q = true;

    testing::internal::CaptureStdout();
    EXPECT_EQ(add(handle, o.value), 0);
    const std::string out = testing::internal::GetCapturedStdout();

    if (m.switching) {
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(), IsEmpty());
        EXPECT_EQ(out, "");
        return;
    }
    EXPECT_EQ(journal(), o.journal);
    if (o.controlPlane) {
        EXPECT_THAT(out, testing::MatchesRegex(kTraceLine));
        EXPECT_THAT(logs(),
                    ElementsAre(testing::AllOf(esw_test::ErrorFrom("peridot_ioctl"),
                                               testing::Field(&sim::LogRecord::message, kNoDoubleTagging))));
        EXPECT_EQ(sim::port(10).dsaMode, 2);
        EXPECT_TRUE(sim::port(10).dot1q);  // the control-plane port keeps its 802.1Q mode
    } else {
        EXPECT_EQ(out, "");
        EXPECT_THAT(logs(), IsEmpty());
        EXPECT_FALSE(sim::port(static_cast<uint8_t>(o.port)).dot1q);
    }
}

INSTANTIATE_TEST_SUITE_P(PortValueMarkers, EgressOutcomeTest,
                         testing::Combine(testing::ValuesIn(kOutcomes), testing::ValuesIn(kMarkers)),
                         [](const testing::TestParamInfo<std::tuple<Outcome, Markers>>& info) {
                             return std::string(std::get<0>(info.param).label) + "_" +
                                    std::get<1>(info.param).label;
                         });

TEST_F(EgressTest, DataPlanePreparationLeavesAnExistingVlan1Alone) {
    add_to_table(1);
    EXPECT_EQ(add(open_port(9), -5), 0);
    EXPECT_THAT(journal(), ElementsAre("asic_vlan_exists(0, 1)", "peridot_disable_8021q_mode(0, 9)"));
}

// ---- the eight-byte value -----------------------------------------------------------------------

struct WideValue {
    int64_t value;
    std::string first;  // the first call the add command makes on port 1
};
void PrintTo(const WideValue& w, std::ostream* os) { *os << w.value; }

class EgressWideValueTest : public EgressTest, public testing::WithParamInterface<WideValue> {};

TEST_P(EgressWideValueTest, OnlyTheLowThirtyTwoBitsCount) {
    EXPECT_EQ(add(open_port(1), GetParam().value), 0);
    ASSERT_FALSE(journal().empty());
    EXPECT_EQ(journal().front(), GetParam().first);
}

INSTANTIATE_TEST_SUITE_P(
    Values, EgressWideValueTest,
    testing::Values(WideValue{(int64_t{1} << 32) + 5, "asic_peridot_double_tagging(0, 5, 1, 9)"},
                    WideValue{(int64_t{1} << 32) + 103, "asic_peridot_double_tagging(0, 4073, 1, 9)"},
                    WideValue{-(int64_t{1} << 32) + 7, "asic_peridot_double_tagging(0, 7, 1, 9)"},
                    WideValue{int64_t{0x7FFFFFFF00000000}, "asic_peridot_double_tagging(0, 0, 1, 9)"}));

TEST_F(EgressTest, LowBitsWithTheSignBitSetAreNegative) {
    // 0xFFFFFFFF is positive as eight bytes but -1 as the low 32 bits: the data-plane preparation.
    EXPECT_EQ(add(open_port(9), int64_t{0xFFFFFFFF}), 0);
    EXPECT_THAT(sim::journal_of({"asic_vlan_exists"}), ElementsAre("asic_vlan_exists(0, 1)"));
}

// ---- failures -----------------------------------------------------------------------------------

TEST_F(EgressTest, FrontPanelPortStopsAtEachFailingCall) {
    expect_stop_at_each_step(
        {"asic_peridot_double_tagging(0, 4073, 3, 9)", "peridot_disable_8021q_mode(0, 3)"},
        {{{kAdd, "port 3", "double tagging", "status 0", "vlan 4073"}},
         {{kAdd, "port 3", "802.1q", "status 0"}}},
        [] {}, [this] { return add(port3_, 103); }, -1);
}

// The VLAN-table steps are swept with the add-VLAN command; here only the egress record that follows.
TEST_F(EgressTest, DataPlanePreparationFailureIsLoggedWithTheValue) {
    EswFrameworkHandle* port9 = open_port(9);
    sim::inject({.call = "asic_create_vlan", .result = 0});
    EXPECT_EQ(add(port9, -1), -1);
    EXPECT_THAT(journal(), ElementsAre("asic_vlan_exists(0, 1)", "asic_create_vlan(0, 1)"));
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"mrvl_esw_ioctl_add_vlan", "vlan 1", "status 0"}),
                                    IoctlError({kAdd, "value -1", "status 1"})));
}

// The first add fails at the mode switch, the second at the ethertype: each stops there and says so.
TEST_F(EgressTest, ControlPlaneFailuresNameOperationLineAndValues) {
    EswFrameworkHandle* port10 = open_port(10);
    sim::inject({.call = "peridot_dsamode_enable", .result = 0, .nth = 1});
    sim::inject({.call = "asic_peridot_set_ethertype", .result = 5, .nth = 1});
    testing::internal::CaptureStdout();
    EXPECT_EQ(add(port10, -1), -1);
    EXPECT_EQ(add(port10, -1), -1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_THAT(out, testing::MatchesRegex(std::string(kTraceLine) + kTraceLine));
    EXPECT_THAT(journal(), ElementsAre("peridot_dsamode_enable(0, 10, 2)", "peridot_dsamode_enable(0, 10, 2)",
                                       "asic_peridot_set_ethertype(0, 10, 33024)"));
    EXPECT_THAT(logs(),
                ElementsAre(testing::AllOf(IoctlError({kAdd, "port 10"}), NamesOperationAndLine(kAdd)),
                            testing::Field(&sim::LogRecord::message, kNoDoubleTagging),
                            testing::AllOf(IoctlError({kAdd, "device 0", "port 10", "status 5"}),
                                           NamesOperationAndLine(kAdd))));
}

TEST_F(EgressTest, MissingHandleOrRequestIsRefused) {
    auto req = request(EswEgressTagRequest{103});
    EXPECT_EQ(mrvl_esw_add_egress_vlan_tag_mode(nullptr, req.get()), 1u);
    EXPECT_EQ(mrvl_esw_remove_egress_vlan_tag_mode(nullptr, req.get()), 1u);
    EXPECT_EQ(ioctl(port3_, NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE, nullptr), -1);
    EXPECT_EQ(ioctl(port3_, NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({kAdd}), IoctlError({kRemove}), IoctlError({kAdd}),
                                    IoctlError({kRemove})));
}

// ---- markers ------------------------------------------------------------------------------------

TEST_F(EgressTest, MarkersAreReadAfreshOnEveryAdd) {
    place("enable_switching.dat");
    EXPECT_EQ(add(port3_, 7), 0);
    EXPECT_THAT(journal(), IsEmpty());

    drop("enable_switching.dat");
    EXPECT_EQ(add(port3_, 7), 0);
    EXPECT_THAT(journal(),
                ElementsAre("asic_peridot_double_tagging(0, 7, 3, 9)", "peridot_disable_8021q_mode(0, 3)"));

    forget();
    place("enable_switching.dat");
    EXPECT_EQ(add(port3_, 7), 0);
    EXPECT_THAT(journal(), IsEmpty());
}

// The marker combinations are covered through add above; anything stat reaches counts, a folder too.
TEST_F(EgressTest, SwitchingAnswerIsWhatStatReaches) {
    EXPECT_EQ(platform_supports_switching(), 0u);
    std::filesystem::create_directory(dir_ / "enable_switching.dat");
    EXPECT_EQ(platform_supports_switching(), 1u);
}

TEST_F(EgressTest, FileExistsIsWhatStatReaches) {
    place("plain");
    EXPECT_EQ(file_exists((dir_ / "plain").c_str()), 1u);
    EXPECT_EQ(file_exists(dir_.c_str()), 1u);
    EXPECT_EQ(file_exists((dir_ / "missing").c_str()), 0u);
    EXPECT_EQ(file_exists(""), 0u);
    EXPECT_EQ(file_exists(nullptr), 0u);
}

// ---- remove -------------------------------------------------------------------------------------

// Remove never consults the markers, takes the low 32 bits and leaves the VLAN untranslated.
TEST_F(EgressTest, RemoveTakesThePortOutOfTheNamedVlanUntranslated) {
    place("enable_switching.dat");
    add_to_table(103);
    for (int64_t value : {int64_t{103}, (int64_t{1} << 32) + 103}) {
        forget();
        EXPECT_EQ(remove(port3_, value), 0) << value;
        EXPECT_THAT(journal(),
                    ElementsAre("asic_vlan_exists(0, 103)", "peridot_set_port_allowed_vlan(0, 3, 103, 0)"))
            << value;
        EXPECT_THAT(logs(), IsEmpty()) << value;
    }
}

TEST_F(EgressTest, RemoveOfAVlanNotInTheTableFailsSilently) {
    EXPECT_EQ(remove(port3_, 103), -1);
    EXPECT_THAT(journal(), ElementsAre("asic_vlan_exists(0, 103)"));
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(EgressTest, RemoveFailureNamesOperationLinePortResultAndVlan) {
    add_to_table(103);
    sim::inject({.call = "peridot_set_port_allowed_vlan", .result = 9});
    EXPECT_EQ(remove(port3_, 103), -1);
    EXPECT_THAT(logs(), ElementsAre(testing::AllOf(IoctlError({"port 3", "status 9", "vlan 103"}),
                                                   NamesOperationAndLine(kRemove))));
}

}  // namespace
