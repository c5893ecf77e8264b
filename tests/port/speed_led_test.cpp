// Speed LEDs: the register arithmetic of 0x334, one port's update and the all-ports loop.
#include <climits>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kInit = "mrvl_periodot_init";
constexpr uint32_t kLeds = 0x334;
constexpr uint32_t kControl = 0x330;

std::string write(uint32_t reg, uint32_t value) {
    return "lib_fpga_reg_write(0, " + std::to_string(reg) + ", " + std::to_string(value) + ")";
}
const std::string kReadLeds = "lib_fpga_reg_read(0, 820, ptr)";
std::string link(int port) { return "peridot_get_link_state(0, " + std::to_string(port) + ", ptr)"; }
std::string speed(int port) { return "peridot_get_speed(0, " + std::to_string(port) + ", ptr)"; }

class SpeedLedTest : public testing::Test {
protected:
    void SetUp() override { sim::reset(); }
    void TearDown() override { sim::reset(); }
    static uint32_t reg(uint32_t r) { return sim::fpga()[r]; }
};

struct RegisterCase {
    int32_t port, linkUp, code;
    uint32_t before, after;
};

class LedRegisterTest : public SpeedLedTest, public testing::WithParamInterface<RegisterCase> {};

TEST_P(LedRegisterTest, UpdatesOnlyThePortsField) {
    const RegisterCase c = GetParam();
    sim::fpga()[kLeds] = c.before;
    EXPECT_EQ(set_speed_led_based_on_link_state(0, c.port, c.linkUp, c.code), 0);
    EXPECT_EQ(reg(kLeds), c.after);
    EXPECT_THAT(sim::journal(), ElementsAre(kReadLeds, write(kLeds, c.after)));
    EXPECT_THAT(sim::logs(), IsEmpty());
}

// Up replaces the field's code and sets bit 9; down clears only the code's bits.
INSTANTIATE_TEST_SUITE_P(
    Fields, LedRegisterTest,
    testing::Values(RegisterCase{5, 1, 2, 0, 0x20200}, RegisterCase{1, 0, 3, 0xFFFFFFFF, 0xFFFFFFFC},
                    RegisterCase{3, 1, 3, 0, 0x230}, RegisterCase{4, 1, 1, 0, 0x240},
                    RegisterCase{8, 1, 3, 0, 0xC00200}, RegisterCase{8, 0, 3, 0xFFFFFFFF, 0xFF3FFFFF},
                    RegisterCase{2, 1, 2, 0x20C, 0x208}, RegisterCase{6, 1, 0, 0xC0000, 0x200},
                    RegisterCase{5, 0, 1, 0x30200, 0x20200}, RegisterCase{7, 7, 7, 0, 0x300200}));

TEST_F(SpeedLedTest, PortsWithoutAFieldAreRefusedUntouched) {
    sim::fpga()[kLeds] = 0x1234;
    for (int32_t port : {0, 9, 11, -1, INT_MIN}) {
        sim::clear_logs();
        EXPECT_EQ(set_speed_led_based_on_link_state(0, port, 1, 3), 1) << port;
        EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom(kInit, {"port " + std::to_string(port)})));
    }
    EXPECT_THAT(sim::journal(), IsEmpty());
    EXPECT_EQ(reg(kLeds), 0x1234u);
}

TEST_F(SpeedLedTest, FpgaFailuresReturnTheirStatus) {
    sim::inject({.call = "lib_fpga_reg_read", .result = -5, .nth = 1});
    EXPECT_EQ(set_speed_led_based_on_link_state(0, 2, 1, 3), -5);
    EXPECT_THAT(sim::journal(), ElementsAre(kReadLeds));
    EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom(kInit, {"0x334", "status -5"})));
    sim::reset();
    sim::inject({.call = "lib_fpga_reg_write", .result = 7});
    EXPECT_EQ(set_speed_led_based_on_link_state(0, 2, 1, 3), 7);
    EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom(kInit, {"write 0x334", "status 7"})));
}

