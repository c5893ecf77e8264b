// The choke point every simulated host call passes through, private to sim/. A host function
// names itself and its arguments, says which argument is its port and which out-parameters a
// fault may fill, and hands the model a lambda:
//
//     return Host<uint8_t>("peridot_set_port_mtu", dev, port, mtu).on_port(port, [&](PortState& p) {
//         p.mtu = mtu;
//     });
//
// Host::run takes the one lock, decides the fault, runs the model only when no fault fired,
// appends the journal line and calls the observer after releasing the lock.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "sim/sim.h"

namespace sim::detail {

// Everything the simulated host holds; guarded by `mutex`.
struct State {
    std::mutex mutex;
    Chip chip;
    std::map<uint32_t, uint32_t> fpga;
    std::vector<Call> journal;
    std::function<void(const Call&)> observer;
    bool journalRxPath = true;
    struct ArmedFault {
        Fault fault;
        unsigned seen = 0;  // matching calls since injection
    };
    std::vector<ArmedFault> faults;
    std::vector<LogRecord> logs;
    bool logEcho = false;
    std::vector<Announcement> announcements;
    EswFrameworkHandle* cpuChannel = nullptr;
};
State& state();

// The fault that decides this call, if any; the caller holds the lock. Every armed fault that
// matches counts the call; the first one (in injection order) whose nth is reached wins.
std::optional<Fault> take_fault(const std::string& name, std::optional<uint32_t> port);
// Appends the call (unless it is an rx-path call and those are off), releases the lock, then
// tells the observer.
void record(Call call, bool rxPath, std::unique_lock<std::mutex>& lock);

// ---- argument rendering ---------------------------------------------------------------------
struct Mac {
    const uint8_t* bytes;
};
struct Text {
    const char* text;
};

template <std::integral T>
std::string render(T v) {
    if constexpr (std::is_signed_v<T>)
        return std::to_string(static_cast<int64_t>(v));
    else
        return std::to_string(static_cast<uint64_t>(v));
}
template <typename T>
std::string render(T* p) {
    return p ? "ptr" : "null";
}
std::string render(QdDevice* dev);  // "qddev" when it is the chip driver's record
std::string render(Mac mac);
std::string render(EswMacDestination* dest);
std::string render(Text text);
std::string mac_text(const uint8_t* bytes);

inline bool valid_port(uint32_t port) { return port < static_cast<uint32_t>(kPortCount); }

template <typename R>
class Host {
public:
    template <typename... Args>
    explicit Host(const char* name, const Args&... args) : name_(name), args_{render(args)...} {}

    // The argument a port-restricted fault compares against.
    Host& port(uint32_t p) {
        port_ = p;
        return *this;
    }
    // For calls whose success value is 0 (failure -1).
    Host& zero_ok() {
        ok_ = 0;
        fail_ = -1;
        return *this;
    }
    Host& rx_path() {
        rxPath_ = true;
        return *this;
    }
    // Where a fault's outValue goes.
    Host& out(std::function<void(uint64_t)> writer) {
        out_ = std::move(writer);
        return *this;
    }
    template <typename T>
    Host& out(T* slot) {
        if (slot) out_ = [slot](uint64_t v) { *slot = static_cast<T>(v); };
        return *this;
    }

    // The model: a lambda on the chip returning either bool (the call's success or failure
    // value) or the call's own result.
    template <typename Model>
    R run(Model&& model) {
        State& s = state();
        std::unique_lock lock(s.mutex);
        std::optional<Fault> fault = take_fault(name_, port_);
        R result{};
        if (fault) {
            result = cast(fault->result);
            if (fault->outValue && out_) out_(*fault->outValue);
        } else {
            using M = decltype(model(s.chip));
            if constexpr (std::is_same_v<M, bool>)
                result = cast(model(s.chip) ? ok_ : fail_);
            else
                result = static_cast<R>(model(s.chip));
        }
        record(Call{name_, std::move(args_), to_journal(result), fault.has_value()}, rxPath_, lock);
        return result;
    }

    // A setter on one port: a port out of range fails and touches nothing.
    template <typename Setter>
    R on_port(uint32_t p, Setter&& setter) {
        port(p);
        return run([&](Chip& chip) {
            if (!valid_port(p)) return false;
            if constexpr (std::is_same_v<decltype(setter(chip.ports[p])), bool>)
                return setter(chip.ports[p]);
            else {
                setter(chip.ports[p]);
                return true;
            }
        });
    }

private:
    // A fault's value is cut to the call's return type (0x101 on a uint8_t call returns 1); a
    // pointer-returning call always returns null when faulted.
    static R cast(int64_t v) {
        if constexpr (std::is_pointer_v<R>)
            return nullptr;
        else
            return static_cast<R>(v);
    }
    static int64_t to_journal(R r) {
        if constexpr (std::is_pointer_v<R>)
            return r ? 1 : 0;
        else
            return static_cast<int64_t>(r);
    }

    std::string name_;
    std::vector<std::string> args_;
    std::optional<uint32_t> port_;
    int64_t ok_ = 1;
    int64_t fail_ = 0;
    bool rxPath_ = false;
    std::function<void(uint64_t)> out_;
};

}  // namespace sim::detail
