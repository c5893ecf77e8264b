// What one command costs on its way through mrvl_esw_ioctl, against the same handler called
// directly and against the bare simulated-host calls that the handler makes.
//
// Three commands: NIC_LINK (a cheap query: three chip reads), IOCTL_SET_PORT_L2_MODE (the longest
// configuration sequence: fourteen chip calls) and 8197 (a command without a handler: the
// dispatcher logs and refuses it). The three figures of a command are measured in one process,
// interleaved at random in repetitions, and compared by their fastest repetition (thread CPU
// time), so that a neighbour process stealing the CPU lengthens no figure.
//
// The simulated host journals every call it receives, which costs allocations and string work
// that a real chip-access layer does not do. The bare host-call baseline carries exactly that
// cost, so "ioctl - host calls" is the library's own work. The journal and the log are emptied
// every 1024 calls outside the timed region; their capacity stays, so no benchmark pays for their
// growth.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "bench/report.h"
#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace {

constexpr uint32_t kPort = 3;
constexpr uint32_t kRejected = NIC_GET_SFP_INFO;  // 8197: a command of the default branch
constexpr uint32_t kHostVlan = 103;               // the host's VLAN of port 3 ...
constexpr uint32_t kChipVlan = 4073;              // ... as the chip knows it
constexpr int kRepetitions = 9;
constexpr double kMinTime = 0.1;  // seconds per repetition

EswFrameworkHandle portHandle{};
EswLinkInfo linkInfo{};
EswVlanRequest l2Request{kHostVlan};

// A switch as a successful bring-up leaves it, as far as these commands see it: both access lists
// obtained, port 3 open with a 1000 Mb/s full-duplex link.
void prepare_switch() {
    sim::reset();
    sim::set_log_echo(false);
    uc_mac_acl_handle_p[0] = sim::acl_handle(255);
    mc_mac_acl_handle_p[0] = sim::acl_handle(254);
    sim::plug(kPort, 2, 1);
    if (mrvl_esw_open(&portHandle, "mrvl_switch/0/3") != 0) {
        std::fprintf(stderr, "command_path: cannot open mrvl_switch/0/3\n");
        std::exit(1);
    }
}

// ---- the three ways to reach each command -------------------------------------------------------

int32_t link_ioctl() { return mrvl_esw_ioctl(&portHandle, NIC_LINK, &linkInfo); }
uint32_t link_handler() { return mrvl_get_nic_link_ioctl(0, kPort, &linkInfo); }
uint32_t link_host_calls() {
    uint32_t state = 0, speed = 0, duplex = 0;
    uint32_t r = peridot_get_link_state(0, kPort, &state);
    r += peridot_get_speed(0, kPort, &speed);
    r += peridot_get_duplex_mode(0, kPort, &duplex);
    return r + state + speed + duplex;
}

int32_t l2_ioctl() { return mrvl_esw_ioctl(&portHandle, IOCTL_SET_PORT_L2_MODE, &l2Request); }
uint32_t l2_handler() { return mrvl_esw_ioctl_port_l2_mode(0, kPort, &l2Request, IOCTL_SET_PORT_L2_MODE); }
// The set sequence on a chip that already has VLAN 1: the port's VLAN map, leaving its own VLAN,
// access mode, VLAN 1 on the data-plane port, learning, and both access lists promiscuous.
uint32_t l2_host_calls() {
    uint32_t listResult = 0;
    uint32_t r = static_cast<uint32_t>(peridot_port_vlan_map(0, kPort, 0x7ff & ~(1u << kPort)));
    r += peridot_set_port_allowed_vlan(0, kPort, kChipVlan, 0);
    r += static_cast<uint32_t>(asic_vlan_exists(0, 1));
    r += peridot_set_default_source_vlan_id(0, kPort, 1);
    r += peridot_allow_priority_tagged(0, kPort, 0);
    r += peridot_set_allow_native(0, kPort, 1);
    r += peridot_enable_8021q_mode(0, kPort);
    r += peridot_set_port_allowed_vlan(0, kPort, 1, 1);
    r += peridot_set_tagging_on_port(0, kPort, 1, 0);
    r += peridot_set_port_allowed_vlan(0, DataPlanePort, 1, 1);
    r += peridot_set_tagging_on_port(0, DataPlanePort, 1, 1);
    r += peridot_enable_atu_learning(0, kPort);
    r += static_cast<uint32_t>(asic_acl_remove_port(0, uc_mac_acl_handle_p, kPort, &listResult));
    r += static_cast<uint32_t>(asic_acl_remove_port(0, mc_mac_acl_handle_p, kPort, &listResult));
    return r;
}

int32_t rejected_ioctl() { return mrvl_esw_ioctl(&portHandle, kRejected, nullptr); }
// The refusal's one host call, with the record the dispatcher writes (taken from a real refusal).
sim::LogRecord refusal;
uint32_t rejected_host_calls() {
    zel_syslog(refusal.level, refusal.module.c_str(), refusal.location.c_str(), "%s",
               refusal.message.c_str());
    return 0;
}

// ---- proof that each baseline makes the calls its command makes ---------------------------------

std::vector<std::string> journal_of(const std::function<void()>& f) {
    sim::clear_journal();
    sim::clear_logs();
    f();
    std::vector<std::string> lines = sim::journal();
    for (const sim::LogRecord& rec : sim::logs())
        lines.push_back("log " + rec.module + " " + rec.location + " " + rec.message);
    return lines;
}

