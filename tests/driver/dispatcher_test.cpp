// The dispatcher's own branches: unknown and unhandled numbers, the no-action commands and the
// constant answers. Each subsystem's tests cover the commands that reach its handlers.
#include <string>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

using DispatcherTest = esw_test::PortTest<3>;

TEST_F(DispatcherTest, NumbersOutsideTheCommandRangeAreLoggedAndFail) {
    for (uint32_t cmd : {0u, 8191u, 8256u, 0xFFFFFFFFu}) {
        forget();
        uint32_t request[8] = {};
        EXPECT_EQ(ioctl(handle_, cmd, request), -1) << cmd;
        EXPECT_THAT(journal(), IsEmpty()) << cmd;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv", {std::to_string(cmd)}))) << cmd;
    }
}

TEST_F(DispatcherTest, CommandsWithoutAHandlerFallToTheDefaultBranch) {
    for (uint32_t cmd : {8197u, 8208u, 8209u, 8210u, 8211u, 8212u, 8213u, 8216u, 8219u, 8220u, 8222u, 8223u,
                         8224u}) {
        forget();
        uint32_t request[8] = {};
        EXPECT_EQ(ioctl(handle_, cmd, request), -1) << cmd;
        EXPECT_THAT(journal(), IsEmpty()) << cmd;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_drv", {std::to_string(cmd)}))) << cmd;
    }
}

TEST_F(DispatcherTest, CpuVlanCommandsSucceedWithoutDoingAnything) {
    for (uint32_t cmd : {8236u, 8237u}) {
        EXPECT_EQ(ioctl(handle_, cmd, nullptr), 0) << cmd;
        EXPECT_EQ(ioctl_value(handle_, cmd, 0xFFFF), 0) << cmd;
    }
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(DispatcherTest, GlobalInfoAnswersZero) {
    EXPECT_EQ(ioctl(handle_, NIC_SHOW_SWITCH_GLOBAL_INFO, nullptr), 0);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST(ExportedStubs, AnswerTheirConstants) {
    EXPECT_EQ(mrvl_esw_show_global_info(nullptr), 0u);
    EXPECT_EQ(mrvl_get_sfp_info_ioctl(0, 3, nullptr), 13u);
}

TEST(TimeDifference, IsMillisecondsInSinglePrecision) {
    EXPECT_FLOAT_EQ(timedifference_msec({10, 500000}, {12, 250000}), 1750.0f);
    EXPECT_FLOAT_EQ(timedifference_msec({5, 999000}, {6, 1000}), 2.0f);
    EXPECT_FLOAT_EQ(timedifference_msec({12, 250000}, {10, 500000}), -1750.0f);
}

TEST(PortTables, HoldTheSwitchNumbering) {
    EXPECT_EQ(numOfAllThePortsCns, 11);
    EXPECT_EQ(numOfUserPortsCns, 8);
    for (int i = 0; i < numOfAllThePortsCns; ++i) EXPECT_EQ(allThePorts[i], i);
    for (int i = 0; i < numOfUserPortsCns; ++i) EXPECT_EQ(userPorts[i], static_cast<uint32_t>(i + 1));
    EXPECT_EQ(DataPlanePort, 9);
    EXPECT_EQ(ControlPlanePort, 10);
    EXPECT_EQ(__SymbolTable, 0u);
    EXPECT_EQ(__SymbolTableLength, 0u);
}

TEST(PortTables, PortMapHasElevenRowsWithMediaTwoOnlyOnTheInternalPorts) {
    EswPortMapEntry* table = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(mrvl_get_phy_port_map(&table, &count), 0);
    ASSERT_EQ(count, 11u);
    for (uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(table[i].field0, 0u);
        EXPECT_EQ(table[i].portNum, i);
        EXPECT_EQ(table[i].field2, 0u);
        EXPECT_EQ(table[i].field3, 2u);
        EXPECT_EQ(table[i].mediaType, i >= 9 ? 2u : 0u) << i;
    }
    EXPECT_EQ(mrvl_get_phy_port_map(nullptr, nullptr), 0);
}

}  // namespace
