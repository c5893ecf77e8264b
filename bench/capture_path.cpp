// The CPU packet path on real capture interfaces: bring-up, receive latency, receive throughput
// and transmit, each against bare libpcap doing the same on the same kind of interface in the same
// run. Every figure comes from a child process of its own (see capture_rig.h). The receive
// figures are taken in several runs, library and bare taking turns (latency: samples pooled;
// throughput: each side's better run), so that load from elsewhere on the machine weighs on both
// alike; transmission interleaves library and bare within one process. Latency is also compared
// with a bare reader that watches all eight interfaces, as the library's receive thread does.
//
// Arguments: --latency-frames N (immediate mode and bare reader, default 2000),
// --default-frames N (default mode, default 100: each frame there waits for the 1000 ms read
// timeout of the capture, so this run is kept short), --tx-frames N (default 50000),
// --burst N (frames per port per throughput round, default 4000), --rounds N (default 5),
// --window N (frames per port sent and not yet received, default 16), --only SECTION (bringup,
// latency, default, throughput or transmit).
#include <pcap/pcap.h>
#include <sys/select.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/capture_rig.h"
#include "bench/report.h"
#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace {

using rig::Failure;
using rig::Values;

constexpr int kLatencyPort = 3;
constexpr uint64_t kMs = 1000000;
constexpr int kSnapLen = 65536;  // what the library asks for
constexpr int kTimeoutMs = 1000;
constexpr int kAlternations = 5;  // library and bare throughput runs, alternately
constexpr int kLatencyRuns = 8;   // library and bare latency runs, alternately; samples pooled

struct Settings {
    int latencyFrames = 2000;
    int defaultFrames = 100;
    int txFrames = 50000;
    int burst = 4000;
    int rounds = 5;
    int window = 16;
    std::string only;  // run one section: bringup, latency, default, throughput or transmit
};
Settings settings;

std::string lacp_name(int port) { return "lacp-swp" + std::to_string(port); }

// ---- the library as the host runs it --------------------------------------------------------------

EswFrameworkHandle cpuChannel{};
EswFrameworkHandle txPort{};
EswFrameworkHandle* volatile benchmark_sink = nullptr;

int32_t host_rx_callback(uint32_t /*ifIndex*/, uint16_t length, uint8_t* frame) {
    rig::board->post(frame, length);
    return 0;
}

// Loads the switch as the port manager does: bring-up, the CPU channel with the receive callback,
// and every user port's link up in the chip so that transmission is allowed. Returns the time
// mrvl_esw_devmain took.
uint64_t bring_up_library(bool immediate) {
    if (immediate)
        setenv("ESW_LACP_IMMEDIATE", "1", 1);
    else
        unsetenv("ESW_LACP_IMMEDIATE");
    sim::reset();
    sim::set_journal_rx_path(false);
    for (int p = 1; p <= rig::kPorts; ++p) sim::plug(static_cast<uint8_t>(p));
    const uint64_t t0 = rig::now_ns();
    mrvl_esw_devmain();
    const uint64_t took = rig::now_ns() - t0;
    // The access-list handles are the bring-up's last step: set only when every step succeeded.
    if (uc_mac_acl_handle_p[0] == 0 || mc_mac_acl_handle_p[0] == 0) {
        std::string log;
        for (const sim::LogRecord& rec : sim::logs()) log += " " + rec.location + " " + rec.message + ";";
        throw Failure("bring-up did not complete:" + log);
    }
    for (int p = 1; p <= rig::kPorts; ++p)
        if (get_pcap_from_ifindex(sim::if_index(1, static_cast<uint32_t>(p))) == nullptr)
            throw Failure("no capture handle for " + lacp_name(p) + " after bring-up");
    if (mrvl_esw_open(&cpuChannel, "mrvl_switch/cpu/10") != 0 ||
        mrvl_esw_open(&txPort, "mrvl_switch/0/3") != 0)
        throw Failure("cannot open the CPU channel or port 3");
    if (mrvl_esw_ioctl(&cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK,
                       reinterpret_cast<void*>(&host_rx_callback)) != 0)
        throw Failure("cannot register the receive callback");
    sim::set_cpu_channel(&cpuChannel);
    sim::clear_journal();
    return took;
}

