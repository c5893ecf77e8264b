// What the tests of the capture interfaces share: frames to send, a callback that collects what
// the receive thread delivers, the driver's side set up on real interfaces, and a few interface
// operations the lab does not offer. Everything here runs inside a forked child.
#pragma once

#include <gtest/gtest.h>
#include <net/if.h>
#include <pcap/pcap.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cpu/lacp_capture.h"
#include "driver/internal.h"
#include "sim/sim.h"
#include "tests/cpu/cpu_counters.h"

namespace esw_test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A slow-protocols frame (the kind LACP uses) of `length` bytes whose payload names the port.
inline std::vector<uint8_t> lacp_frame(size_t length, int port, uint8_t salt = 0) {
    std::vector<uint8_t> frame(length);
    const uint8_t header[14] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x02,
                                0x02, 0x00, 0x00, 0x00, 0x00, static_cast<uint8_t>(port),
                                0x88, 0x09};
    std::memcpy(frame.data(), header, std::min(length, sizeof header));
    for (size_t i = sizeof header; i < length; ++i) frame[i] = static_cast<uint8_t>(port * 31 + salt + i);
    return frame;
}

struct Delivered {
    uint32_t ifIndex;
    std::vector<uint8_t> bytes;
    Clock::time_point at;
};

// Collects deliveries; can hold the receive thread inside the callback to let frames pile up.
class Inbox {
public:
    static Inbox& get() {
        static Inbox inbox;
        return inbox;
    }
    static int32_t callback(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
        return get().take(ifIndex, length, frame);
    }

    bool wait_for(size_t count, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return got_.size() >= count; });
    }
    std::vector<Delivered> deliveries() {
        std::lock_guard lock(mutex_);
        return got_;
    }
    // The next delivery keeps the receive thread in the callback until release().
    void hold_next() {
        std::lock_guard lock(mutex_);
        holdNext_ = true;
        released_ = false;
    }
    bool wait_holding(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return holding_; });
    }
    void release() {
        std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

private:
    int32_t take(uint32_t ifIndex, uint16_t length, const uint8_t* frame) {
        std::unique_lock lock(mutex_);
        got_.push_back({ifIndex, std::vector<uint8_t>(frame, frame + length), Clock::now()});
        if (holdNext_) {
            holdNext_ = false;
            holding_ = true;
            changed_.notify_all();
            changed_.wait(lock, [&] { return released_; });
            holding_ = false;
        }
        changed_.notify_all();
        return 0;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Delivered> got_;
    bool holdNext_ = false;
    bool holding_ = false;
    bool released_ = false;
};

enum class OpenMode { standard, immediate };
inline const char* mode_name(OpenMode mode) { return mode == OpenMode::standard ? "standard" : "immediate"; }

struct ReceiverSetup {
    OpenMode mode = OpenMode::immediate;
    bool callbackOnCpuChannel = true;
    bool startThread = true;
};

// The handles a host would hold: the CPU channel's and port 3's. Never closed: the child ends.
inline EswFrameworkHandle cpuChannel{nullptr, nullptr};
inline EswFrameworkHandle port3Handle{nullptr, nullptr};

// Brings the driver's receive side up the way the bring-up does, against the lab's interfaces.
inline void start_receiver(const ReceiverSetup& setup) {
    if (setup.mode == OpenMode::immediate)
        ::setenv(esw::kLacpImmediateEnv, "1", 1);
    else
        ::unsetenv(esw::kLacpImmediateEnv);
    sim::reset();
    mrvl_cpu_clear_stats();
    ASSERT_EQ(mrvl_esw_open(&cpuChannel, "mrvl_switch/cpu/10"), 0);
    ASSERT_EQ(mrvl_esw_open(&port3Handle, "mrvl_switch/0/3"), 0);
    sim::set_cpu_channel(&cpuChannel);
    if (setup.callbackOnCpuChannel) {
        ASSERT_EQ(mrvl_esw_ioctl(&cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK,
                                 reinterpret_cast<void*>(&Inbox::callback)),
                  0);
    }
    init_lacp_interfaces();
    ASSERT_EQ(open_all_lacp_interfaces(), 0);
    sim::clear_logs();
    sim::clear_journal();
    if (setup.startThread) {
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, nullptr, &rx_poll_task, nullptr), 0);
    }
}

// Polls until `done` holds or the time is up.
inline bool eventually(const std::function<bool()>& done, std::chrono::milliseconds timeout = 10s) {
    const Clock::time_point deadline = Clock::now() + timeout;
    while (!done()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

inline size_t logs_mentioning(const std::string& text) {
    size_t n = 0;
    for (const sim::LogRecord& rec : sim::logs())
        if (rec.message.find(text) != std::string::npos) ++n;
    return n;
}

// Interface operations the lab has no call for, through the classic ioctls.
inline bool set_interface_flags(const std::string& name, bool up) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
    bool ok = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0;
    if (ok) {
        if (up)
            request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
        else
            request.ifr_flags = static_cast<short>(request.ifr_flags & ~IFF_UP);
        ok = ::ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    }
    ::close(fd);
    return ok;
}

inline bool rename_interface(const std::string& from, const std::string& to) {
    if (!set_interface_flags(from, false)) return false;
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    ifreq request{};
    std::strncpy(request.ifr_name, from.c_str(), IFNAMSIZ - 1);
    std::strncpy(request.ifr_newname, to.c_str(), IFNAMSIZ - 1);
    const bool ok = ::ioctl(fd, SIOCSIFNAME, &request) == 0;
    ::close(fd);
    return ok;
}

}  // namespace esw_test
