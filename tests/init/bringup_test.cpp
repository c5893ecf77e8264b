// The bring-up against the simulated chip: the whole sequence in order, a failure at every fatal
// step ending it there, the steps that only log, what goes to standard output, and the module
// entry that registers the device whatever the bring-up returned. A bring-up that gets past the
// capture interfaces opens handles and starts a thread for good, so those run in forked children.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cpu/lacp_capture.h"
#include "init/bringup_hooks.h"
#include "tests/common/driver_test.h"
#include "tests/cpu/lab_support.h"
#include "tests/cpu/lacp_receiver.h"
#include "trace/kpmd_trace.h"

namespace {

using esw_lab::ChildOptions;
using esw_lab::run_in_child;
using esw_test::DriverTest;
using esw_test::ErrorFrom;
using esw_testbed::CaptureLab;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace std::chrono_literals;

std::string call(const std::string& name, const std::vector<uint32_t>& args, const char* first = nullptr) {
    std::string text = name + "(";
    bool comma = false;
    if (first != nullptr) {
        text += first;
        comma = true;
    }
    for (uint32_t a : args) {
        text += (comma ? ", " : "") + std::to_string(a);
        comma = true;
    }
    return text + ")";
}

// Every host call of a successful bring-up, in order, apart from those of the LED update (which
// has its own tests with the port subsystem).
std::vector<std::string> full_bringup_journal() {
    std::vector<std::string> j;
    j.push_back("qdInit()");
    j.push_back(call("peridot_init_reg", {0, 1, 0}));
    for (uint32_t p = 1; p <= 8; ++p) j.push_back(call("peridot_vodSet", {0, p}));
    j.push_back(call("pcap_rmuOpenEthDevice", {161}));
    j.push_back(call("peridot_set_rmu_mode", {0, 3, 1, 0}));
    j.push_back(call("peridot_set_learning", {0, 0}));
    j.push_back(call("peridot_disable_atu_learning", {0, 9}));
    for (uint32_t p = 1; p <= 8; ++p) j.push_back(call("peridot_disable_atu_learning", {0, p}));
    for (uint32_t p = 0; p <= 10; ++p) {
        j.push_back(call("asic_enable_8021q_mode", {0, p}));
        if (p != 0) j.push_back(call("hwSetAnyRegField", {p, 4, 14, 2, 2}, "qddev"));
    }
    for (uint32_t p = 1; p <= 8; ++p) {
        j.push_back(call("asic_set_storm_control_unicast", {0, p, 2, 100, 0, 0}));
        j.push_back(call("asic_set_storm_control_multicast", {0, p, 2, 100, 0, 0}));
        j.push_back(call("asic_set_storm_control_broadcast", {0, p, 2, 100, 0, 0}));
        j.push_back(call("asic_enable_span_storm_port", {0, p, 2, 100, 0, 1}));
    }
    j.push_back(call("asic_create_vlan", {0, 4094}));
    for (uint32_t p : {7u, 8u}) j.push_back(call("asic_set_port_allowed_vlan", {0, p, 4094, 1}));
    for (uint32_t p : {7u, 8u}) j.push_back(call("peridot_add_vlan_forlldp_dsa", {0, 4094, p, 10, 1}));
    j.push_back(call("asic_create_vlan", {0, 4093}));
    for (uint32_t p = 1; p <= 8; ++p) {
        j.push_back(call("asic_set_port_allowed_vlan", {0, p, 4093, 1}));
        j.push_back(call("peridot_add_vlan_forlacp_dsa", {0, 4093, p, 10, 1}));
    }
    j.push_back(call("asic_create_vlan", {0, 4092}));
    for (uint32_t p = 1; p <= 8; ++p) j.push_back(call("asic_set_port_allowed_vlan", {0, p, 4092, 1}));
    for (uint32_t p = 1; p <= 8; ++p) j.push_back(call("if_index_phy_ethernet_get", {1, p}));
    j.push_back(call("peridot_set_ARPwoBC_reg", {0}));
    j.push_back(call("asic_get_acl_handle", {0, 255}));
    j.push_back(call("asic_get_acl_handle", {0, 254}));
    return j;
}

// The journal up to and including `last`.
std::vector<std::string> journal_through(const std::string& last) {
    std::vector<std::string> j = full_bringup_journal();
    const auto it = std::find(j.begin(), j.end(), last);
    EXPECT_NE(it, j.end()) << last << " is no call of the bring-up";
    if (it != j.end()) j.erase(it + 1, j.end());
    return j;
}

const std::set<std::string> kLedCalls = {"peridot_port_led1_set", "peridot_get_link_state",
                                         "peridot_get_speed", "lib_fpga_reg_read", "lib_fpga_reg_write"};

std::vector<std::string> journal_without_led_update() {
    std::vector<std::string> lines;
    for (const sim::Call& c : sim::calls())
        if (!kLedCalls.contains(c.name)) lines.push_back(c.text());
    return lines;
}

// What `run` writes to standard output. Failures reported meanwhile land in the capture too, so
// keep assertions outside.
template <class Run>
std::string printed_by(Run&& run) {
    std::fflush(stdout);
    const int file = memfd_create("stdout", MFD_CLOEXEC);
    const int saved = dup(STDOUT_FILENO);
    dup2(file, STDOUT_FILENO);
    run();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::string text;
    lseek(file, 0, SEEK_SET);
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(file, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(got));
    close(file);
    return text;
}

// How the bring-up starts its thread, seen from the tests.
struct ThreadStarts {
    int calls = 0;
    void* (*routine)(void*) = nullptr;
    void* arg = reinterpret_cast<void*>(1);
    bool defaultAttributes = false;
};
ThreadStarts starts;

int note_start(const pthread_attr_t* attr, void* (*routine)(void*), void* arg) {
    ++starts.calls;
    starts.routine = routine;
    starts.arg = arg;
    starts.defaultAttributes = attr == nullptr;
    return 0;
}
int refuse_start(pthread_t*, const pthread_attr_t* attr, void* (*routine)(void*), void* arg) {
    note_start(attr, routine, arg);
    return EAGAIN;
}
int start_for_real(pthread_t* thread, const pthread_attr_t* attr, void* (*routine)(void*), void* arg) {
    note_start(attr, routine, arg);
    return pthread_create(thread, attr, routine, arg);
}

int traceClockReads = 0;
void counting_clock(struct timeb* now) {
    ++traceClockReads;
    *now = {};
}

class BringUp : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        starts = {};
        traceClockReads = 0;
        esw::set_thread_starter(&refuse_start);
        esw::set_trace_clock(&counting_clock);
        std::memset(&kpmdDeviceInfo, 0xA5, sizeof kpmdDeviceInfo);
        uc_mac_acl_handle_p[0] = 0;
        mc_mac_acl_handle_p[0] = 0;
        ::unsetenv(esw::kLacpImmediateEnv);
    }
    void TearDown() override {
        esw::set_thread_starter(nullptr);
        esw::set_trace_clock(nullptr);
        DriverTest::TearDown();
    }
    static void expect_device_info_filled() {
        EXPECT_EQ(kpmdDeviceInfo.ports, userPorts);
        EXPECT_EQ(kpmdDeviceInfo.count, 8);
        EXPECT_EQ(kpmdDeviceInfo.flag, 1);
        for (uint8_t byte : kpmdDeviceInfo.zero) EXPECT_EQ(byte, 0);
    }
};