// ---- bare libpcap --------------------------------------------------------------------------------

pcap_t* open_bare(int port, bool immediate) {
    char err[PCAP_ERRBUF_SIZE] = {};
    const std::string name = lacp_name(port);
    pcap_t* p = nullptr;
    if (!immediate) {
        p = pcap_open_live(name.c_str(), kSnapLen, 1, kTimeoutMs, err);
    } else if ((p = pcap_create(name.c_str(), err)) != nullptr) {
        pcap_set_snaplen(p, kSnapLen);
        pcap_set_promisc(p, 1);
        pcap_set_timeout(p, kTimeoutMs);
        pcap_set_immediate_mode(p, 1);
        if (pcap_activate(p) < 0) {
            std::snprintf(err, sizeof err, "%s", pcap_geterr(p));
            pcap_close(p);
            p = nullptr;
        }
    }
    if (p == nullptr) throw Failure("bare open of " + name + ": " + err);
    return p;
}

void bare_handler(u_char*, const pcap_pkthdr* header, const u_char* bytes) {
    rig::board->post(bytes, header->caplen);
}

// The simplest reader that serves several interfaces from one thread: wait for any, then take
// everything that is waiting on each readable one.
void bare_reader(std::vector<pcap_t*> handles) {
    int maxFd = -1;
    std::vector<int> fds;
    for (pcap_t* p : handles) {
        fds.push_back(pcap_get_selectable_fd(p));
        maxFd = std::max(maxFd, fds.back());
    }
    for (;;) {
        fd_set set;
        FD_ZERO(&set);
        for (int fd : fds) FD_SET(fd, &set);
        if (select(maxFd + 1, &set, nullptr, nullptr, nullptr) <= 0) continue;
        for (std::size_t i = 0; i < handles.size(); ++i)
            if (FD_ISSET(fds[i], &set)) pcap_dispatch(handles[i], -1, bare_handler, nullptr);
    }
}

// ---- measurements ----------------------------------------------------------------------------------

void record_memory(Values& v, const char* when) {
    const rig::Memory m = rig::memory_now();
    const rig::Rings r = rig::rings_now();
    const std::string w = when;
    v["vmsize_kb_" + w] = m.vmSizeKb;
    v["rss_kb_" + w] = m.rssKb;
    v["rings_" + w] = r.count;
    v["ring_kb_" + w] = r.sizeKb;
    v["ring_rss_kb_" + w] = r.rssKb;
}

void bringup_library(Values& v) {
    record_memory(v, "before");
    v["wall_ns"] = static_cast<double>(bring_up_library(false));
    record_memory(v, "after");
}

void bringup_bare(Values& v) {
    record_memory(v, "before");
    const uint64_t t0 = rig::now_ns();
    for (int p = 1; p <= rig::kPorts; ++p)
        if (pcap_get_selectable_fd(open_bare(p, false)) < 0) throw Failure("no selectable descriptor");
    v["wall_ns"] = static_cast<double>(rig::now_ns() - t0);
    record_memory(v, "after");
}

// One frame at a time on lacp-peer3: the time from just before the send to the frame's arrival on
// the receive side. The first kWarmUp frames (first touches of the ring, the thread's first
// wake-ups) are not counted.
constexpr int kWarmUp = 20;

