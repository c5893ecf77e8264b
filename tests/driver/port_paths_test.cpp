// Port paths, open and close.
#include <string>

#include "driver/esw_alloc.h"
#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

struct PathCase {
    const char* path;
    int32_t result;
    uint32_t port;  // checked when result is 0
};

class PortPathTest : public testing::TestWithParam<PathCase> {};

TEST_P(PortPathTest, ParsesPortOrRefuses) {
    const PathCase& c = GetParam();
    uint32_t port = 0xDEADBEEF;
    EXPECT_EQ(getPortNumByName(c.path, &port), c.result) << c.path;
    EXPECT_EQ(port, c.result == 0 ? c.port : 0xDEADBEEF) << c.path;
}

INSTANTIATE_TEST_SUITE_P(
    Paths, PortPathTest,
    testing::Values(PathCase{"mrvl_switch/0/1", 0, 1}, PathCase{"mrvl_switch/0/10", 0, 10},
                    PathCase{"mrvl_switch/7/5", 0, 5},        // the unit digit is not used
                    PathCase{"mrvl_switch/cpu/10", 0, 10}, PathCase{"mrvl_switch/0/42", 0, 42},
                    PathCase{"mrvl_switch/0/abc", 0, 0},      // no digits read as 0
                    PathCase{"mrvl_switch/0/", 0, 0},         // port field present but empty
                    PathCase{"mrvl_switch/cpu/", 0, 0}, PathCase{"mrvl_switch/0/ -7", 0, 0xFFFFFFF9},
                    PathCase{"mrvl_switch/0/99999999999", 0, 1215752191},  // low 32 bits, as atoi
                    PathCase{"mrvl_switch/0/99999999999999999999", 0, 0xFFFFFFFF},  // saturates
                    PathCase{"mrvl_switch/0x3", 0, 3},        // position 13 is skipped unread
                    PathCase{"ABCDEFGHIJK/0/3", 0, 3},        // the device name is not examined
                    PathCase{"mrvl_switch/x/1", 11, 0}, PathCase{"mrvl_switch/cp", 11, 0},
                    PathCase{"mrvl_switch/", 11, 0}, PathCase{"mrvl_switch", 1, 0},
                    PathCase{"mrvl_switch-0/1", 1, 0}, PathCase{"", 1, 0}, PathCase{"mrvl", 1, 0},
                    PathCase{"mrvl_switch/3", 1, 0},          // ends before the port field
                    PathCase{"mrvl_switch/cpu", 1, 0}, PathCase{"mrvl_switch/cpu1", 0, 0}));

TEST(PortPath, NullPathIsRefused) {
    uint32_t port = 7;
    EXPECT_EQ(getPortNumByName(nullptr, &port), 1);
    EXPECT_EQ(port, 7u);
}

class OpenCloseTest : public DriverTest {};

TEST_F(OpenCloseTest, OpenHangsARecordWithDeviceZeroAndTheParsedPort) {
    EswFrameworkHandle handle{reinterpret_cast<void*>(0x1234), nullptr};
    ASSERT_EQ(mrvl_esw_open(&handle, "mrvl_switch/cpu/10"), 0);
    ASSERT_NE(handle.priv, nullptr);
    const auto* record = static_cast<const EswPortHandle*>(handle.priv);
    EXPECT_EQ(record->devNum, 0u);
    EXPECT_EQ(record->portNum, 10u);
    EXPECT_EQ(record->rxCallback, nullptr);
    EXPECT_EQ(handle.framework, reinterpret_cast<void*>(0x1234));  // never touched
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(mrvl_esw_close(&handle), &handle);
}