// ---- a failure at each fatal step ----------------------------------------------------------

struct FatalCase {
    const char* name;
    sim::Fault fault;
    std::string lastCall;  // the failing call, the last line of the journal
    std::vector<std::string> logParts;
};

std::ostream& operator<<(std::ostream& os, const FatalCase& c) { return os << c.name; }

const FatalCase kFatalCases[] = {
    {"init_reg",
     {.call = "peridot_init_reg", .result = 0},
     "peridot_init_reg(0, 1, 0)",
     {"peridot_init_reg", "status 0"}},
    {"rmu_open",
     {.call = "pcap_rmuOpenEthDevice", .result = -1},
     "pcap_rmuOpenEthDevice(161)",
     {"pcap_rmuOpenEthDevice", "status -1"}},
    {"rmu_mode",
     {.call = "peridot_set_rmu_mode", .result = 2},
     "peridot_set_rmu_mode(0, 3, 1, 0)",
     {"peridot_set_rmu_mode", "status 2"}},
    {"learning",
     {.call = "peridot_set_learning", .result = 0},
     "peridot_set_learning(0, 0)",
     {"peridot_set_learning", "status 0"}},
    {"atu_learning_port9",
     {.call = "peridot_disable_atu_learning", .result = 0, .port = 9},
     "peridot_disable_atu_learning(0, 9)",
     {"peridot_disable_atu_learning", "port 9", "status 0"}},
    {"atu_learning_port4",
     {.call = "peridot_disable_atu_learning", .result = 0, .port = 4},
     "peridot_disable_atu_learning(0, 4)",
     {"peridot_disable_atu_learning", "port 4", "status 0"}},
    {"dot1q_port0",
     {.call = "asic_enable_8021q_mode", .result = 0, .port = 0},
     "asic_enable_8021q_mode(0, 0)",
     {"asic_enable_8021q_mode", "port 0", "status 0"}},
    {"dot1q_port10",
     {.call = "asic_enable_8021q_mode", .result = 257, .port = 10},
     "asic_enable_8021q_mode(0, 10)",
     {"asic_enable_8021q_mode", "port 10", "status 257"}},
    {"reg_field_port1",
     {.call = "hwSetAnyRegField", .result = -1, .port = 1},
     "hwSetAnyRegField(qddev, 1, 4, 14, 2, 2)",
     {"hwSetAnyRegField", "port 1", "status -1"}},
    {"reg_field_port3",
     {.call = "hwSetAnyRegField", .result = 5, .port = 3},
     "hwSetAnyRegField(qddev, 3, 4, 14, 2, 2)",
     {"hwSetAnyRegField", "port 3", "status 5"}},
    {"storm_unicast_port1",
     {.call = "asic_set_storm_control_unicast", .result = 0, .port = 1},
     "asic_set_storm_control_unicast(0, 1, 2, 100, 0, 0)",
     {"asic_set_storm_control_unicast", "port 1", "status 0"}},
    {"storm_multicast_port5",
     {.call = "asic_set_storm_control_multicast", .result = 0x100, .port = 5},
     "asic_set_storm_control_multicast(0, 5, 2, 100, 0, 0)",
     {"asic_set_storm_control_multicast", "port 5", "status 256"}},
    {"storm_broadcast_port8",
     {.call = "asic_set_storm_control_broadcast", .result = 2, .port = 8},
     "asic_set_storm_control_broadcast(0, 8, 2, 100, 0, 0)",
     {"asic_set_storm_control_broadcast", "port 8", "status 2"}},
    {"span_storm_port4",
     {.call = "asic_enable_span_storm_port", .result = 0, .port = 4},
     "asic_enable_span_storm_port(0, 4, 2, 100, 0, 1)",
     {"asic_enable_span_storm_port", "port 4", "status 0"}},
    {"create_4094",
     {.call = "asic_create_vlan", .result = 0, .nth = 1},
     "asic_create_vlan(0, 4094)",
     {"asic_create_vlan", "vlan 4094", "status 0"}},
    {"create_4093",
     {.call = "asic_create_vlan", .result = 0, .nth = 2},
     "asic_create_vlan(0, 4093)",
     {"asic_create_vlan", "vlan 4093", "status 0"}},
    {"create_4092",
     {.call = "asic_create_vlan", .result = 0, .nth = 3},
     "asic_create_vlan(0, 4092)",
     {"asic_create_vlan", "vlan 4092", "status 0"}},
    {"allow_4094_port8",
     {.call = "asic_set_port_allowed_vlan", .result = 0, .nth = 2},
     "asic_set_port_allowed_vlan(0, 8, 4094, 1)",
     {"asic_set_port_allowed_vlan", "port 8", "vlan 4094", "status 0"}},
    {"lldp_port7",
     {.call = "peridot_add_vlan_forlldp_dsa", .result = 0, .port = 7},
     "peridot_add_vlan_forlldp_dsa(0, 4094, 7, 10, 1)",
     {"peridot_add_vlan_forlldp_dsa", "port 7", "vlan 4094", "status 0"}},
    {"allow_4093_port5",
     {.call = "asic_set_port_allowed_vlan", .result = 0, .nth = 1, .port = 5},
     "asic_set_port_allowed_vlan(0, 5, 4093, 1)",
     {"asic_set_port_allowed_vlan", "port 5", "vlan 4093", "status 0"}},
    {"lacp_port5",
     {.call = "peridot_add_vlan_forlacp_dsa", .result = 0, .port = 5},
     "peridot_add_vlan_forlacp_dsa(0, 4093, 5, 10, 1)",
     {"peridot_add_vlan_forlacp_dsa", "port 5", "vlan 4093", "status 0"}},
    {"allow_4093_port8",
     {.call = "asic_set_port_allowed_vlan", .result = 0, .nth = 2, .port = 8},
     "asic_set_port_allowed_vlan(0, 8, 4093, 1)",
     {"asic_set_port_allowed_vlan", "port 8", "vlan 4093", "status 0"}},
    {"allow_4092_port1",
     {.call = "asic_set_port_allowed_vlan", .result = 0, .nth = 2, .port = 1},
     "asic_set_port_allowed_vlan(0, 1, 4092, 1)",
     {"asic_set_port_allowed_vlan", "port 1", "vlan 4092", "status 0"}},
};