const testing::Matcher<const sim::LogRecord&> kPortEntry = ErrorFrom(kInit, {"mrvl_set_port_speed_led"});

struct PortCase {
    int port;
    std::optional<uint32_t> chipSpeed;  // link up at this speed, or down
    uint32_t before, after;
};

class PortLedTest : public SpeedLedTest, public testing::WithParamInterface<PortCase> {};

TEST_P(PortLedTest, SetsTheFieldFromLinkAndSpeed) {
    const PortCase c = GetParam();
    if (c.chipSpeed) sim::plug(static_cast<uint8_t>(c.port), *c.chipSpeed);
    sim::fpga()[kLeds] = c.before;
    EXPECT_EQ(mrvl_set_port_speed_led(c.port), 0);
    EXPECT_EQ(reg(kLeds), c.after);
    std::vector<std::string> calls{link(c.port)};
    if (c.chipSpeed) calls.push_back(speed(c.port));
    calls.insert(calls.end(), {kReadLeds, write(kLeds, c.after)});
    if (c.chipSpeed) calls.push_back(write(kControl, 0x2202));
    EXPECT_THAT(sim::journal(), ElementsAreArray(calls));
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry));
}

INSTANTIATE_TEST_SUITE_P(Ports, PortLedTest,
                         testing::Values(PortCase{5, 1, 0, 0x20200},
                                         PortCase{1, std::nullopt, 0xFFFFFFFF, 0xFFFFFFFC},
                                         PortCase{3, 2, 0, 0x230}, PortCase{3, 3, 0, 0x200},
                                         PortCase{3, 1, 0x230, 0x220}, PortCase{8, 0, 0, 0x400200}));

TEST_F(SpeedLedTest, LinkStayingUpAtANewSpeedShowsOnlyTheNewSpeed) {
    sim::plug(3, 2);
    ASSERT_EQ(mrvl_set_port_speed_led(3), 0);
    ASSERT_EQ(reg(kLeds), 0x230u);
    sim::plug(3, 1);
    EXPECT_EQ(mrvl_set_port_speed_led(3), 0);
    EXPECT_EQ(reg(kLeds), 0x220u);
    EXPECT_EQ(reg(kControl), 0x2202u);
}

TEST_F(SpeedLedTest, InternalPortsAreSkipped) {
    for (int port : {9, 10}) {
        sim::plug(static_cast<uint8_t>(port));
        EXPECT_EQ(mrvl_set_port_speed_led(port), 0);
    }
    EXPECT_THAT(sim::journal(), IsEmpty());
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, kPortEntry));
}

TEST_F(SpeedLedTest, PortsOutsideThePortMapAreRefused) {
    for (int port : {11, -1, INT_MIN}) {
        sim::clear_logs();
        EXPECT_EQ(mrvl_set_port_speed_led(port), 1) << port;
        EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"port " + std::to_string(port)})));
    }
    EXPECT_THAT(sim::journal(), IsEmpty());
}

// Port 0 is in the port map but has no field: its link is queried, the register is not touched.
TEST_F(SpeedLedTest, PortZeroIsRefusedByTheRegisterUpdate) {
    EXPECT_EQ(mrvl_set_port_speed_led(0), 1);
    EXPECT_THAT(sim::journal(), ElementsAre(link(0)));
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"port 0"})));
    sim::reset();
    sim::plug(0);
    EXPECT_EQ(mrvl_set_port_speed_led(0), 1);
    EXPECT_THAT(sim::journal(), ElementsAre(link(0), speed(0)));
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"port 0"}),
                                         ErrorFrom(kInit, {"0x334", "result 1"})));
}

TEST_F(SpeedLedTest, LinkQueryFailureShowsThePortAsDown) {
    sim::plug(2);
    sim::fpga()[kLeds] = 0xFFFFFFFF;
    sim::inject({.call = "peridot_get_link_state", .result = 0});
    EXPECT_EQ(mrvl_set_port_speed_led(2), 0);
    EXPECT_EQ(reg(kLeds), 0xFFFFFFF3u);
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"peridot_get_link_state", "status 0"}),
                                         ErrorFrom(kInit, {"link state of port 2", "result 1"})));
}

