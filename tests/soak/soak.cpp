// Soak run: the library as a host drives it for a long time. It brings the switch up on the lab's
// capture interfaces, then issues a million commands of every kind over all ports and exchanges a
// hundred thousand frames in each direction. What it checks:
//   - every command answers in every later cycle exactly as it did in the first settled cycle;
//   - the CPU counters account for every frame sent and received, with no drop;
//   - resident memory and open descriptors after the run equal those after the warm-up (the first
//     thousand commands and frames).
// Prints its figures and exits non-zero on any difference.
//
//   esw_soak [--commands N] [--frames N] [--short]   (--short: 20000 commands, 2000 frames, memory
//                                                     reported but not required to match)
#include <dirent.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cpu/lacp_capture.h"
#include "driver/esw_driver.h"
#include "sim/sim.h"
#include "testbed/capture_lab.h"
#include "tests/reliability/catalog.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kUserPorts = 8;
constexpr uint32_t kHandlePorts = 10;  // handles on ports 1..10
constexpr size_t kRxLength = 128;
constexpr uint16_t kTxLength = 64;
constexpr uint32_t kInFlight = 8;     // frames on their way to the receive thread at most
constexpr uint32_t kTxInFlight = 64;  // frames on their way to the far side at most

int failures = 0;

void fail(const std::string& what) {
    std::fprintf(stderr, "soak: %s\n", what.c_str());
    ++failures;
}

long resident_pages() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident;
}

int open_descriptors() {
    int count = 0;
    DIR* dir = ::opendir("/proc/self/fd");
    if (dir == nullptr) return -1;
    while (dirent* entry = ::readdir(dir))
        if (entry->d_name[0] != '.') ++count;
    ::closedir(dir);
    return count - 1;  // the directory stream's own descriptor
}

std::atomic<uint32_t> delivered{0};
std::atomic<uint32_t> misdelivered{0};

int32_t on_frame(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    const uint32_t port = ifIndex - sim::if_index(1, 0);
    if (port < 1 || port > kUserPorts || length != kRxLength || frame[11] != port) misdelivered.fetch_add(1);
    delivered.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

std::vector<uint8_t> frame_for(int port, size_t length) {
    std::vector<uint8_t> frame(length);
    const uint8_t header[14] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x02,
                                0x02, 0x00, 0x00, 0x00, 0x00, static_cast<uint8_t>(port),
                                0x88, 0x09};
    std::memcpy(frame.data(), header, sizeof header);
    for (size_t i = sizeof header; i < length; ++i) frame[i] = static_cast<uint8_t>(i * 7 + port);
    return frame;
}

uint32_t counter_sum(uint32_t EswCpuPortStats::*field) {
    uint32_t total = 0;
    for (EswCpuPortStats& entry : eswCpuStats)
        total += std::atomic_ref<uint32_t>(entry.*field).load(std::memory_order_relaxed);
    return total;
}

struct Host {
    EswFrameworkHandle cpu{nullptr, nullptr};
    std::array<EswFrameworkHandle, kHandlePorts> ports{};
    std::vector<uint8_t> txBlock = std::vector<uint8_t>(sizeof(EswCpuTxRequest) + kTxLength);
    std::map<uint32_t, std::vector<uint8_t>> requests;  // per command, reused (a host's records)
    std::vector<std::unique_ptr<uint8_t[]>> blocks;

    // One command as a host sends it: the typical request in a block of exactly its size.
    int32_t command(uint32_t cmd, uint32_t handleIndex, uint32_t txPort) {
        EswFrameworkHandle* handle = &ports[handleIndex];
        const esw_catalog::Shape shape = esw_catalog::shape_of(cmd);
        switch (shape.arg) {
            case esw_catalog::Arg::callback:
                // The receive callback always lives on the CPU channel's handle.
                return mrvl_esw_ioctl(&cpu, cmd, reinterpret_cast<void*>(&on_frame));
            case esw_catalog::Arg::value:
            case esw_catalog::Arg::unused:
                return mrvl_esw_ioctl(handle, cmd, reinterpret_cast<void*>(esw_catalog::typical_value(cmd)));
            case esw_catalog::Arg::cpu_tx:
                return transmit(txPort);
            case esw_catalog::Arg::buffer:
                break;
        }
        auto [it, fresh] = requests.try_emplace(cmd, esw_catalog::typical_request(cmd));
        std::vector<uint8_t>& request = it->second;
        // Results written into the block by the last run are overwritten with the request again.
        uint8_t* block = block_for(cmd, request.size());
        std::memcpy(block, request.data(), request.size());
        return mrvl_esw_ioctl(handle, cmd, block);
    }