class FatalStep : public BringUp, public testing::WithParamInterface<FatalCase> {};

TEST_P(FatalStep, EndsTheBringUpThereWithOneRecordAndNothingAfter) {
    const FatalCase& c = GetParam();
    sim::inject(c.fault);
    int32_t result = -1;
    const std::string printed = printed_by([&] { result = initKPMD(); });
    EXPECT_EQ(result, 1);

    EXPECT_THAT(journal(), ElementsAreArray(journal_through(c.lastCall)));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", c.logParts)));
    EXPECT_EQ(starts.calls, 0);
    EXPECT_EQ(uc_mac_acl_handle_p[0], 0u);
    EXPECT_EQ(mc_mac_acl_handle_p[0], 0u);
    expect_device_info_filled();
    EXPECT_EQ(printed, c.fault.call == "peridot_init_reg" ? "QD Load Success\n"
                                                          : "QD Load Success\n\nSetting RMU mode");
}

INSTANTIATE_TEST_SUITE_P(Steps, FatalStep, testing::ValuesIn(kFatalCases),
                         [](const testing::TestParamInfo<FatalCase>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(BringUp, AFailedChipDriverLoadIsPrintedAndStopsAt8021qForWantOfItsRecord) {
    sim::inject({.call = "qdInit", .result = -1});
    int32_t result = -1;
    EXPECT_EQ(printed_by([&] { result = initKPMD(); }), "QD Load Failed\n\nSetting RMU mode");
    EXPECT_EQ(result, 1);
    EXPECT_THAT(journal(), ElementsAreArray(journal_through("peridot_disable_atu_learning(0, 8)")));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"initKPMD", "no chip driver record"})));
    EXPECT_EQ(starts.calls, 0);
}

