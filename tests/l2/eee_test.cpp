// Energy-efficient Ethernet through mrvl_esw_ioctl: the chip's two status words as the host's
// value, the host's value as the chip's force-EEE mode, and the silent refusal of a missing buffer.
#include <cstring>
#include <optional>
#include <string>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kPort = 6;

using EeeTest = esw_test::PortTest<kPort>;

struct StatusCase {
    uint16_t first;
    uint16_t second;
    std::optional<uint16_t> written;  // none: the request is left alone and a record is written
};
void PrintTo(const StatusCase& c, std::ostream* os) { *os << "first " << c.first << " second " << c.second; }

class EeeStatusTest : public EeeTest, public testing::WithParamInterface<StatusCase> {};

// The buffer is four bytes with a marker in each: the handler may write the first two only.
TEST_P(EeeStatusTest, WritesTheHostValueIntoTheFirstTwoBytes) {
    const StatusCase& c = GetParam();
    sim::port(kPort).eeeFirst = c.first;
    sim::port(kPort).eeeSecond = c.second;
    uint8_t buffer[4] = {0xAA, 0xBB, 0xCC, 0xDD};
    EXPECT_EQ(ioctl(handle_, IOCTL_GET_EEE_STATUS, buffer), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_get_force_eee(0, 6, ptr, ptr)"));
    uint16_t value = 0;
    std::memcpy(&value, buffer, sizeof value);
    if (c.written) {
        EXPECT_EQ(value, *c.written);
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_EQ(value, 0xBBAA);
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_get_eee", "port 6"})));
    }
    EXPECT_EQ(buffer[2], 0xCC);
    EXPECT_EQ(buffer[3], 0xDD);
}

INSTANTIATE_TEST_SUITE_P(StatusWords, EeeStatusTest,
                         testing::Values(StatusCase{0, 0, 2}, StatusCase{1, 0, 2}, StatusCase{0xFFFF, 0, 2},
                                         StatusCase{0, 1, 4}, StatusCase{2, 1, 4}, StatusCase{3, 1, 4},
                                         StatusCase{0x8001, 1, 4}, StatusCase{0, 0x8000, 4},
                                         StatusCase{1, 1, std::nullopt}, StatusCase{1, 0x100, std::nullopt}));

TEST_F(EeeTest, AFailedStatusQueryLeavesTheRequestAlone) {
    // 0x101 has a low byte of 1 but is not 1: the status query wants 1 exactly.
    for (int64_t status : {0, 2, 0x101}) {
        forget();
        sim::clear_faults();
        sim::inject({.call = "peridot_get_force_eee", .result = status});
        EswEeeRequest request{0x7777};
        EXPECT_EQ(ioctl(handle_, IOCTL_GET_EEE_STATUS, &request), -1) << status;
        EXPECT_EQ(request.eeeValue, 0x7777) << status;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_get_eee", "port 6",
                                                                    "status " + std::to_string(status)})))
            << status;
    }
}

struct ModeCase {
    uint8_t hostValue;
    std::optional<uint8_t> chipMode;  // none: refused
};
void PrintTo(const ModeCase& c, std::ostream* os) { *os << "value " << int(c.hostValue); }

class EeeModeTest : public EeeTest, public testing::WithParamInterface<ModeCase> {};

TEST_P(EeeModeTest, TranslatesTheHostValueOrRefusesIt) {
    const ModeCase& c = GetParam();
    EswEeeRequest request{c.hostValue};
    if (c.chipMode) {
        EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, &request), 0);
        EXPECT_THAT(journal(),
                    ElementsAre("peridot_set_force_eee(0, 6, " + std::to_string(*c.chipMode) + ")"));
        EXPECT_THAT(logs(), IsEmpty());
        EXPECT_EQ(sim::port(kPort).forceEee, *c.chipMode);
    } else {
        EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, &request), -1);
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(),
                    ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_set_eee",
                                                            "value " + std::to_string(c.hostValue)})));
    }
}

INSTANTIATE_TEST_SUITE_P(HostValues, EeeModeTest,
                         testing::Values(ModeCase{2, 0}, ModeCase{4, 1}, ModeCase{1, 2},
                                         ModeCase{0, std::nullopt}, ModeCase{3, std::nullopt},
                                         ModeCase{5, std::nullopt}, ModeCase{255, std::nullopt}));

TEST_F(EeeTest, SetReadsOnlyTheFirstByte) {
    const uint8_t request[2] = {4, 1};
    EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, const_cast<uint8_t*>(request)), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_set_force_eee(0, 6, 1)"));
}

TEST_F(EeeTest, SetSucceedsOnALowByteOfOne) {
    EswEeeRequest request{2};
    sim::inject({.call = "peridot_set_force_eee", .result = 0x301});
    EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, &request), 0);
    EXPECT_THAT(logs(), IsEmpty());
    sim::clear_faults();
    sim::inject({.call = "peridot_set_force_eee", .result = 0x100});
    EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, &request), -1);
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_set_eee", "port 6", "status 256"})));
}

TEST_F(EeeTest, AMissingRequestIsRefusedSilently) {
    EXPECT_EQ(ioctl(handle_, IOCTL_GET_EEE_STATUS, nullptr), -1);
    EXPECT_EQ(ioctl(handle_, IOCTL_SET_EEE_MODE, nullptr), -1);
    EXPECT_EQ(mrvl_esw_ioctl_get_eee(0, kPort, nullptr), 1u);
    EXPECT_EQ(mrvl_esw_ioctl_set_eee(0, kPort, nullptr), 1u);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

}  // namespace
