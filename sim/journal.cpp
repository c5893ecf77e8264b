// The choke point's bookkeeping: the journal, the faults, the lifecycle and the accessors.
#include <cstdio>

#include "sim/host_call.h"

namespace sim {
namespace detail {

State& state() {
    static State s;
    return s;
}

std::optional<Fault> take_fault(const std::string& name, std::optional<uint32_t> port) {
    std::optional<Fault> winner;
    for (State::ArmedFault& armed : state().faults) {
        const Fault& f = armed.fault;
        if (f.call != name) continue;
        if (f.port && (!port || *port != *f.port)) continue;
        ++armed.seen;
        if (!winner && (f.nth == 0 || armed.seen == f.nth)) winner = f;
    }
    return winner;
}

void record(Call call, bool rxPath, std::unique_lock<std::mutex>& lock) {
    State& s = state();
    // An rx-path call that is not journalled is not shown to the observer either: the observer
    // sees exactly the journal.
    if (rxPath && !s.journalRxPath) {
        lock.unlock();
        return;
    }
    s.journal.push_back(call);
    std::function<void(const Call&)> observer = s.observer;
    lock.unlock();
    if (observer) observer(call);
}

std::string mac_text(const uint8_t* b) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]);
    return text;
}

std::string render(QdDevice* dev) {
    if (!dev) return "null";
    return dev == qddev ? "qddev" : "ptr";
}

std::string render(Mac mac) { return mac.bytes ? mac_text(mac.bytes) : "null"; }

std::string render(Text text) { return text.text ? text.text : "null"; }

std::string render(EswMacDestination* dest) {
    if (!dest) return "null";
    std::string text = "{ports=";
    if (dest->ports || dest->portCount == 0) {
        text += "[";
        for (uint32_t i = 0; i < dest->portCount; ++i) {
            if (i) text += ",";
            text += "(" + render(dest->ports[i].device) + "," + render(dest->ports[i].port) + ")";
        }
        text += "]";
    } else {
        text += "null";
    }
    text += " group=" + (dest->groupWord ? render(*dest->groupWord) : std::string("none"));
    return text + " flag=" + render(dest->groupFlag) + "}";
}

}  // namespace detail

using detail::state;

std::string Call::text() const {
    std::string text = name + "(";
    for (size_t i = 0; i < args.size(); ++i) text += (i ? ", " : "") + args[i];
    return text + ")";
}

void reset() {
    detail::State& s = state();
    std::lock_guard lock(s.mutex);
    s.chip = Chip{};
    s.fpga.clear();
    s.journal.clear();
    s.observer = nullptr;
    s.journalRxPath = true;
    s.faults.clear();
    s.logs.clear();
    s.announcements.clear();
    s.cpuChannel = nullptr;
    qddev = nullptr;
}

Chip& chip() { return state().chip; }
PortState& port(uint8_t p) { return state().chip.ports.at(p); }
std::map<uint32_t, uint32_t>& fpga() { return state().fpga; }

void plug(uint8_t p, uint32_t chipSpeed, uint32_t chipDuplex) {
    std::lock_guard lock(state().mutex);
    PortState& ps = state().chip.ports.at(p);
    ps.linkUp = true;
    ps.linkSpeed = chipSpeed;
    ps.linkDuplex = chipDuplex;
}

void unplug(uint8_t p) {
    std::lock_guard lock(state().mutex);
    state().chip.ports.at(p).linkUp = false;
}

std::vector<Call> calls() {
    std::lock_guard lock(state().mutex);
    return state().journal;
}

std::vector<std::string> journal() { return journal_of({}); }

std::vector<std::string> journal_of(const std::set<std::string>& names) {
    std::lock_guard lock(state().mutex);
    std::vector<std::string> lines;
    for (const Call& c : state().journal)
        if (names.empty() || names.count(c.name)) lines.push_back(c.text());
    return lines;
}

void clear_journal() {
    std::lock_guard lock(state().mutex);
    state().journal.clear();
}

void set_call_observer(std::function<void(const Call&)> observer) {
    std::lock_guard lock(state().mutex);
    state().observer = std::move(observer);
}

void set_journal_rx_path(bool on) {
    std::lock_guard lock(state().mutex);
    state().journalRxPath = on;
}

void inject(const Fault& fault) {
    std::lock_guard lock(state().mutex);
    state().faults.push_back({fault, 0});
}

void clear_faults() {
    std::lock_guard lock(state().mutex);
    state().faults.clear();
}

std::vector<LogRecord> logs() {
    std::lock_guard lock(state().mutex);
    return state().logs;
}

void clear_logs() {
    std::lock_guard lock(state().mutex);
    state().logs.clear();
}

void set_log_echo(bool on) {
    std::lock_guard lock(state().mutex);
    state().logEcho = on;
}

std::vector<Announcement> announcements() {
    std::lock_guard lock(state().mutex);
    return state().announcements;
}

void set_cpu_channel(EswFrameworkHandle* handle) {
    std::lock_guard lock(state().mutex);
    state().cpuChannel = handle;
}

}  // namespace sim