TEST_F(BringUp, StartsTheTraceClockAndFillsTheDeviceInfoBeforeAnyFatalStep) {
    sim::inject({.call = "peridot_init_reg", .result = 0});
    int32_t result = -1;
    EXPECT_EQ(printed_by([&] { result = initKPMD(); }), "QD Load Success\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(traceClockReads, 1);
    expect_device_info_filled();
}

TEST_F(BringUp, DeviceInfoExistsForDeviceZeroOnly) {
    std::memset(&kpmdDeviceInfo, 0, sizeof kpmdDeviceInfo);
    initKpmdPcl(1);
    EXPECT_EQ(kpmdDeviceInfo.ports, nullptr);
    EXPECT_EQ(kpmdDeviceInfo.flag, 0);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"initKpmdPcl", "1"})));
    initKpmdPcl(0);
    expect_device_info_filled();
}

// A chip driver that reports fewer ports gets only those; one with a count beyond what a port
// number can name is held to the 8-bit range rather than repeating ports.
TEST_F(BringUp, EnablesDot1qOnAsManyPortsAsTheChipDriverReports) {
    sim::inject({.call = "asic_set_storm_control_unicast", .result = 0, .port = 1});
    ASSERT_EQ(qdInit(), 0);
    const uint32_t saved = qddev->numOfPorts;
    qddev->numOfPorts = 4;
    int32_t result = -1;
    printed_by([&] { result = initKPMD(); });
    EXPECT_EQ(result, 1);
    qddev->numOfPorts = saved;
    EXPECT_THAT(sim::journal_of({"asic_enable_8021q_mode", "hwSetAnyRegField"}),
                ElementsAre("asic_enable_8021q_mode(0, 0)", "asic_enable_8021q_mode(0, 1)",
                            "hwSetAnyRegField(qddev, 1, 4, 14, 2, 2)", "asic_enable_8021q_mode(0, 2)",
                            "hwSetAnyRegField(qddev, 2, 4, 14, 2, 2)", "asic_enable_8021q_mode(0, 3)",
                            "hwSetAnyRegField(qddev, 3, 4, 14, 2, 2)"));
}