void measure_latency(Values& v, int frames, uint64_t timeoutNs) {
    std::vector<double> us;
    us.reserve(static_cast<std::size_t>(frames));
    uint8_t frame[rig::kFrameLen];
    for (int seq = 0; seq < kWarmUp + frames; ++seq) {
        rig::build_frame(frame, kLatencyPort, static_cast<uint32_t>(seq));
        const uint64_t target = rig::board->total() + 1;
        const uint64_t sent = rig::now_ns();
        rig::send_from_peer(kLatencyPort, frame, sizeof frame);
        const uint64_t deadline = sent + timeoutNs;
        while (rig::board->total() < target && rig::now_ns() < deadline)
            rig::board->wait_for(target, deadline - rig::now_ns());
        const uint64_t arrived = rig::board->stamp(static_cast<uint32_t>(seq));
        if (arrived == 0) throw Failure("frame " + std::to_string(seq) + " did not arrive");
        if (seq >= kWarmUp) us.push_back(static_cast<double>(arrived - sent) / 1000);
    }
    for (std::size_t i = 0; i < us.size(); ++i) v[rig::kSample + std::to_string(i)] = us[i];
}

// What the simulated host's three calls on the receive path cost per frame (the CPU channel's
// handle, interface index to slot and to port), made bare on this thread.
double receive_host_calls_ns() {
    constexpr int kCalls = 10000;
    const uint32_t ifIndex = sim::if_index(1, kLatencyPort);
    const uint64_t t0 = rig::thread_cpu_ns();
    for (int i = 0; i < kCalls; ++i) {
        uint32_t slot = 0, port = 0;
        benchmark_sink = get_channel_cpu_port();
        if_index_phy_eth_get_slot(ifIndex, &slot);
        if_index_phy_eth_get_port(ifIndex, &port);
    }
    return static_cast<double>(rig::thread_cpu_ns() - t0) / kCalls;
}

void latency_library(Values& v, bool immediate, int frames) {
    rig::Board board(static_cast<std::size_t>(kWarmUp + frames));
    rig::board = &board;
    bring_up_library(immediate);
    measure_latency(v, frames, 5000 * kMs);
    v["host_calls_ns"] = receive_host_calls_ns();
}

// The bare reader on lacp-swp3 alone, or (`allEight`) watching all eight interfaces as the
// library's receive thread does, which shows what a select over eight descriptors costs.
void latency_bare(Values& v, int frames, bool allEight) {
    rig::Board board(static_cast<std::size_t>(kWarmUp + frames));
    rig::board = &board;
    std::vector<pcap_t*> handles;
    for (int p = 1; p <= rig::kPorts; ++p)
        if (allEight || p == kLatencyPort) handles.push_back(open_bare(p, true));
    std::thread(bare_reader, handles).detach();
    measure_latency(v, frames, 5000 * kMs);
}

