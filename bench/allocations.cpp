// Who allocates heap memory on each path through the library: every command number 8192..8255
// through mrvl_esw_ioctl, open and close, one transmitted frame, one received frame, and the
// bring-up. Allocations are told apart by the code that asked for them (alloc_probe.h): the
// library's, or the simulated host's (its journal and log records are strings and vectors, a cost
// a real chip-access layer does not have, shown separately as the baseline of the same run).
//
// The library is meant to allocate only the record of an open handle and, per static-MAC command,
// the destination record with its lists.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench/alloc_probe.h"
#include "bench/capture_rig.h"
#include "bench/report.h"
#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace {

using rig::Failure;
using rig::Values;

constexpr uint32_t kPort = 3;
constexpr int kCalls = 3;  // each command runs this often; the last call is the steady state
constexpr int kFrames = 200;

const std::set<uint32_t> kStaticMacCommands = {
    NIC_REG_MC_HW,         NIC_UNREG_MC_HW,      IOCTL_SW_DEL_DATAPLANE_MAC, IOCTL_SW_ADD_DATAPLANE_MAC,
    IOCTL_SW_ADD_PORT_MAC, IOCTL_SW_DEL_PORT_MAC};

EswFrameworkHandle cpuChannel{};
EswFrameworkHandle port{};

int32_t host_rx_callback(uint32_t, uint16_t length, uint8_t* frame) {
    rig::board->post(frame, length);
    return 0;
}

// A request each command accepts on a switch after bring-up, in a buffer large enough for any
// record; value-carrying commands get their value instead of a pointer.
struct Scratch {
    alignas(8) uint8_t bytes[1024];
    void* slot;  // IOCTL_SW_CLR_CPU_STATS writes the counters' address here
};

void* argument_for(uint32_t cmd, Scratch& s) {
    std::memset(s.bytes, 0, sizeof s.bytes);
    auto put32 = [&](std::size_t at, uint32_t v) { std::memcpy(s.bytes + at, &v, 4); };
    put32(0, 100);  // a VLAN id, a protect value, ...: a plain first word for the simple records
    switch (cmd) {
        case NIC_LNK_TYPE:
            return reinterpret_cast<void*>(uintptr_t{ESW_SPEED_1000_FULL});
        case NIC_SET_MAX_FRM_LEN:
            return reinterpret_cast<void*>(uintptr_t{1522});
        case IOCTL_SW_REG_CPU_RX_CALLBACK:
            return reinterpret_cast<void*>(&host_rx_callback);
        case IOCTL_SW_CLR_CPU_STATS:
            return &s.slot;
        case IOCTL_SW_CPU_TX: {
            auto* tx = reinterpret_cast<EswCpuTxRequest*>(s.bytes);
            tx->ifIndex = sim::if_index(1, kPort);
            tx->length = rig::kFrameLen;
            rig::build_frame(tx->frame, kPort, 0);
            return s.bytes;
        }
        case IOCTL_SW_TRUNK_MEMBERS_SET:
        case IOCTL_SW_TRUNK_MEMBER_CFG: {
            EswTrunkRequest t{1, 0, 1, kPort};
            std::memcpy(s.bytes, &t, sizeof t);
            return s.bytes;
        }
        case NIC_MODE:
        case NIC_MC_MODE:
            put32(0, ESW_FILTER_PROMISCUOUS);
            return s.bytes;
        case IOCTL_SET_VLAN_MODE:
            s.bytes[4] = 1;
            return s.bytes;
        case IOCTL_SW_PORT_MONITOR:
            put32(0, 1);
            return s.bytes;
        case IOCTL_SW_CONFIG_STORM_CTRL:
        case IOCTL_GET_STORM_CTRL_STATUS:
            s.bytes[0] = ESW_STORM_BROADCAST;
            s.bytes[1] = 50;
            return s.bytes;
        case IOCTL_SET_EEE_MODE:
            put32(0, 1);
            return s.bytes;
        case IOCTL_SET_MAX_NUM_MAC:
            put32(0, 64);
            return s.bytes;
        case IOCTL_SET_AGE_TIME:
            put32(0, 300);
            return s.bytes;
        default:
            break;
    }
    if (kStaticMacCommands.contains(cmd)) {
        EswStaticMacRequest r{};
        const bool group = cmd == NIC_REG_MC_HW || cmd == NIC_UNREG_MC_HW;
        const uint8_t mac[6] = {static_cast<uint8_t>(group ? 0x01 : 0x02), 0x00, 0x5e, 0x00, 0x00, 0x10};
        std::memcpy(r.mac, mac, 6);
        r.vlanId = 1;
        r.groupWord = 7;
        std::memcpy(s.bytes, &r, sizeof r);
    }
    return s.bytes;
}

