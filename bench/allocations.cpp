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
constexpr int kCalls = 3;  // each command runs this often; the most any call allocated counts
constexpr int kFrames = 200;

const std::set<uint32_t> kStaticMacCommands = {
    NIC_REG_MC_HW,         NIC_UNREG_MC_HW,      IOCTL_SW_DEL_DATAPLANE_MAC, IOCTL_SW_ADD_DATAPLANE_MAC,
    IOCTL_SW_ADD_PORT_MAC, IOCTL_SW_DEL_PORT_MAC};

// Commands that take their full path only after another one: a removal after the matching
// addition, leaving L2 mode for a port that is in the request's VLAN.
const std::map<uint32_t, uint32_t> kPrelude = {
    {NIC_UNREG_MC_HW, NIC_REG_MC_HW},
    {IOCTL_SW_DEL_DATAPLANE_MAC, IOCTL_SW_ADD_DATAPLANE_MAC},
    {IOCTL_SW_DEL_PORT_MAC, IOCTL_SW_ADD_PORT_MAC},
    {IOCTL_SW_REMOVE_VLAN, IOCTL_SW_ADD_NEW_VLAN},
    {IOCTL_SW_APORT_REMOVE_VLAN, IOCTL_SW_APORT_ADD_VLAN},
    {IOCTL_SW_TPORT_REMOVE_VLAN, IOCTL_SW_TPORT_ADD_VLAN},
    {IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, IOCTL_SW_TPORT_ADD_NATIVE_VLAN},
    {NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE, NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE},
    {IOCTL_REMOVE_PORT_L2_MODE, IOCTL_SW_APORT_ADD_VLAN},
};

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
        case IOCTL_SET_PORT_SECURITY:
        case IOCTL_SET_MAC_LEARNING:
            put32(0, 1);
            return s.bytes;
        case NIC_SET_MAX_CAP:
            put32(0, 1);  // the one capability acted on
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
    // The access-list handles are the bring-up's last step: set only when every step succeeded.
    if (uc_mac_acl_handle_p[0] == 0) throw Failure("bring-up did not complete");

    probe::start();
    const int32_t opened = mrvl_esw_open(&port, "mrvl_switch/0/3");
    c = probe::stop();
    v["open_library"] = static_cast<double>(c.library);
    probe::start();
    const int32_t openedToo = mrvl_esw_open(&cpuChannel, "mrvl_switch/cpu/10");
    c = probe::stop();
    v["open_again_library"] = static_cast<double>(c.library);
    if (opened != 0 || openedToo != 0) throw Failure("open failed");
    mrvl_esw_ioctl(&cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK, reinterpret_cast<void*>(&host_rx_callback));
    sim::set_cpu_channel(&cpuChannel);

    Scratch scratch{};
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd) {
        probe::Counts most{};
        int failures = 0;
        std::string why;
        for (int call = 0; call < kCalls; ++call) {
            // VLANs 1 (static addresses) and 100 (the requests' VLAN) exist before every call.
            for (uint32_t vlan : {1u, 100u}) {
                EswVlanRequest create{vlan};
                mrvl_esw_ioctl(&port, IOCTL_SW_ADD_NEW_VLAN, &create);
            }
            const auto prelude = kPrelude.find(cmd);
            if (prelude != kPrelude.end())
                mrvl_esw_ioctl(&port, prelude->second, argument_for(prelude->second, scratch));
            void* arg = argument_for(cmd, scratch);
            sim::clear_journal();
            sim::clear_logs();
            probe::start();
            const int32_t result = mrvl_esw_ioctl(&port, cmd, arg);
            const probe::Counts c = probe::stop();
            most.library = std::max(most.library, c.library);
            most.host = std::max(most.host, c.host);
            if (result != 0) {
                ++failures;
                const std::vector<sim::LogRecord> records = sim::logs();
                if (why.empty() && !records.empty()) why = records.front().message;
            }
        }
        const std::string k = std::to_string(cmd);
        v["cmd_" + k + "_library"] = static_cast<double>(most.library);
        v["cmd_" + k + "_host"] = static_cast<double>(most.host);
        v["cmd_" + k + "_failures"] = failures;
        if (!why.empty()) std::fprintf(stderr, "command %u refused: %s\n", cmd, why.c_str());
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
    while (board.total() < kFrames && rig::now_ns() < deadline) board.wait_for(kFrames, 100000000ull);
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
    // Per command, to standard error: most allocations of one call, library and host, and how
    // many of the calls the command refused.
    std::vector<uint32_t> allocating, unexpected;
    double hostMin = 1e18, hostMax = 0;
    std::set<double> staticMacCounts;
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd) {
        const std::string k = "cmd_" + std::to_string(cmd);
        const double lib = get(o, k + "_library");
        const double host = get(o, k + "_host");
        std::fprintf(stderr, "command %u: library %g, simulated host %g, refused %g of %d calls\n", cmd, lib,
                     host, get(o, k + "_failures"), kCalls);
        hostMin = std::min(hostMin, host);
        hostMax = std::max(hostMax, host);
        if (lib > 0) {
            allocating.push_back(cmd);
            if (kStaticMacCommands.contains(cmd))
                staticMacCounts.insert(lib);
            else
                unexpected.push_back(cmd);
        }
    }
    std::string perCommand;
    for (double n : staticMacCounts) perCommand += (perCommand.empty() ? "" : "/") + bench::fmt("%.0f", n);
    bench::row("Allocations by the library per command, all 64 numbers through mrvl_esw_ioctl",
               bench::fmt("allocating: %s (%s per call); all others 0", list(allocating).c_str(),
                          perCommand.empty() ? "-" : perCommand.c_str()),
               bench::fmt("simulated host: %.0f–%.0f per command", hostMin, hostMax), "-",
               "only the static-MAC commands allocate", bench::verdict(unexpected.empty()));
    bench::row("Allocations by the library per frame: IOCTL_SW_CPU_TX / receive to callback",
               bench::fmt("%.2f / %.2f", get(o, "tx_library"), get(o, "rx_library")),
               bench::fmt("simulated host: %.2f / %.2f", get(o, "tx_host"), get(o, "rx_host")), "-",
               "0 per frame", bench::verdict(get(o, "tx_library") == 0 && get(o, "rx_library") == 0));
    bench::row("Allocations by the library: bring-up / first open, later open / close",
               bench::fmt("%.0f (incl. libpcap on its behalf) / %.0f, %.0f / %.0f", get(o, "bringup_library"),
                          get(o, "open_library"), get(o, "open_again_library"), get(o, "close_library")),
               bench::fmt("simulated host during bring-up: %.0f", get(o, "bringup_host")), "-", "-", "-");
    return 0;
}