// All eight ports at once: rounds of `burst` frames per port, sent round-robin over the eight peer
// ends by one thread that keeps at most `window` frames per port unreceived, so that no capture
// ring overflows. When every window is full the sender sleeps until half of what is in flight has
// arrived. A round's rate is its frames over the time from its first send to its last arrival;
// every frame must arrive.
void measure_throughput(Values& v) {
    const int perRound = settings.burst * rig::kPorts;
    uint8_t frames[rig::kPorts + 1][rig::kFrameLen];
    // Only the count matters here: every frame carries sequence number UINT32_MAX.
    for (int p = 1; p <= rig::kPorts; ++p) rig::build_frame(frames[p], static_cast<uint8_t>(p), UINT32_MAX);
    std::vector<double> rates, receiveCpuNs;
    for (int round = 0; round < settings.rounds; ++round) {
        const uint64_t cpu0 = rig::process_cpu_ns();
        const uint64_t senderCpu0 = rig::thread_cpu_ns();
        uint64_t base[rig::kPorts + 1];
        int sent[rig::kPorts + 1] = {};
        for (int p = 1; p <= rig::kPorts; ++p) base[p] = rig::board->delivered(p);
        const uint64_t before = rig::board->total();
        const uint64_t deadline = rig::now_ns() + 20000 * kMs;
        const uint64_t t0 = rig::now_ns();
        for (int sentAll = 0; sentAll < perRound && rig::now_ns() < deadline;) {
            for (int p = 1; p <= rig::kPorts; ++p) {
                const auto inFlight = [&] {
                    return sent[p] - static_cast<int>(rig::board->delivered(p) - base[p]);
                };
                while (sent[p] < settings.burst && inFlight() < settings.window) {
                    rig::send_from_peer(p, frames[p], rig::kFrameLen);
                    ++sent[p];
                    ++sentAll;
                }
            }
            const uint64_t arrived = rig::board->total() - before;
            const uint64_t inFlight = static_cast<uint64_t>(sentAll) - arrived;
            if (sentAll < perRound && inFlight >= static_cast<uint64_t>(settings.window))
                rig::board->wait_for(before + arrived + std::max<uint64_t>(1, inFlight / 2), 100 * kMs);
        }
        const uint64_t want = before + static_cast<uint64_t>(perRound);
        while (rig::board->total() < want && rig::now_ns() < deadline) rig::board->wait_for(want, 100 * kMs);
        const uint64_t seen = rig::board->total();
        if (seen != want)
            throw Failure("round " + std::to_string(round) + ": " + std::to_string(seen - before) + " of " +
                          std::to_string(perRound) + " frames arrived");
        rates.push_back(perRound / (static_cast<double>(rig::board->last_arrival() - t0) / 1e9));
        // Everything but the sending thread: the receive thread (and the library's idle rest).
        const uint64_t receiver = (rig::process_cpu_ns() - cpu0) - (rig::thread_cpu_ns() - senderCpu0);
        receiveCpuNs.push_back(static_cast<double>(receiver) / perRound);
    }
    for (int p = 1; p <= rig::kPorts; ++p)
        if (rig::board->delivered(p) != static_cast<uint64_t>(settings.burst) * settings.rounds)
            throw Failure(lacp_name(p) + " lost frames");
    v["frames_per_round"] = perRound;
    v["rounds"] = settings.rounds;
    v["window"] = settings.window;
    v["fps"] = bench::percentile(rates, 50);
    v["receive_cpu_ns"] = bench::percentile(receiveCpuNs, 50);
}

// How fast the one sending thread puts frames on the eight peer ends when nobody captures them:
// the ceiling of both throughput figures.
void sender_alone(Values& v) {
    uint8_t frame[rig::kFrameLen];
    const int total = settings.burst * rig::kPorts;
    const uint64_t t0 = rig::now_ns();
    for (int i = 0; i < settings.burst; ++i)
        for (int p = 1; p <= rig::kPorts; ++p) {
            rig::build_frame(frame, static_cast<uint8_t>(p), UINT32_MAX);
            rig::send_from_peer(p, frame, sizeof frame);
        }
    v["send_only_fps"] = total / (static_cast<double>(rig::now_ns() - t0) / 1e9);
}

void throughput_library(Values& v) {
    rig::Board board(0);
    rig::board = &board;
    bring_up_library(true);
    measure_throughput(v);
}

void throughput_bare(Values& v) {
    rig::Board board(0);
    rig::board = &board;
    sender_alone(v);
    std::vector<pcap_t*> handles;
    for (int p = 1; p <= rig::kPorts; ++p) handles.push_back(open_bare(p, true));
    std::thread(bare_reader, handles).detach();
    measure_throughput(v);
}

