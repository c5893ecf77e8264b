// Storm control through mrvl_esw_ioctl: the configuration call of each kind, the counter reset
// of the "off" rate, and the status query into offset 4 of the host's buffer.
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

constexpr uint32_t kPort = 5;

class StormTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        handle_ = open_port(kPort);
    }
    int32_t configure(uint8_t kind, uint8_t rate) {
        EswStormRequest request{kind, rate};
        return ioctl(handle_, IOCTL_SW_CONFIG_STORM_CTRL, &request);
    }
    EswFrameworkHandle* handle_ = nullptr;
};

struct StormCase {
    uint8_t kind;
    uint8_t rate;
    std::vector<std::string> calls;
    bool accepted;
};
void PrintTo(const StormCase& c, std::ostream* os) {
    *os << "kind " << int(c.kind) << " rate " << int(c.rate);
}

class StormConfigTest : public StormTest, public testing::WithParamInterface<StormCase> {};

TEST_P(StormConfigTest, MakesTheKindsCallsInRateModeTwo) {
    const StormCase& c = GetParam();
    EXPECT_EQ(configure(c.kind, c.rate), c.accepted ? 0 : -1);
    EXPECT_THAT(journal(), ElementsAreArray(c.calls));
    if (c.accepted) {
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_config_storm_control",
                                                                    "kind " + std::to_string(c.kind)})));
    }
}

INSTANTIATE_TEST_SUITE_P(
    KindsAndRates, StormConfigTest,
    testing::Values(StormCase{0, 20, {"peridot_set_storm_control_unicast(0, 5, 2, 20, 0, 0, 1)"}, true},
                    StormCase{0,
                              100,
                              {"peridot_reset_storm_counters(0, 5, 0)",
                               "peridot_set_storm_control_unicast(0, 5, 2, 100, 0, 0, 0)"},
                              true},
                    StormCase{1, 0, {"peridot_set_storm_control_multicast(0, 5, 2, 0, 0, 0, 1)"}, true},
                    StormCase{1,
                              100,
                              {"peridot_reset_storm_counters(0, 5, 1)",
                               "peridot_set_storm_control_multicast(0, 5, 2, 100, 0, 0, 0)"},
                              true},
                    StormCase{2, 255, {"peridot_set_storm_control_broadcast(0, 5, 2, 255, 0, 0, 1)"}, true},
                    StormCase{2,
                              100,
                              {"peridot_reset_storm_counters(0, 5, 2)",
                               "peridot_set_storm_control_broadcast(0, 5, 2, 100, 0, 0, 0)"},
                              true},
                    StormCase{2, 99, {"peridot_set_storm_control_broadcast(0, 5, 2, 99, 0, 0, 1)"}, true},
                    StormCase{2, 101, {"peridot_set_storm_control_broadcast(0, 5, 2, 101, 0, 0, 1)"}, true},
                    // The reset comes before the kind is judged, so it runs even for a kind that is refused.
                    StormCase{3, 100, {"peridot_reset_storm_counters(0, 5, 3)"}, false},
                    StormCase{3, 50, {}, false}, StormCase{255, 0, {}, false}));

TEST_F(StormTest, AFailedCounterResetIsLoggedButDoesNotDecide) {
    sim::inject({.call = "peridot_reset_storm_counters", .result = 0});
    EXPECT_EQ(configure(2, 100), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_reset_storm_counters(0, 5, 2)",
                                       "peridot_set_storm_control_broadcast(0, 5, 2, 100, 0, 0, 0)"));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(
                            "peridot_ioctl", {"mrvl_esw_ioctl_config_storm_control", "port 5", "status 0"})));
}

TEST_F(StormTest, AFailedConfigurationCallFailsTheCommand) {
    for (const auto& [kind, call] :
         std::vector<std::pair<uint8_t, std::string>>{{0, "peridot_set_storm_control_unicast"},
                                                      {1, "peridot_set_storm_control_multicast"},
                                                      {2, "peridot_set_storm_control_broadcast"}}) {
        forget();
        sim::clear_faults();
        sim::inject({.call = call, .result = 7});
        EXPECT_EQ(configure(kind, 20), -1) << call;
        EXPECT_EQ(journal().size(), 1u) << call;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_config_storm_control",
                                                                    "port 5", "status 7"})))
            << call;
    }
}

TEST_F(StormTest, StatusLandsAtOffsetFourAndNowhereElse) {
    EswFrameworkHandle* port4 = open_port(4);
    sim::port(4).stormStatus = 0xABCD1234;
    EswStormStatusRequest request{};
    request.kind = 1;
    request.unused1[0] = request.unused1[1] = request.unused1[2] = 0xEE;
    EXPECT_EQ(ioctl(port4, IOCTL_GET_STORM_CTRL_STATUS, &request), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_storm_control_check(0, 4, 1, ptr, ptr, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(request.status, 0xABCD1234u);
    EXPECT_EQ(request.kind, 1);
    EXPECT_THAT(request.unused1, ElementsAre(0xEE, 0xEE, 0xEE));
}

TEST_F(StormTest, StatusForEachKindAsksTheChipForThatKind) {
    for (uint8_t kind : {0, 1, 2}) {
        forget();
        EswStormStatusRequest request{};
        request.kind = kind;
        EXPECT_EQ(ioctl(handle_, IOCTL_GET_STORM_CTRL_STATUS, &request), 0);
        EXPECT_THAT(journal(), ElementsAre("peridot_storm_control_check(0, 5, " + std::to_string(kind) +
                                           ", ptr, ptr, ptr)"));
    }
}

TEST_F(StormTest, StatusOfAnUnknownKindIsRefusedWithoutAChipCall) {
    for (uint8_t kind : {3, 200}) {
        forget();
        EswStormStatusRequest request{};
        request.kind = kind;
        request.status = 0x5555;
        EXPECT_EQ(ioctl(handle_, IOCTL_GET_STORM_CTRL_STATUS, &request), -1);
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"kind " + std::to_string(kind)})));
        EXPECT_EQ(request.status, 0x5555u);
    }
}

TEST_F(StormTest, AFailedStatusQueryFailsAndLeavesTheBufferAlone) {
    sim::inject({.call = "peridot_storm_control_check", .result = 0});
    EswStormStatusRequest request{};
    request.kind = 2;
    request.status = 0x5555;
    EXPECT_EQ(ioctl(handle_, IOCTL_GET_STORM_CTRL_STATUS, &request), -1);
    EXPECT_EQ(request.status, 0x5555u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_get_storm_control_status",
                                                                "port 5", "status 0"})));
}

TEST_F(StormTest, AMissingRequestIsRefusedWithoutAChipCall) {
    EXPECT_EQ(ioctl(handle_, IOCTL_SW_CONFIG_STORM_CTRL, nullptr), -1);
    EXPECT_EQ(ioctl(handle_, IOCTL_GET_STORM_CTRL_STATUS, nullptr), -1);
    EXPECT_EQ(mrvl_esw_ioctl_config_storm_control(0, kPort, nullptr), 1u);
    EXPECT_EQ(mrvl_esw_ioctl_get_storm_control_status(0, kPort, nullptr), 1u);
    EXPECT_THAT(journal(), IsEmpty());
}

}  // namespace