// ---- steps that log and go on --------------------------------------------------------------

struct GoesOnCase {
    const char* name;
    sim::Fault fault;
    std::vector<std::vector<std::string>> logParts;  // records before the capture interfaces
};

std::ostream& operator<<(std::ostream& os, const GoesOnCase& c) { return os << c.name; }

const GoesOnCase kGoesOnCases[] = {
    {"vod_port4",
     {.call = "peridot_vodSet", .result = 0, .port = 4},
     {{"peridot_vodSet", "port 4", "status 0"}}},
    {"vod_every_port",
     {.call = "peridot_vodSet", .result = 3},
     {{"port 1", "status 3"},
      {"port 2", "status 3"},
      {"port 3", "status 3"},
      {"port 4", "status 3"},
      {"port 5", "status 3"},
      {"port 6", "status 3"},
      {"port 7", "status 3"},
      {"port 8", "status 3"}}},
    {"init_reg_any_nonzero_byte", {.call = "peridot_init_reg", .result = 0x80}, {}},
    {"storm_low_byte_one", {.call = "asic_set_storm_control_unicast", .result = 0x301, .port = 2}, {}},
    {"span_storm_low_byte_one", {.call = "asic_enable_span_storm_port", .result = -255, .port = 8}, {}},
};

class StepThatGoesOn : public BringUp, public testing::WithParamInterface<GoesOnCase> {};

// Without capture interfaces the sequence then stops at opening them, which shows how far it went.
TEST_P(StepThatGoesOn, LogsAndLetsTheSequenceReachTheCaptureInterfaces) {
    ESW_REQUIRE_NETNS();
    const GoesOnCase c = GetParam();
    run_in_child({.freshNetns = true}, [&c](CaptureLab*) {
        esw::set_thread_starter(&refuse_start);
        sim::inject(c.fault);
        int32_t result = -1;
        EXPECT_EQ(printed_by([&] { result = initKPMD(); }), "QD Load Success\n\nSetting RMU mode");
        EXPECT_EQ(result, 1);
        EXPECT_THAT(sim::journal(), ElementsAreArray(journal_through("if_index_phy_ethernet_get(1, 8)")));
        std::vector<testing::Matcher<const sim::LogRecord&>> expected;
        for (const auto& parts : c.logParts) {
            std::vector<std::string> withName = parts;
            withName.insert(withName.begin(), "initKPMD");
            expected.push_back(ErrorFrom("mrvl_periodot_init", withName));
        }
        expected.push_back(ErrorFrom("mrvl_periodot_init", {"init_lacp_interfaces"}));
        expected.push_back(ErrorFrom("mrvl_periodot_init", {"open_all_lacp_interfaces", "lacp-swp1"}));
        expected.push_back(
            ErrorFrom("mrvl_periodot_init", {"initKPMD", "LACP capture interfaces not opened"}));
        EXPECT_THAT(sim::logs(), ElementsAreArray(expected));
        EXPECT_EQ(starts.calls, 0);
        EXPECT_EQ(uc_mac_acl_handle_p[0], 0u);
    });
}

INSTANTIATE_TEST_SUITE_P(Steps, StepThatGoesOn, testing::ValuesIn(kGoesOnCases),
                         [](const testing::TestParamInfo<GoesOnCase>& info) {
                             return std::string(info.param.name);
                         });

// ---- past the capture interfaces -----------------------------------------------------------

class BringUpWithInterfaces : public BringUp {
protected:
    void SetUp() override {
        BringUp::SetUp();
        ESW_REQUIRE_NETNS();
    }
};

TEST_F(BringUpWithInterfaces, AThreadThatCannotStartEndsTheBringUp) {
    run_in_child({.withLab = true}, [](CaptureLab*) {
        esw::set_thread_starter(&refuse_start);
        int32_t result = -1;
        printed_by([&] { result = initKPMD(); });
        EXPECT_EQ(result, 1);
        EXPECT_THAT(sim::journal(), ElementsAreArray(journal_through("if_index_phy_ethernet_get(1, 8)")));
        EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"init_lacp_interfaces"}),
                                             ErrorFrom("mrvl_periodot_init", {"initKPMD", "status 11"})));
        EXPECT_EQ(starts.calls, 1);
        EXPECT_EQ(uc_mac_acl_handle_p[0], 0u);
        EXPECT_EQ(mc_mac_acl_handle_p[0], 0u);
    });
}