TEST_F(OpenCloseTest, BadUnitOnAHandleWithARecordFailsSilentlyAndKeepsIt) {
    EswFrameworkHandle* handle = open_port(4);
    void* before = handle->priv;
    EXPECT_EQ(mrvl_esw_open(handle, "mrvl_switch/x/1"), 1);
    EXPECT_EQ(handle->priv, before);
    EXPECT_EQ(static_cast<EswPortHandle*>(handle->priv)->portNum, 4u);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(OpenCloseTest, UnusablePathsAreLoggedWithThePath) {
    for (const char* path : {"mrvl_switch/x/1", "mrvl_switch", "mrvl_switch-0/1", "mrvl_switch/3"}) {
        forget();
        EswFrameworkHandle handle{nullptr, nullptr};
        EXPECT_EQ(mrvl_esw_open(&handle, path), 1) << path;
        EXPECT_EQ(handle.priv, nullptr);
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv", {std::string("\"") + path + "\""}))) << path;
    }
}

TEST_F(OpenCloseTest, NullHandleOrPathIsRefusedWithALog) {
    EswFrameworkHandle handle{nullptr, nullptr};
    EXPECT_EQ(mrvl_esw_open(nullptr, "mrvl_switch/0/1"), 1);
    EXPECT_EQ(mrvl_esw_open(&handle, nullptr), 1);
    EXPECT_EQ(handle.priv, nullptr);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv"), ErrorFrom("peridot_drv")));
}

TEST_F(OpenCloseTest, ReopenReplacesTheRecordAndKeepsTheOldOneUsable) {
    EswFrameworkHandle first{nullptr, nullptr};
    ASSERT_EQ(mrvl_esw_open(&first, "mrvl_switch/0/2"), 0);
    auto* old = static_cast<EswPortHandle*>(first.priv);
    ASSERT_EQ(mrvl_esw_open(&first, "mrvl_switch/0/3"), 0);
    EXPECT_NE(first.priv, old);
    EXPECT_EQ(old->portNum, 2u);  // not freed by open
    EXPECT_EQ(mrvl_esw_close(&first), &first);
}

TEST_F(OpenCloseTest, SecondCloseFreesNothingAndIsLogged) {
    EswFrameworkHandle handle{nullptr, nullptr};
    ASSERT_EQ(mrvl_esw_open(&handle, "mrvl_switch/0/5"), 0);
    void* record = handle.priv;
    EXPECT_EQ(mrvl_esw_close(&handle), &handle);
    EXPECT_EQ(handle.priv, record);  // close leaves priv as it was
    forget();
    EXPECT_EQ(mrvl_esw_close(&handle), &handle);  // ASan would report a double free here
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv")));
    EXPECT_EQ(mrvl_esw_close(nullptr), nullptr);
}

TEST_F(OpenCloseTest, StaleCloseDoesNotFreeAnotherHandlesRecordAtAReusedAddress) {
    EswFrameworkHandle a{nullptr, nullptr};
    EswFrameworkHandle b{nullptr, nullptr};
    ASSERT_EQ(mrvl_esw_open(&a, "mrvl_switch/0/1"), 0);
    mrvl_esw_close(&a);
    ASSERT_EQ(mrvl_esw_open(&b, "mrvl_switch/0/2"), 0);
    a.priv = b.priv;  // what a stale priv looks like once the allocator reuses the address
    mrvl_esw_close(&a);
    EXPECT_EQ(static_cast<EswPortHandle*>(b.priv)->portNum, 2u);
    int32_t dummy = 0;
    EXPECT_EQ(mrvl_esw_ioctl(&b, IOCTL_SW_ENABLE_CPU_VLAN, &dummy), 0);
    mrvl_esw_close(&b);
}

TEST_F(OpenCloseTest, CommandsOnAClosedOrUnopenedHandleAreRefused) {
    EswFrameworkHandle handle{nullptr, nullptr};
    EXPECT_EQ(mrvl_esw_ioctl(&handle, IOCTL_SW_ENABLE_CPU_VLAN, nullptr), -1);
    EXPECT_EQ(mrvl_esw_ioctl(nullptr, IOCTL_SW_ENABLE_CPU_VLAN, nullptr), -1);
    ASSERT_EQ(mrvl_esw_open(&handle, "mrvl_switch/0/5"), 0);
    mrvl_esw_close(&handle);
    forget();
    EXPECT_EQ(mrvl_esw_ioctl(&handle, IOCTL_SW_ENABLE_CPU_VLAN, nullptr), -1);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv", {"8236"})));
}

}  // namespace