// Transmission out of lacp-swp3 in one process, in interleaved runs of 1000 frames so that both
// see the same machine: IOCTL_SW_CPU_TX; pcap_inject on the very capture handle the library sends
// through (get_pcap_from_ifindex); and, to show what the simulated host costs, that pcap_inject
// preceded by the three host calls the transmit path makes (interface index to slot and to port,
// link state).
// The simulated host's journal is emptied between runs, outside the timing.
void transmit(Values& v) {
    rig::Board board(0);
    rig::board = &board;
    bring_up_library(false);
    // The request: a 6-byte header (interface index, length) followed by the frame.
    alignas(8) static uint8_t request[sizeof(EswCpuTxRequest) + rig::kFrameLen];
    auto* header = reinterpret_cast<EswCpuTxRequest*>(request);
    header->ifIndex = sim::if_index(1, kLatencyPort);
    header->length = rig::kFrameLen;
    rig::build_frame(header->frame, kLatencyPort, 0);
    pcap_t* handle = get_pcap_from_ifindex(header->ifIndex);
    mrvl_cpu_clear_stats();

    std::vector<double> viaIoctl, bare, bareWithHost;  // ns per frame, one entry per run
    auto timed = [](int n, auto send) {
        const uint64_t t0 = rig::now_ns();
        for (int i = 0; i < n; ++i) send();
        const uint64_t took = rig::now_ns() - t0;
        sim::clear_journal();
        return static_cast<double>(took) / n;
    };
    for (int done = 0; done < settings.txFrames;) {
        const int run = std::min(1000, settings.txFrames - done);
        viaIoctl.push_back(timed(run, [&] {
            if (mrvl_esw_ioctl(&txPort, IOCTL_SW_CPU_TX, request) != 0)
                throw Failure("IOCTL_SW_CPU_TX refused");
        }));
        bare.push_back(timed(run, [&] {
            if (pcap_inject(handle, header->frame, rig::kFrameLen) != static_cast<int>(rig::kFrameLen))
                throw Failure("pcap_inject failed");
        }));
        bareWithHost.push_back(timed(run, [&] {
            uint32_t slot = 0, port = 0, link = 0;
            if_index_phy_eth_get_slot(header->ifIndex, &slot);
            if_index_phy_eth_get_port(header->ifIndex, &port);
            peridot_get_link_state(0, static_cast<uint8_t>(port), &link);
            if (link != 1) throw Failure("link down");
            if (pcap_inject(handle, header->frame, rig::kFrameLen) != static_cast<int>(rig::kFrameLen))
                throw Failure("pcap_inject failed");
        }));
        done += run;
    }
    const EswCpuPortStats& entry = eswCpuStats[kLatencyPort];
    if (entry.txPackets != static_cast<uint32_t>(settings.txFrames) || entry.txDrops != 0)
        throw Failure("IOCTL_SW_CPU_TX counted " + std::to_string(entry.txPackets) + " sent, " +
                      std::to_string(entry.txDrops) + " dropped");
    // The median run of each: a run in which the machine took the CPU away counts as one run.
    v["fps"] = 1e9 / bench::percentile(viaIoctl, 50);
    v["bare_fps"] = 1e9 / bench::percentile(bare, 50);
    v["bare_with_host_fps"] = 1e9 / bench::percentile(bareWithHost, 50);
}

// Runs `a` and `b` alternately, `times` each, and keeps each one's best run by `better`: load
// from elsewhere on the machine then weighs on both sides alike.
template <class Better>
std::pair<rig::Outcome, rig::Outcome> alternate(const std::string& name, unsigned timeoutSec, int times,
                                                const std::function<void(Values&)>& a,
                                                const std::function<void(Values&)>& b, Better better) {
    rig::Outcome bestA, bestB;
    auto keep = [&](rig::Outcome& best, rig::Outcome run) {
        if (!run.ok || !best.ok || better(run, best)) best = std::move(run);
    };
    for (int i = 0; i < times; ++i) {
        keep(bestA, rig::run_child(name + ", library", timeoutSec, a));
        keep(bestB, rig::run_child(name + ", bare", timeoutSec, b));
        if (!bestA.ok || !bestB.ok) break;
    }
    return {bestA, bestB};
}

// ---- the table -------------------------------------------------------------------------------------

double get(const rig::Outcome& o, const char* key) {
    auto it = o.values.find(key);
    return it == o.values.end() ? 0 : it->second;
}

// Latency samples pooled over `times` runs of each side, the sides taking turns, so that load from
// elsewhere on the machine falls on all of them alike. Each outcome gives frames, p50, p99 and max
// in µs and the median of the runs' other values.
struct Side {
    std::string name;
    std::function<void(Values&)> body;
};