TEST_F(SpeedLedTest, SpeedFailureLeavesTheRegisterAlone) {
    sim::plug(5);
    sim::inject({.call = "peridot_get_speed", .result = 0});
    EXPECT_EQ(mrvl_set_port_speed_led(5), 1);
    EXPECT_THAT(sim::journal(), ElementsAre(link(5), speed(5)));
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"port 5", "status 0"})));
}

TEST_F(SpeedLedTest, RegisterAndControlFailuresReturnTheirStatus) {
    sim::plug(5);
    sim::inject({.call = "lib_fpga_reg_read", .result = 6, .nth = 1});
    EXPECT_EQ(mrvl_set_port_speed_led(5), 6);
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"read 0x334", "status 6"}),
                                         ErrorFrom(kInit, {"register 0x334", "result 6"})));
    EXPECT_EQ(sim::fpga().count(kControl), 0u);
    sim::clear_logs();
    sim::inject({.call = "lib_fpga_reg_write", .result = -2, .nth = 2});
    EXPECT_EQ(mrvl_set_port_speed_led(5), -2);
    EXPECT_EQ(reg(kLeds), 0x30000u | 0x200u);
    EXPECT_THAT(sim::logs(), ElementsAre(kPortEntry, ErrorFrom(kInit, {"0x330", "status -2"})));
}

TEST_F(SpeedLedTest, AllPortsLoopSetsLed1EverywhereAndSpeedsOnUserPorts) {
    sim::plug(5, 1);
    sim::plug(3, 2);
    sim::plug(9);
    EXPECT_EQ(mrvl_set_link_speed_led(), 0);
    std::vector<std::string> calls;
    uint32_t leds = 0;
    for (int p = 1; p <= 10; ++p) {
        calls.push_back("peridot_port_led1_set(0, " + std::to_string(p) + ", 5)");
        if (p > 8) continue;
        calls.push_back(link(p));
        if (p == 3 || p == 5) calls.push_back(speed(p));
        calls.push_back(kReadLeds);
        leds |= p == 3 ? 0x230 : p == 5 ? 0x20200 : 0;
        calls.push_back(write(kLeds, leds));
        if (p == 3 || p == 5) calls.push_back(write(kControl, 0x2202));
    }
    EXPECT_THAT(sim::journal(), ElementsAreArray(calls));
    EXPECT_EQ(reg(kLeds), 0x20230u);
    for (uint8_t p = 0; p <= 10; ++p) EXPECT_EQ(sim::port(p).led1Mode, p == 0 ? 0 : 5) << int{p};
    ASSERT_EQ(sim::logs().size(), 11u);
    EXPECT_THAT(sim::logs()[0], ErrorFrom(kInit, {"mrvl_set_link_speed_led"}));
}

TEST_F(SpeedLedTest, AllPortsLoopLogsFailuresAndGoesOn) {
    sim::plug(2);
    sim::inject({.call = "peridot_port_led1_set", .result = 0, .port = 4});
    sim::inject({.call = "peridot_get_speed", .result = 0});
    EXPECT_EQ(mrvl_set_link_speed_led(), 0);
    EXPECT_EQ(sim::journal_of({"peridot_port_led1_set"}).size(), 10u);
    std::vector<sim::LogRecord> failures;
    for (const sim::LogRecord& r : sim::logs())
        if (r.message.find("enter") == std::string::npos) failures.push_back(r);
    EXPECT_THAT(failures, ElementsAre(ErrorFrom(kInit, {"peridot_get_speed", "port 2", "status 0"}),
                                      ErrorFrom(kInit, {"speed LED of port 2", "result 1"}),
                                      ErrorFrom(kInit, {"peridot_port_led1_set", "port 4", "status 0"})));
}

}  // namespace