    int32_t transmit(uint32_t port) {
        auto* tx = reinterpret_cast<EswCpuTxRequest*>(txBlock.data());
        tx->ifIndex = sim::if_index(1, port);
        tx->length = kTxLength;
        const std::vector<uint8_t> frame = frame_for(static_cast<int>(port), kTxLength);
        std::memcpy(tx->frame, frame.data(), kTxLength);
        return mrvl_esw_ioctl(&ports[0], IOCTL_SW_CPU_TX, txBlock.data());
    }

private:
    std::map<uint32_t, uint8_t*> blockOf;
    uint8_t* block_for(uint32_t cmd, size_t size) {
        auto it = blockOf.find(cmd);
        if (it != blockOf.end()) return it->second;
        blocks.emplace_back(new uint8_t[size]);
        return blockOf[cmd] = blocks.back().get();
    }
};

struct Options {
    uint64_t commands = 1'000'000;
    uint32_t frames = 100'000;
    bool strictMemory = true;
};

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--short") {
            o.commands = 20'000;
            o.frames = 2'000;
            o.strictMemory = false;
        } else if (arg == "--commands" && i + 1 < argc) {
            o.commands = std::strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--frames" && i + 1 < argc) {
            o.frames = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        } else {
            std::fprintf(stderr, "usage: %s [--commands N] [--frames N] [--short]\n", argv[0]);
            std::exit(2);
        }
    }
    return o;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    std::string why;
    if (!esw_testbed::enter_private_netns(&why)) {
        std::fprintf(stderr, "soak: no private network namespace: %s\n", why.c_str());
        return 77;
    }
    std::unique_ptr<esw_testbed::CaptureLab> lab = esw_testbed::CaptureLab::create(&why);
    if (!lab) {
        std::fprintf(stderr, "soak: no capture lab: %s\n", why.c_str());
        return 77;
    }
    ::setenv(esw::kLacpImmediateEnv, "1", 1);

    // ---- bring-up, as the host does it ----
    sim::reset();
    sim::set_journal_rx_path(false);
    if (mrvl_esw_devmain() != 0 || sim::announcements().size() != 1) fail("module entry");
    if (uc_mac_acl_handle_p[0] == 0)
        fail("the bring-up did not complete: " + std::to_string(sim::logs().size()) + " log records");
    Host host;
    if (mrvl_esw_open(&host.cpu, "mrvl_switch/cpu/10") != 0) fail("open cpu channel");
    for (uint32_t i = 0; i < kHandlePorts; ++i)
        if (mrvl_esw_open(&host.ports[i], ("mrvl_switch/0/" + std::to_string(i + 1)).c_str()) != 0)
            fail("open");
    sim::set_cpu_channel(&host.cpu);
    for (uint8_t p = 1; p <= kUserPorts; ++p) sim::plug(p);
    esw_catalog::add_typical_vlans();

    // ---- the far side: a sender paced by what the driver has taken, and a drain ----
    std::atomic<uint32_t> rxToSend{0};
    std::atomic<uint32_t> rxSent{0};
    std::atomic<uint32_t> rxBase{0};  // deliveries before the current exchange
    std::atomic<uint32_t> peerReceived{0};
    std::atomic<bool> running{true};
    std::atomic<bool> stalled{false};
    std::thread sender([&] {
        std::vector<std::vector<uint8_t>> frames;
        for (int p = 1; p <= kUserPorts; ++p) frames.push_back(frame_for(p, kRxLength));
        while (running.load()) {
            const uint32_t sent = rxSent.load();
            if (sent >= rxToSend.load()) {
                std::this_thread::sleep_for(1ms);
                continue;
            }
            const Clock::time_point deadline = Clock::now() + 10s;
            while (delivered.load() - rxBase.load() + counter_sum(&EswCpuPortStats::rxDrops) + kInFlight <=
                   sent) {
                if (Clock::now() > deadline) {
                    stalled.store(true);
                    return;
                }
                std::this_thread::yield();
            }
            const int p = static_cast<int>(sent % kUserPorts) + 1;
            if (lab->send_from_peer(p, frames[static_cast<size_t>(p - 1)].data(), kRxLength))
                rxSent.fetch_add(1);
        }
    });
    std::thread drainer([&] {
        while (running.load())
            for (int p = 1; p <= kUserPorts; ++p)
                while (lab->receive_on_peer(p, 0ms)) peerReceived.fetch_add(1);
    });

    std::vector<int32_t> settled(ESW_COMMAND_COUNT * kHandlePorts, 0);
    const uint64_t cycle = ESW_COMMAND_COUNT * kHandlePorts;
    uint64_t mismatches = 0;
    auto run_commands = [&](uint64_t from, uint64_t to) {
        for (uint64_t i = from; i < to; ++i) {
            const uint32_t cmd = ESW_FIRST_COMMAND + static_cast<uint32_t>(i % ESW_COMMAND_COUNT);
            const auto handleIndex = static_cast<uint32_t>(i / ESW_COMMAND_COUNT % kHandlePorts);
            const auto txPort = static_cast<uint32_t>(i / ESW_COMMAND_COUNT % kUserPorts) + 1;
            const int32_t result = host.command(cmd, handleIndex, txPort);
            // The first cycle settles the model (VLANs created, entries installed); from the second
            // on, every command must answer as it did then.
            const uint64_t slot = i % cycle;
            if (i / cycle == 1)
                settled[slot] = result;
            else if (i / cycle > 1 && result != settled[slot] && cmd != IOCTL_SW_CPU_TX)
                ++mismatches;
            // The simulated host keeps every call and record; a host's log does not grow in the
            // library's memory, so neither may the simulated one between commands.
            sim::clear_journal();
            sim::clear_logs();
        }
    };
    auto exchange_frames = [&](uint32_t count) {
        // Frames that commands transmitted are still on their way to the far side: let them arrive.
        std::this_thread::sleep_for(200ms);
        mrvl_cpu_clear_stats();
        const uint32_t delivered0 = delivered.load();
        const uint32_t peer0 = peerReceived.load();
        rxBase.store(delivered0);
        rxSent.store(0);
        rxToSend.store(count);
        uint32_t txFailed = 0;
        for (uint32_t i = 0; i < count; ++i) {
            // Keep the far side's sockets from overflowing: a few frames on the cables at most.
            const Clock::time_point deadline = Clock::now() + 10s;
            while (i - (peerReceived.load() - peer0) > kTxInFlight && Clock::now() < deadline)
                std::this_thread::yield();
            if (host.transmit(i % kUserPorts + 1) != 0) ++txFailed;
            sim::clear_journal();
        }
        const Clock::time_point deadline = Clock::now() + 60s;
        while ((rxSent.load() < count || delivered.load() - delivered0 < count ||
                peerReceived.load() - peer0 < count) &&
               Clock::now() < deadline && !stalled.load())
            std::this_thread::sleep_for(1ms);
        sim::clear_journal();
        sim::clear_logs();
        const uint32_t got = delivered.load() - delivered0;
        if (txFailed) fail(std::to_string(txFailed) + " transmissions failed");
        if (peerReceived.load() - peer0 < count) fail("the far side missed transmitted frames");
        if (got != count) fail("delivered " + std::to_string(got) + " of " + std::to_string(count));
        if (counter_sum(&EswCpuPortStats::rxPackets) != count) fail("rxPackets does not count every frame");
        if (counter_sum(&EswCpuPortStats::rxBytes) != count * kRxLength) fail("rxBytes");
        if (counter_sum(&EswCpuPortStats::rxDrops) != 0) fail("receive drops");
        if (counter_sum(&EswCpuPortStats::txPackets) != count) fail("txPackets does not count every frame");
        if (counter_sum(&EswCpuPortStats::txBytes) != count * kTxLength) fail("txBytes");
        if (counter_sum(&EswCpuPortStats::txDrops) != 0) fail("transmit drops");
        return peerReceived.load() - peer0;
    };

    // ---- warm-up, then the run ----
    const uint64_t warmCommands = std::min<uint64_t>(1000, options.commands);
    const uint32_t warmFrames = std::min<uint32_t>(1000, options.frames);
    run_commands(0, warmCommands);
    exchange_frames(warmFrames);
    // The measurements allocate (a stream, a directory buffer): let them do so once before the
    // figures that count.
    (void)open_descriptors();
    (void)resident_pages();
    const int fdsWarm = open_descriptors();
    const long rssWarm = resident_pages();

    const Clock::time_point t0 = Clock::now();
    run_commands(warmCommands, options.commands);
    const Clock::time_point t1 = Clock::now();
    const uint32_t peerGot = exchange_frames(options.frames - warmFrames);
    const Clock::time_point t2 = Clock::now();
    const int fdsEnd = open_descriptors();
    const long rssEnd = resident_pages();

    running.store(false);
    sender.join();
    drainer.join();

    const double commandSeconds = std::chrono::duration<double>(t1 - t0).count();
    const double frameSeconds = std::chrono::duration<double>(t2 - t1).count();
    const long pageKb = ::sysconf(_SC_PAGESIZE) / 1024;
    std::printf(
        "commands: %llu in %.1f s (%.0f per second), %llu answered differently from the settled cycle\n",
        static_cast<unsigned long long>(options.commands - warmCommands), commandSeconds,
        static_cast<double>(options.commands - warmCommands) / commandSeconds,
        static_cast<unsigned long long>(mismatches));
    std::printf("frames: %u received and %u sent in %.1f s; far side got %u\n", options.frames - warmFrames,
                options.frames - warmFrames, frameSeconds, peerGot);
    std::printf("resident memory: %ld kB after warm-up, %ld kB after the run\n", rssWarm * pageKb,
                rssEnd * pageKb);
    std::printf("open descriptors: %d after warm-up, %d after the run\n", fdsWarm, fdsEnd);

    if (mismatches) fail("commands answered differently over time");
    if (misdelivered.load()) fail("frames delivered with the wrong port or length");
    if (stalled.load()) fail("the receive thread stopped taking frames");
    if (fdsEnd != fdsWarm) fail("open descriptors changed");
    if (options.strictMemory && rssEnd != rssWarm) fail("resident memory changed");
    std::printf("soak: %s\n", failures ? "FAILED" : "passed");
    std::fflush(stdout);
    // The receive thread never ends; leave without running static destructors under its feet.
    ::_exit(failures ? 1 : 0);
}