void count_paths(Values& v) {
    if (!probe::locate_library("libswitch_soho_driver")) throw Failure("the driver library is not loaded");
    rig::Board board(0);
    rig::board = &board;
    sim::reset();
    sim::set_journal_rx_path(false);
    for (int p = 1; p <= rig::kPorts; ++p) sim::plug(static_cast<uint8_t>(p));

    probe::start();
    mrvl_esw_devmain();
    probe::Counts c = probe::stop();
    v["bringup_library"] = static_cast<double>(c.library);
    v["bringup_host"] = static_cast<double>(c.host);
    for (const sim::LogRecord& rec : sim::logs())
        throw Failure("bring-up logged: " + rec.location + " " + rec.message);

    probe::start();
    const int32_t opened = mrvl_esw_open(&port, "mrvl_switch/0/3");
    c = probe::stop();
    v["open_library"] = static_cast<double>(c.library);
    if (opened != 0 || mrvl_esw_open(&cpuChannel, "mrvl_switch/cpu/10") != 0) throw Failure("open failed");
    mrvl_esw_ioctl(&cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK, reinterpret_cast<void*>(&host_rx_callback));
    sim::set_cpu_channel(&cpuChannel);

    Scratch scratch{};
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd) {
        probe::Counts first{}, last{};
        int32_t result = 0;
        for (int call = 0; call < kCalls; ++call) {
            void* arg = argument_for(cmd, scratch);
            sim::clear_journal();
            sim::clear_logs();
            probe::start();
            result = mrvl_esw_ioctl(&port, cmd, arg);
            last = probe::stop();
            if (call == 0) first = last;
        }
        const std::string k = std::to_string(cmd);
        v["cmd_" + k + "_library"] = static_cast<double>(last.library);
        v["cmd_" + k + "_library_first"] = static_cast<double>(first.library);
        v["cmd_" + k + "_host"] = static_cast<double>(last.host);
        v["cmd_" + k + "_result"] = result;
    }

    // One frame out: the transmit path of IOCTL_SW_CPU_TX, counted over many frames.
    void* tx = argument_for(IOCTL_SW_CPU_TX, scratch);
    probe::start();
    for (int i = 0; i < kFrames; ++i)
        if (mrvl_esw_ioctl(&port, IOCTL_SW_CPU_TX, tx) != 0) throw Failure("IOCTL_SW_CPU_TX refused");
    c = probe::stop();
    v["tx_library"] = static_cast<double>(c.library) / kFrames;
    v["tx_host"] = static_cast<double>(c.host) / kFrames;

    // Frames in: the receive thread, capture record, dispatch and callback. Sent in one burst
    // (the default-mode capture hands them over in blocks, at the latest after its read timeout).
    sim::clear_journal();
    uint8_t frame[rig::kFrameLen];
    probe::start();
    for (int i = 0; i < kFrames; ++i) {
        rig::build_frame(frame, kPort, static_cast<uint32_t>(i));
        rig::send_from_peer(kPort, frame, sizeof frame);
    }
    const uint64_t deadline = rig::now_ns() + 5000000000ull;
    for (uint64_t seen = board.total(); seen < kFrames && rig::now_ns() < deadline;)
        seen = board.wait_beyond(seen, 100000000ull);
    c = probe::stop();
    if (board.total() != kFrames)
        throw Failure(std::to_string(board.total()) + " of the received frames arrived");
    v["rx_library"] = static_cast<double>(c.library) / kFrames;
    v["rx_host"] = static_cast<double>(c.host) / kFrames;

    probe::start();
    mrvl_esw_close(&port);
    c = probe::stop();
    v["close_library"] = static_cast<double>(c.library);
}

double get(const rig::Outcome& o, const std::string& key) {
    auto it = o.values.find(key);
    return it == o.values.end() ? -1 : it->second;
}

std::string list(const std::vector<uint32_t>& cmds) {
    std::string text;
    for (uint32_t c : cmds) text += (text.empty() ? "" : ", ") + std::to_string(c);
    return text.empty() ? "none" : text;
}

}  // namespace

int main() {
    const rig::Outcome o = rig::run_child("allocations", 120, count_paths);
    if (!o.ok) {
        bench::row("Allocations on the command paths", "failed: " + o.error, "-", "-",
                   "only static-MAC commands allocate", "NO");
        return 1;
    }
    // Per command, to standard error: library allocations (steady, first call), host's, result.
    std::vector<uint32_t> allocating, unexpected, firstOnly;
    double hostMin = 1e18, hostMax = 0;
    std::set<double> staticMacCounts;
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd) {
        const std::string k = "cmd_" + std::to_string(cmd);
        const double lib = get(o, k + "_library");
        const double first = get(o, k + "_library_first");
        const double host = get(o, k + "_host");
        std::fprintf(stderr, "command %u: library %g (first call %g), simulated host %g, result %g\n", cmd,
                     lib, first, host, get(o, k + "_result"));
        hostMin = std::min(hostMin, host);
        hostMax = std::max(hostMax, host);
        if (lib > 0 || first > 0) {
            allocating.push_back(cmd);
            if (kStaticMacCommands.contains(cmd))
                staticMacCounts.insert(lib);
            else
                unexpected.push_back(cmd);
        }
        if (first > lib) firstOnly.push_back(cmd);
    }
    std::string perCommand;
    for (double n : staticMacCounts) perCommand += (perCommand.empty() ? "" : "/") + bench::fmt("%.0f", n);
    bench::row("Allocations by the library per command, all 64 numbers through mrvl_esw_ioctl",
               bench::fmt("allocating: %s (%s per call); all others 0%s", list(allocating).c_str(),
                          perCommand.empty() ? "-" : perCommand.c_str(),
                          firstOnly.empty() ? "" : (", first call only: " + list(firstOnly)).c_str()),
               bench::fmt("simulated host: %.0f–%.0f per command", hostMin, hostMax), "-",
               "only the static-MAC commands allocate", bench::verdict(unexpected.empty()));
    bench::row("Allocations by the library per frame: IOCTL_SW_CPU_TX / receive to callback",
               bench::fmt("%.2f / %.2f", get(o, "tx_library"), get(o, "rx_library")),
               bench::fmt("simulated host: %.2f / %.2f", get(o, "tx_host"), get(o, "rx_host")), "-",
               "0 per frame", bench::verdict(get(o, "tx_library") == 0 && get(o, "rx_library") == 0));
    bench::row("Allocations by the library: bring-up / open / close",
               bench::fmt("%.0f (incl. libpcap on its behalf) / %.0f / %.0f", get(o, "bringup_library"),
                          get(o, "open_library"), get(o, "close_library")),
               bench::fmt("simulated host during bring-up: %.0f", get(o, "bringup_host")), "-", "-", "-");
    return 0;
}