TEST_F(BringUpWithInterfaces, ASuccessfulBringUpRunsEveryStepInOrder) {
    run_in_child({.withLab = true}, [](CaptureLab*) {
        esw::set_thread_starter(&start_for_real);
        int32_t result = -1;
        EXPECT_EQ(printed_by([&] { result = initKPMD(); }), "QD Load Success\n\nSetting RMU mode");
        EXPECT_EQ(result, 0);
        EXPECT_THAT(journal_without_led_update(), ElementsAreArray(full_bringup_journal()));

        // The LED update runs between the ARP register and the access-control handles.
        const std::vector<std::string> all = sim::journal();
        const auto arp = std::find(all.begin(), all.end(), "peridot_set_ARPwoBC_reg(0)");
        const auto acl = std::find(all.begin(), all.end(), "asic_get_acl_handle(0, 255)");
        ASSERT_LT(arp, acl);
        for (auto it = arp + 1; it != acl; ++it)
            EXPECT_TRUE(kLedCalls.contains(it->substr(0, it->find('(')))) << *it;

        EXPECT_EQ(starts.calls, 1);
        EXPECT_EQ(starts.routine, &rx_poll_task);
        EXPECT_EQ(starts.arg, nullptr);
        EXPECT_TRUE(starts.defaultAttributes);
        EXPECT_EQ(uc_mac_acl_handle_p[0], sim::acl_handle(255));
        EXPECT_EQ(mc_mac_acl_handle_p[0], sim::acl_handle(254));
        for (const sim::LogRecord& rec : sim::logs()) {
            EXPECT_THAT(rec, ErrorFrom("mrvl_periodot_init"));
            EXPECT_EQ(rec.message.find("initKPMD"), std::string::npos) << rec.message;
        }
        EXPECT_EQ(esw_test::logs_mentioning("init_lacp_interfaces"), 1u);
        for (const LacpCaptureIf& rec : lacpCaptureIfs) EXPECT_NE(rec.pcap, nullptr) << rec.ifName;
    });
}

TEST_F(BringUpWithInterfaces, LeavesTheChipConfiguredAndTheReceiveThreadListening) {
    run_in_child({.withLab = true}, [](CaptureLab* lab) {
        esw::set_thread_starter(nullptr);
        int32_t result = -1;
        printed_by([&] { result = initKPMD(); });
        ASSERT_EQ(result, 0);

        const sim::Chip& chip = sim::chip();
        EXPECT_EQ(chip.device.rmuMode, (std::array<uint8_t, 3>{3, 1, 0}));
        EXPECT_FALSE(chip.device.globalLearning);
        EXPECT_TRUE(chip.device.arpWoBc);
        for (int p = 0; p < sim::kPortCount; ++p) {
            const sim::PortState& port = chip.ports[static_cast<size_t>(p)];
            EXPECT_TRUE(port.dot1q) << p;
            EXPECT_EQ(port.regField4_14, p == 0 ? 0 : 2) << p;
            EXPECT_EQ(port.learning, p == 0 || p == 10) << p;
            const bool user = p >= 1 && p <= 8;
            EXPECT_EQ(port.spanStorm.enable, user) << p;
            for (const sim::StormSetting& s : port.storm) EXPECT_EQ(s.rate, user ? 100u : 0u) << p;
        }
        const std::set<uint8_t> users = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(chip.device.vlans.at(4094).members, (std::set<uint8_t>{7, 8}));
        EXPECT_EQ(chip.device.vlans.at(4094).lldpDsa, (std::set<uint8_t>{7, 8}));
        EXPECT_EQ(chip.device.vlans.at(4093).members, users);
        EXPECT_EQ(chip.device.vlans.at(4093).lacpDsa, users);
        EXPECT_EQ(chip.device.vlans.at(4092).members, users);
        EXPECT_TRUE(chip.device.vlans.at(4092).lacpDsa.empty());

        // The host registers its callback on the CPU channel after the bring-up; frames then flow.
        ASSERT_EQ(mrvl_esw_open(&esw_test::cpuChannel, "mrvl_switch/cpu/10"), 0);
        sim::set_cpu_channel(&esw_test::cpuChannel);
        ASSERT_EQ(mrvl_esw_ioctl(&esw_test::cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK,
                                 reinterpret_cast<void*>(&esw_test::Inbox::callback)),
                  0);
        const std::vector<uint8_t> frame = esw_test::lacp_frame(124, 6);
        ASSERT_TRUE(lab->send_from_peer(6, frame.data(), frame.size()));
        ASSERT_TRUE(esw_test::Inbox::get().wait_for(1, 10s));
        EXPECT_EQ(esw_test::Inbox::get().deliveries()[0].ifIndex, 1006u);
        EXPECT_EQ(esw_test::Inbox::get().deliveries()[0].bytes, frame);
    });
}