std::vector<rig::Outcome> pooled_latency(int times, const std::vector<Side>& sides) {
    std::vector<rig::Outcome> pooled(sides.size());
    std::vector<std::vector<double>> samples(sides.size());
    std::vector<std::map<std::string, std::vector<double>>> others(sides.size());
    for (int i = 0; i < times; ++i) {
        for (std::size_t k = 0; k < sides.size(); ++k) {
            rig::Outcome run = rig::run_child(sides[k].name, 120, sides[k].body);
            if (!run.ok) {
                pooled[k] = run;
                return pooled;
            }
            for (const auto& [key, value] : run.values)
                if (key.rfind(rig::kSample, 0) == 0)
                    samples[k].push_back(value);
                else
                    others[k][key].push_back(value);
        }
    }
    for (std::size_t k = 0; k < sides.size(); ++k) {
        pooled[k].ok = true;
        for (auto& [key, values] : others[k]) pooled[k].values[key] = bench::percentile(values, 50);
        pooled[k].values["frames"] = static_cast<double>(samples[k].size());
        pooled[k].values["p50_us"] = bench::percentile(samples[k], 50);
        pooled[k].values["p99_us"] = bench::percentile(samples[k], 99);
        pooled[k].values["max_us"] = bench::percentile(samples[k], 100);
    }
    return pooled;
}

// A single run's latency samples summed up the same way.
rig::Outcome latency_run(const std::string& name, unsigned timeoutSec,
                         const std::function<void(Values&)>& body) {
    rig::Outcome run = rig::run_child(name, timeoutSec, body);
    if (!run.ok) return run;
    std::vector<double> samples;
    Values summary;
    for (const auto& [key, value] : run.values)
        if (key.rfind(rig::kSample, 0) == 0)
            samples.push_back(value);
        else
            summary[key] = value;
    summary["frames"] = static_cast<double>(samples.size());
    summary["p50_us"] = bench::percentile(samples, 50);
    summary["p99_us"] = bench::percentile(samples, 99);
    summary["max_us"] = bench::percentile(samples, 100);
    run.values = summary;
    return run;
}

void report_bringup(const rig::Outcome& lib, const rig::Outcome& bare) {
    if (!lib.ok || !bare.ok) {
        bench::row("Bring-up: mrvl_esw_devmain, 8 capture interfaces", lib.ok ? "-" : "failed: " + lib.error,
                   bare.ok ? "-" : "failed: " + bare.error, "-", "-", "-");
        return;
    }
    const double libMs = get(lib, "wall_ns") / 1e6;
    const double bareMs = get(bare, "wall_ns") / 1e6;
    bench::row("Bring-up: wall time of mrvl_esw_devmain vs 8 bare pcap_open_live",
               bench::fmt("%.2f ms", libMs), bench::fmt("%.2f ms", bareMs),
               bench::fmt("%.2f×", libMs / bareMs), "-", "-");
    const double libRss = (get(lib, "rss_kb_after") - get(lib, "rss_kb_before")) / 1024;
    const double bareRss = (get(bare, "rss_kb_after") - get(bare, "rss_kb_before")) / 1024;
    const double libVm = (get(lib, "vmsize_kb_after") - get(lib, "vmsize_kb_before")) / 1024;
    const double bareVm = (get(bare, "vmsize_kb_after") - get(bare, "vmsize_kb_before")) / 1024;
    bench::row("Bring-up: RSS growth (VmSize growth)",
               bench::fmt("%.1f MiB (%.1f → %.1f) (VmSize +%.1f MiB)", libRss,
                          get(lib, "rss_kb_before") / 1024, get(lib, "rss_kb_after") / 1024, libVm),
               bench::fmt("%.1f MiB (VmSize +%.1f MiB)", bareRss, bareVm),
               bench::fmt("%.2f×", libRss / bareRss), "-", "-");
    const double rings = get(lib, "rings_after") - get(lib, "rings_before");
    const double ringKb = get(lib, "ring_kb_after") - get(lib, "ring_kb_before");
    const double ringRss = get(lib, "ring_rss_kb_after") - get(lib, "ring_rss_kb_before");
    const double bareRingKb = get(bare, "ring_kb_after") - get(bare, "ring_kb_before");
    bench::row("Bring-up: capture rings mapped by libpcap",
               bench::fmt("%.0f rings × %.0f KiB = %.1f MiB (%.1f MiB resident)", rings,
                          rings > 0 ? ringKb / rings : 0, ringKb / 1024, ringRss / 1024),
               bench::fmt("%.1f MiB", bareRingKb / 1024), bench::fmt("%.2f×", ringKb / bareRingKb), "-", "-");
}

