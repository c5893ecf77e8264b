// The simulated host: a software model of the switch chip and of every other service the host
// provides to the driver (chip-access layer, chip driver, FPGA, interface-index services, CPU
// channel, device framework, platform log). Tests, benchmarks and eswctl link it in place of the
// appliance's port manager and load the real driver against it.
//
// Every host call passes through one choke point that (1) appends a line to the call journal,
// (2) applies any injected fault, and (3) otherwise lets the chip model answer. Faults sit around
// the model, never inside it: a faulted call returns the fault's value and leaves the model as it
// was.
//
// Thread safety: the receive thread of the driver calls a few host services while the command
// thread runs, so every entry point takes one internal lock. The accessors below that return
// references are for the command thread of a test or tool, between driver calls.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/host_abi.h"

namespace sim {

inline constexpr int kPortCount = 11;  // chip ports 0..10

// Interface indexes: ifIndex = slot * 1000 + port. Index 0 resolves to nothing (both resolvers
// fail); every other index decodes, so slot 0 (indexes 1..999) and slots above 2 can be produced
// on purpose. The front-panel port p is 1000 + p.
inline constexpr uint32_t kIfIndexSlotStride = 1000;
constexpr uint32_t if_index(uint32_t slot, uint32_t port) { return slot * kIfIndexSlotStride + port; }

struct StormSetting {
    uint8_t mode = 0;
    uint32_t rate = 0;
    uint32_t arg5 = 0;
    uint32_t arg6 = 0;
    bool enable = false;
    uint32_t counter = 0;  // reset by peridot_reset_storm_counters
};

// Per-port state of the chip. Defaults are the power-on values.
struct PortState {
    // admin
    bool allowUnicast = true, allowMulticast = true, allowBroadcast = true;
    bool rxEnable = true, txEnable = true;
    bool powerDown = false;
    uint8_t portState = 3;
    uint32_t mtu = 1522;
    // link configuration
    uint8_t autoMode = 0;
    uint8_t phySpeed = 15;
    uint32_t speed = 15;
    uint8_t duplex = 1;
    bool cmode2p5G = false;
    uint32_t cmode2p5GCalls = 0;
    // the cable: set from outside (plug/unplug), read by the link queries
    bool linkUp = false;
    uint32_t linkSpeed = 2;   // chip encoding: 0 = 10, 1 = 100, 2 = 1000 Mb/s
    uint32_t linkDuplex = 1;  // 1 = full, 0 = half
    // VLAN behaviour
    bool dot1q = false;
    uint32_t defaultVlan = 1;
    bool allowNative = false;
    bool priorityTagged = false;
    uint8_t dsaMode = 0;
    uint32_t ethertype = 0x8100;
    std::optional<uint32_t> doubleTagVlan;  // set by asic_peridot_double_tagging
    uint8_t doubleTagTarget = 0;
    uint32_t vlanMap = 0x7ff;  // ports this port may forward to
    uint16_t regField4_14 = 0; // value written by hwSetAnyRegField(reg 4, offset 14, length 2)
    // addresses
    bool learning = true;  // peridot_*_atu_learning and peridot_set_mac_learning
    bool saFiltering = false;
    uint16_t macLimit = 0;  // 0 = no limit
    // storm control: [0] unicast, [1] multicast, [2] broadcast; span storm from the bring-up
    std::array<StormSetting, 3> storm{};
    StormSetting spanStorm{};
    uint32_t stormStatus = 0;  // what peridot_storm_control_check reports
    // EEE
    uint8_t forceEee = 0;
    uint16_t eeeFirst = 0, eeeSecond = 0;  // the two status words peridot_get_force_eee reports
    // LEDs and mirroring
    uint8_t led1Mode = 0;
    bool vodSet = false;
    bool mirrorDest = false;
    std::optional<uint8_t> mirrorSourceMode;
    // port channel
    std::optional<uint16_t> channel;
    // counters: what peridot_get_port_counters copies out; flush zeroes them
    EswChipCounters counters{};
    // learned addresses that peridot_get_dynamic_mac_addresses_port copies out
    struct DynamicMac {
        std::array<uint8_t, 6> mac;
        uint16_t vlan;
    };
    std::vector<DynamicMac> dynamicMacs;
};

struct VlanEntry {
    std::set<uint8_t> members;  // membership (allowed)
    std::set<uint8_t> tagged;   // egress tagged; a member not in this set is untagged
    std::set<uint8_t> lldpDsa;  // ports given peridot_add_vlan_forlldp_dsa
    std::set<uint8_t> lacpDsa;  // ports given peridot_add_vlan_forlacp_dsa
};

struct StaticMac {
    std::vector<EswMacPortEntry> ports;
    std::optional<uint32_t> groupWord;
};

// The handles asic_get_acl_handle gives; an ACL call with any other handle value fails.
inline constexpr uint64_t kAclHandleBase = 0xAC1000000000ull;
constexpr uint64_t acl_handle(uint8_t listId) { return kAclHandleBase | listId; }

struct DeviceState {
    bool qdLoaded = false;
    bool initReg = false;
    bool rmuOpened = false;
    std::optional<std::array<uint8_t, 3>> rmuMode;
    bool globalLearning = true;
    bool arpWoBc = false;
    std::optional<uint32_t> protectValue;
    uint16_t ageTime = 300;
    std::optional<std::pair<uint32_t, uint8_t>> vlanForwardingMode;  // (modeValue, modeFlag)
    std::map<uint32_t, VlanEntry> vlans;
    std::map<uint8_t, std::set<uint8_t>> aclMembers;  // list id (255 unicast, 254 multicast)
    // static entries per VLAN, keyed by MAC as "aa:bb:cc:dd:ee:ff"
    std::map<uint32_t, std::map<std::string, StaticMac>> staticMacs;
};

struct Chip {
    std::array<PortState, kPortCount> ports{};
    DeviceState device{};
};

// The layout peridot_get_dynamic_mac_addresses_port writes into the host's buffer (an agreement
// between the host and the chip-access layer; the driver passes the buffer through untouched).
struct DynamicMacBuffer {
    uint32_t count;
    struct Entry {
        uint8_t mac[6];
        uint16_t vlan;
    } entries[64];
};

struct LogRecord {
    int32_t level;
    std::string module;
    std::string location;
    std::string message;
};

struct Announcement {
    std::string name;
    void* table;
};

// One host call. args are rendered as the journal shows them: integers in decimal, pointers as
// "ptr" or "null", MAC addresses as aa:bb:cc:dd:ee:ff, a destination record as
// {ports=[(0,9),(0,3)] group=7 flag=1}, the chip driver's record as "qddev".
struct Call {
    std::string name;
    std::vector<std::string> args;
    int64_t result = 0;
    bool faulted = false;
    std::string text() const;  // "name(a, b, c)"
};

// A fault makes a host call return `result` instead of asking the model.
struct Fault {
    std::string call;                // host function name, e.g. "peridot_set_port_mtu"
    int64_t result = 0;              // what the call returns
    unsigned nth = 0;                // 1-based: only the Nth matching call; 0 = every matching call
    std::optional<uint32_t> port;    // only calls whose port argument equals this
    std::optional<uint64_t> outValue;// for calls with out-values: written instead of the model's
                                     // (the call then also returns `result`)
};

// ---- lifecycle --------------------------------------------------------------------------------
void reset();  // power-on state: chip, FPGA, framework, logs, journal, faults, CPU channel

// ---- the model ----------------------------------------------------------------------------------
Chip& chip();
PortState& port(uint8_t p);  // p must be < kPortCount
std::map<uint32_t, uint32_t>& fpga();  // FPGA registers; absent registers read 0

void plug(uint8_t p, uint32_t chipSpeed = 2, uint32_t chipDuplex = 1);
void unplug(uint8_t p);

// ---- journal ------------------------------------------------------------------------------------
std::vector<Call> calls();
std::vector<std::string> journal();  // one text() per call, in order
std::vector<std::string> journal_of(const std::set<std::string>& names);  // only these calls
void clear_journal();
// Called for every host call as it happens (after the fault decision), from whichever thread
// made it. Pass nullptr to stop.
void set_call_observer(std::function<void(const Call&)> observer);
// Calls the receive thread makes per frame (if_index_* and get_channel_cpu_port) are journalled
// only when this is on (default on).
void set_journal_rx_path(bool on);

// ---- faults -------------------------------------------------------------------------------------
void inject(const Fault& fault);
void clear_faults();

// ---- platform log -------------------------------------------------------------------------------
std::vector<LogRecord> logs();
void clear_logs();
void set_log_echo(bool on);  // also print each record to stderr

// ---- framework and CPU channel -------------------------------------------------------------------
std::vector<Announcement> announcements();
void set_cpu_channel(EswFrameworkHandle* handle);  // what get_channel_cpu_port returns

}  // namespace sim