void require_same_calls(const char* what, const std::function<void()>& command,
                        const std::function<void()>& baseline) {
    const std::vector<std::string> want = journal_of(command);
    const std::vector<std::string> got = journal_of(baseline);
    if (want == got && !want.empty()) return;
    std::fprintf(stderr, "command_path: the %s baseline does not make the command's host calls\n", what);
    std::fprintf(stderr, "  command:\n");
    for (const std::string& line : want) std::fprintf(stderr, "    %s\n", line.c_str());
    std::fprintf(stderr, "  baseline:\n");
    for (const std::string& line : got) std::fprintf(stderr, "    %s\n", line.c_str());
    std::exit(1);
}

void check_baselines() {
    l2_ioctl();  // creates VLAN 1 once; every later set sequence is the steady one
    require_same_calls(
        "NIC_LINK", [] { link_ioctl(); }, [] { link_host_calls(); });
    require_same_calls(
        "NIC_LINK handler", [] { link_ioctl(); }, [] { link_handler(); });
    require_same_calls(
        "IOCTL_SET_PORT_L2_MODE", [] { l2_ioctl(); }, [] { l2_host_calls(); });
    require_same_calls(
        "IOCTL_SET_PORT_L2_MODE handler", [] { l2_ioctl(); }, [] { l2_handler(); });
    journal_of([] { rejected_ioctl(); });
    const std::vector<sim::LogRecord> records = sim::logs();
    if (records.size() != 1) {
        std::fprintf(stderr, "command_path: command %u wrote %zu log records, expected 1\n", kRejected,
                     records.size());
        std::exit(1);
    }
    refusal = records[0];
    require_same_calls(
        "refusal", [] { rejected_ioctl(); }, [] { rejected_host_calls(); });
    if (link_ioctl() != 0 || linkInfo.linkUp != 1 || l2_ioctl() != 0 || rejected_ioctl() != -1) {
        std::fprintf(stderr, "command_path: a measured command does not take its success path\n");
        std::exit(1);
    }
}

// ---- measurement --------------------------------------------------------------------------------

template <class F>
void measure(benchmark::State& state, F call) {
    unsigned sinceClear = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(call());
        if (++sinceClear == 1024) {
            state.PauseTiming();
            sim::clear_journal();
            sim::clear_logs();
            state.ResumeTiming();
            sinceClear = 0;
        }
    }
    sim::clear_journal();
    sim::clear_logs();
}

// Keeps the fastest repetition's CPU time per benchmark, and shows the usual console output on
// standard error.
class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> fastest;  // ns per call

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "min")
                fastest[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
};

void add(const char* name, void (*body)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, body)
        ->Unit(benchmark::kNanosecond)
        ->MinTime(kMinTime)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true)
        ->ComputeStatistics(
            "min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

}  // namespace

int main(int argc, char** argv) {
    prepare_switch();
    check_baselines();

    add("nic_link/ioctl", [](benchmark::State& s) { measure(s, link_ioctl); });
    add("nic_link/handler", [](benchmark::State& s) { measure(s, link_handler); });
    add("nic_link/host_calls", [](benchmark::State& s) { measure(s, link_host_calls); });
    add("l2_mode/ioctl", [](benchmark::State& s) { measure(s, l2_ioctl); });
    add("l2_mode/handler", [](benchmark::State& s) { measure(s, l2_handler); });
    add("l2_mode/host_calls", [](benchmark::State& s) { measure(s, l2_host_calls); });
    add("rejected/ioctl", [](benchmark::State& s) { measure(s, rejected_ioctl); });
    add("rejected/host_calls", [](benchmark::State& s) { measure(s, rejected_host_calls); });

    std::vector<char*> args(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::string plain = "--benchmark_color=false";
    args.insert(args.begin() + 1, {interleave.data(), plain.data()});
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    Collector collector;
    collector.SetOutputStream(&std::cerr);
    collector.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();

    auto t = [&](const char* name) { return collector.fastest[name]; };
    struct Command {
        const char* label;
        const char* key;
    };
    for (const Command& c :
         {Command{"NIC_LINK (8194)", "nic_link"}, Command{"IOCTL_SET_PORT_L2_MODE (8253)", "l2_mode"}}) {
        const double viaIoctl = t((std::string(c.key) + "/ioctl").c_str());
        const double direct = t((std::string(c.key) + "/handler").c_str());
        const double host = t((std::string(c.key) + "/host_calls").c_str());
        if (viaIoctl <= 0 || direct <= 0 || host <= 0) continue;
        const double overhead = viaIoctl / direct - 1;
        bench::row(bench::fmt("%s: mrvl_esw_ioctl vs direct handler call", c.label), bench::ns(viaIoctl),
                   bench::ns(direct), bench::fmt("%+.1f %% (%+.0f ns)", overhead * 100, viaIoctl - direct),
                   "dispatcher adds ≤ 10 %", bench::verdict(overhead <= 0.10));
        bench::row(
            bench::fmt("%s: mrvl_esw_ioctl vs its bare sim host calls", c.label), bench::ns(viaIoctl),
            bench::ns(host),
            bench::fmt("%.2f× (library's own work %s)", viaIoctl / host, bench::ns(viaIoctl - host).c_str()),
            "-", "-");
    }
    const double refused = t("rejected/ioctl");
    const double logCall = t("rejected/host_calls");
    if (refused > 0 && logCall > 0)
        bench::row("8197 (no handler): mrvl_esw_ioctl vs its bare sim log call", bench::ns(refused),
                   bench::ns(logCall),
                   bench::fmt("%.2f× (library's own work %s)", refused / logCall,
                              bench::ns(refused - logCall).c_str()),
                   "-", "-");
    return 0;
}