void report_latency(const char* label, const rig::Outcome& lib, const rig::Outcome& bare, bool withGoal) {
    if (!lib.ok || !bare.ok) {
        bench::row(label, lib.ok ? "-" : "failed: " + lib.error, bare.ok ? "-" : "failed: " + bare.error, "-",
                   withGoal ? "p99 < 1 ms and ≤ 2× bare" : "-", withGoal ? "NO" : "-");
        return;
    }
    const double p99 = get(lib, "p99_us");
    const double bareP99 = get(bare, "p99_us");
    const std::string measured =
        bench::fmt("p50 %s, p99 %s, max %s (%.0f frames)", bench::us(get(lib, "p50_us")).c_str(),
                   bench::us(p99).c_str(), bench::us(get(lib, "max_us")).c_str(), get(lib, "frames"));
    const std::string baseline =
        bench::fmt("p50 %s, p99 %s, max %s", bench::us(get(bare, "p50_us")).c_str(),
                   bench::us(bareP99).c_str(), bench::us(get(bare, "max_us")).c_str());
    const double ratio = p99 / bareP99;
    bench::row(label, measured, baseline,
               bench::fmt(ratio > 100 ? "p99 %.0f×, p50 %.0f× (the sim's 3 host calls per frame: %.2f µs)"
                                      : "p99 %.2f×, p50 %.2f× (the sim's 3 host calls per frame: %.2f µs)",
                          ratio, get(lib, "p50_us") / get(bare, "p50_us"), get(lib, "host_calls_ns") / 1000),
               withGoal ? "p99 < 1 ms and ≤ 2× bare" : "-",
               withGoal ? bench::verdict(p99 < 1000 && ratio <= 2) : "-");
}

void report_throughput(const rig::Outcome& lib, const rig::Outcome& bare) {
    const char* label = "Receive throughput, 8 ports at once, no loss (ESW_LACP_IMMEDIATE=1) vs bare reader";
    if (!lib.ok || !bare.ok) {
        bench::row(label, lib.ok ? "-" : "failed: " + lib.error, bare.ok ? "-" : "failed: " + bare.error, "-",
                   "≥ 0.5× bare", "NO");
        return;
    }
    const double fps = get(lib, "fps");
    const double bareFps = get(bare, "fps");
    bench::row(
        label,
        bench::fmt("%.0f frames/s; receiving CPU %.2f µs/frame", fps, get(lib, "receive_cpu_ns") / 1000),
        bench::fmt("%.0f frames/s; %.2f µs/frame (one sender alone: %.0f frames/s)", bareFps,
                   get(bare, "receive_cpu_ns") / 1000, get(bare, "send_only_fps")),
        bench::fmt("%.2f× (CPU per frame %.2f×)", fps / bareFps,
                   get(lib, "receive_cpu_ns") / get(bare, "receive_cpu_ns")),
        "≥ 0.5× bare", bench::verdict(fps >= bareFps / 2));
}