// The LED update answers for the last port it visits, port 10, which normally has no LEDs; given
// LEDs and an FPGA that cannot be read, the update fails, and the bring-up only logs that.
TEST_F(BringUpWithInterfaces, AFailedLedUpdateIsLoggedAndTheBringUpGoesOn) {
    run_in_child({.withLab = true}, [](CaptureLab*) {
        esw::set_thread_starter(&start_for_real);
        esw::eswPortMap[10].mediaType = 0;
        sim::inject({.call = "lib_fpga_reg_read", .result = -1});
        int32_t result = -1;
        printed_by([&] { result = initKPMD(); });
        EXPECT_EQ(result, 0);
        EXPECT_EQ(esw_test::logs_mentioning("initKPMD"), 1u);
        EXPECT_EQ(esw_test::logs_mentioning("port speed LEDs not set"), 1u);
        EXPECT_EQ(sim::journal().back(), "asic_get_acl_handle(0, 254)");
        EXPECT_EQ(uc_mac_acl_handle_p[0], sim::acl_handle(255));
        EXPECT_EQ(mc_mac_acl_handle_p[0], sim::acl_handle(254));
    });
}

// ---- the module entry ----------------------------------------------------------------------

void expect_device_registered() {
    for (int slot = 0; slot < 16; ++slot) {
        void* expected = slot == ESW_DEVTAB_OPEN    ? reinterpret_cast<void*>(&mrvl_esw_open)
                         : slot == ESW_DEVTAB_CLOSE ? reinterpret_cast<void*>(&mrvl_esw_close)
                         : slot == ESW_DEVTAB_IOCTL ? reinterpret_cast<void*>(&mrvl_esw_ioctl)
                                                    : nullptr;
        EXPECT_EQ(devtab[slot], expected) << "slot " << slot;
    }
    const std::vector<sim::Announcement> announced = sim::announcements();
    ASSERT_EQ(announced.size(), 1u);
    EXPECT_EQ(announced[0].name, "mrvl_switch");
    EXPECT_EQ(announced[0].table, static_cast<void*>(devtab));
    ASSERT_FALSE(sim::journal().empty());
    EXPECT_EQ(sim::journal().back(), "announce(mrvl_switch, ptr)");
}

TEST_F(BringUp, ModuleEntryRegistersTheDeviceAfterAFailedBringUp) {
    for (void*& slot : devtab) slot = reinterpret_cast<void*>(0xBAD);
    sim::inject({.call = "peridot_set_learning", .result = 0});
    int32_t result = -1;
    EXPECT_EQ(printed_by([&] { result = mrvl_esw_devmain(); }), "QD Load Success\n\nSetting RMU mode");
    EXPECT_EQ(result, 0);
    expect_device_registered();
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"peridot_set_learning"}),
                                    ErrorFrom("peridot_drv")));
}

TEST_F(BringUpWithInterfaces, ModuleEntryRegistersTheDeviceAfterASuccessfulBringUp) {
    run_in_child({.withLab = true}, [](CaptureLab*) {
        esw::set_thread_starter(nullptr);
        for (void*& slot : devtab) slot = reinterpret_cast<void*>(0xBAD);
        int32_t result = -1;
        EXPECT_EQ(printed_by([&] { result = mrvl_esw_devmain(); }), "QD Load Success\n\nSetting RMU mode");
        EXPECT_EQ(result, 0);
        expect_device_registered();
        for (const sim::LogRecord& rec : sim::logs()) EXPECT_THAT(rec, ErrorFrom("mrvl_periodot_init"));
        EXPECT_EQ(uc_mac_acl_handle_p[0], sim::acl_handle(255));
    });
}

}  // namespace
