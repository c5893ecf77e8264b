// The trace facility: filtering, the line format and the settings dump.
#include <gtest/gtest.h>

#include <string>

#include "driver/esw_driver.h"
#include "trace/kpmd_trace.h"

namespace {

struct timeb fakeNow {};
void fake_clock(struct timeb* now) { *now = fakeNow; }

class TraceTest : public testing::Test {
protected:
    void SetUp() override {
        esw::set_trace_clock(fake_clock);
        fakeNow = {};
        fakeNow.time = 1000;
        kpmdTraceInit();
        restore_defaults();
    }
    void TearDown() override {
        restore_defaults();
        esw::set_trace_clock(nullptr);
    }
    static void restore_defaults() {
        kpmdTraceSetGlobalEnable(1);
        kpmdTraceSetFilterLevel(3);
        for (uint32_t id = 0; id < 7; ++id) kpmdTraceSetModule(id, 1, 7);
    }
    template <class... A>
    static std::string traced(uint32_t module, uint32_t level, const char* fmt, A... args) {
        testing::internal::CaptureStdout();
        kpmdTrace(module, level, fmt, args...);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(TraceTest, LineShowsLevelElapsedSecondsClockMillisModuleAndText) {
    fakeNow.time = 1002;
    fakeNow.millitm = 5;
    EXPECT_EQ(traced(5, 3, "frame %d", 7), "LEVEL_ERROR: 2.5 | M_CPU | frame 7\n");
}

TEST_F(TraceTest, DefaultFilterPassesErrorsAndStopsWarnings) {
    EXPECT_EQ(traced(0, 3, "x"), "LEVEL_ERROR: 0.0 | M_PORT | x\n");
    EXPECT_EQ(traced(0, 4, "x"), "");
    EXPECT_EQ(kpmdTraceIsEnable(0, 3), 1u);
    EXPECT_EQ(kpmdTraceIsEnable(0, 4), 0u);
}

TEST_F(TraceTest, FatalLinesPrintWhateverTheSwitchesSay) {
    kpmdTraceSetGlobalEnable(0);
    kpmdTraceSetModule(2, 0, 7);
    EXPECT_EQ(traced(2, 0, "down"), "LEVEL_FATAL: 0.0 | M_MAC | down\n");
    EXPECT_EQ(traced(2, 1, "down"), "");
    EXPECT_EQ(kpmdTraceIsEnable(2, 0), 0u);  // no exception for level 0 here
}

TEST_F(TraceTest, SilencedModuleOnlyPrintsFatal) {
    ASSERT_EQ(kpmdTraceSetModule(2, 0, 7), 0u);
    EXPECT_EQ(traced(2, 3, "x"), "");
    EXPECT_NE(traced(2, 0, "x"), "");
    EXPECT_NE(traced(1, 3, "x"), "");
}

TEST_F(TraceTest, ModuleLevelAndFilterLevelBothLimit) {
    kpmdTraceSetFilterLevel(7);
    kpmdTraceSetModule(4, 1, 5);
    EXPECT_NE(traced(4, 5, "x"), "");
    EXPECT_EQ(traced(4, 6, "x"), "");
    kpmdTraceSetFilterLevel(2);
    EXPECT_EQ(traced(4, 3, "x"), "");
}

TEST_F(TraceTest, SwitchValueTwoPrintsButIsNotEnabled) {
    kpmdTraceSetGlobalEnable(2);
    EXPECT_NE(traced(0, 3, "x"), "");
    EXPECT_EQ(kpmdTraceIsEnable(0, 3), 0u);
    kpmdTraceSetGlobalEnable(1);
    kpmdTraceSetModule(0, 2, 7);
    EXPECT_NE(traced(0, 3, "x"), "");
    EXPECT_EQ(kpmdTraceIsEnable(0, 3), 0u);
}

TEST_F(TraceTest, SettersRefuseOutOfRangeValuesAndChangeNothing) {
    EXPECT_EQ(kpmdTraceSetModule(7, 1, 7), 1u);
    EXPECT_EQ(kpmdTraceSetModule(0, 1, 8), 1u);
    EXPECT_EQ(kpmdTraceSetFilterLevel(8), 1u);
    EXPECT_EQ(kpmdTraceIsEnable(0, 3), 1u);
    EXPECT_EQ(kpmdTraceIsEnable(0, 4), 0u);  // filter still 3
}

TEST_F(TraceTest, ModuleIdsOutsideTheTableAreRefused) {
    EXPECT_EQ(traced(7, 0, "x"), "");
    EXPECT_EQ(traced(0xFFFFFFFF, 3, "x"), "");
    EXPECT_EQ(kpmdTraceIsEnable(7, 0), 0u);
    EXPECT_EQ(kpmdTraceIsEnable(1000000, 3), 0u);
}

TEST_F(TraceTest, LongTextIsCutAt1021Characters) {
    const std::string text(2000, 'a');
    const std::string line = traced(0, 3, "%s", text.c_str());
    const std::string head = "LEVEL_ERROR: 0.0 | M_PORT | ";
    EXPECT_EQ(line, head + std::string(1021, 'a') + "\n");
}

TEST_F(TraceTest, InitRestartsTheElapsedSeconds) {
    fakeNow.time = 1042;
    kpmdTraceInit();
    fakeNow.time = 1043;
    fakeNow.millitm = 999;
    EXPECT_EQ(traced(0, 0, "x"), "LEVEL_FATAL: 1.999 | M_PORT | x\n");
}

TEST_F(TraceTest, AllModulesSwitchFlipsEveryModule) {
    kpmdTraceSetAllModulesEnable(0);
    for (uint32_t id = 0; id < 7; ++id) EXPECT_EQ(kpmdTraceIsEnable(id, 3), 0u) << id;
    kpmdTraceSetAllModulesEnable(1);
    for (uint32_t id = 0; id < 7; ++id) EXPECT_EQ(kpmdTraceIsEnable(id, 3), 1u) << id;
}

TEST_F(TraceTest, ShowModuleIdDbPrintsEveryModuleAndTheGlobals) {
    kpmdTraceSetModule(6, 0, 2);
    testing::internal::CaptureStdout();
    kpmdTraceShowModuleIdDb();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              " ID: 0,M_PORT     enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 1,M_PCL      enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 2,M_MAC      enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 3,M_CLASS    enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 4,M_PHY      enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 5,M_CPU      enable:1  level:7,LEVEL_DEBUG\n"
              " ID: 6,M_DEVELOP  enable:0  level:2,LEVEL_CRITICAL\n"
              " Global trace enable:1, Trace level filter:3,LEVEL_ERROR\n");
}

}  // namespace