void report_tx(const rig::Outcome& o) {
    const char* label = "Transmit: IOCTL_SW_CPU_TX vs bare pcap_inject on the same handle, lacp-swp3";
    if (!o.ok) {
        bench::row(label, "failed: " + o.error, "-", "-", "≥ 0.9× bare", "NO");
        return;
    }
    const double fps = get(o, "fps");
    const double bareFps = get(o, "bare_fps");
    const double withHost = get(o, "bare_with_host_fps");
    bench::row(label, bench::fmt("%.0f frames/s", fps), bench::fmt("%.0f frames/s", bareFps),
               bench::fmt("%.2f× (+%.0f ns/frame); against pcap_inject plus the sim's 3 host calls of the "
                          "path (%.0f frames/s): %.2f×, +%.0f ns",
                          fps / bareFps, 1e9 / fps - 1e9 / bareFps, withHost, fps / withHost,
                          1e9 / fps - 1e9 / withHost),
               "≥ 0.9× bare", bench::verdict(fps >= 0.9 * bareFps));
}

int number_after(int& i, int argc, char** argv) {
    if (i + 1 >= argc) {
        std::fprintf(stderr, "%s needs a number\n", argv[i]);
        std::exit(2);
    }
    return std::atoi(argv[++i]);
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--latency-frames")
            settings.latencyFrames = number_after(i, argc, argv);
        else if (a == "--default-frames")
            settings.defaultFrames = number_after(i, argc, argv);
        else if (a == "--tx-frames")
            settings.txFrames = number_after(i, argc, argv);
        else if (a == "--burst")
            settings.burst = number_after(i, argc, argv);
        else if (a == "--rounds")
            settings.rounds = number_after(i, argc, argv);
        else if (a == "--window")
            settings.window = number_after(i, argc, argv);
        else if (a == "--only" && i + 1 < argc)
            settings.only = argv[++i];
        else {
            std::fprintf(stderr, "unknown argument %s\n", argv[i]);
            return 2;
        }
    }

    auto wanted = [](const char* section) { return settings.only.empty() || settings.only == section; };
    if (wanted("bringup")) {
        const auto bringLib = rig::run_child("bring-up, library", 60, bringup_library);
        const auto bringBare = rig::run_child("bring-up, bare", 60, bringup_bare);
        report_bringup(bringLib, bringBare);
    }

    auto higherFps = [](const rig::Outcome& x, const rig::Outcome& y) {
        return get(x, "fps") > get(y, "fps");
    };
    const int n = std::max(1, settings.latencyFrames / kLatencyRuns);  // per run
    rig::Outcome latImmediate, latBare;
    if (wanted("latency") || wanted("default")) {
        std::vector<Side> sides = {{"latency, library", [&](Values& v) { latency_library(v, true, n); }},
                                   {"latency, bare", [&](Values& v) { latency_bare(v, n, false); }}};
        if (wanted("latency"))
            sides.push_back({"latency, bare on all eight", [&](Values& v) { latency_bare(v, n, true); }});
        const std::vector<rig::Outcome> pooled = pooled_latency(kLatencyRuns, sides);
        latImmediate = pooled[0];
        latBare = pooled[1];
        report_latency("Receive latency, ESW_LACP_IMMEDIATE=1, vs bare immediate-mode reader", latImmediate,
                       latBare, true);
        if (pooled.size() > 2)
            report_latency("Receive latency, ESW_LACP_IMMEDIATE=1, vs bare reader watching all 8 interfaces",
                           latImmediate, pooled[2], false);
    }
    if (wanted("default")) {
        const int d = settings.defaultFrames;
        const auto latDefault = latency_run("latency, default mode", 60 + 2 * static_cast<unsigned>(d),
                                            [&](Values& v) { latency_library(v, false, d); });
        report_latency("Receive latency, default mode, vs bare immediate-mode reader", latDefault, latBare,
                       false);
    }
    if (wanted("throughput")) {
        const auto [thrLib, thrBare] =
            alternate("throughput", 120, kAlternations, throughput_library, throughput_bare, higherFps);
        report_throughput(thrLib, thrBare);
    }
    if (wanted("transmit")) report_tx(rig::run_child("transmit", 120, transmit));
    return 0;
}
