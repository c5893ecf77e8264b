// The pieces the capture-path benchmarks share: test frames, the board on which the receive side
// posts arrivals, the process's memory figures, and child processes (each measurement runs in a
// child of its own, in a private network namespace with its own eight veth pairs, because the
// library brings its capture interfaces up once per process).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace rig {

constexpr int kPorts = 8;               // user ports 1..8, capture interfaces lacp-swp1..8
constexpr std::size_t kFrameLen = 128;  // a slow-protocols frame the size of an LACPDU, padded

uint64_t now_ns();          // CLOCK_MONOTONIC
uint64_t process_cpu_ns();  // CPU time of every thread of the process
uint64_t thread_cpu_ns();   // CPU time of the calling thread

// An LACP-addressed frame (01:80:c2:00:00:02, ethertype 0x8809) that carries a marker, the port it
// is sent to and a sequence number.
void build_frame(uint8_t* out, uint8_t port, uint32_t seq);
// False for anything that is not one of ours (the kernel's own IPv6 chatter on a fresh veth).
bool read_frame(const uint8_t* frame, std::size_t length, uint8_t* port, uint32_t* seq);

// Where the receive side (the library's callback on its receive thread, or a bare libpcap
// reader) posts every frame of ours, and where the sending thread waits for them. posting
// allocates nothing.
class Board {
public:
    // Arrival times by sequence number are kept for sequence numbers below `stampSlots`.
    explicit Board(std::size_t stampSlots);
    void post(const uint8_t* frame, std::size_t length);

    uint64_t total() const { return total_.load(); }
    uint64_t delivered(int port) const { return delivered_[port].load(); }
    uint64_t stamp(uint32_t seq) const { return stamps_[seq].load(); }
    uint64_t last_arrival() const { return last_.load(); }
    // Blocks until the total reaches `target` or `timeoutNs` passes; returns the total. The
    // receive side wakes the waiter only when the target is reached, not for every frame.
    uint64_t wait_for(uint64_t target, uint64_t timeoutNs);

private:
    std::vector<std::atomic<uint64_t>> stamps_;
    std::atomic<uint64_t> delivered_[kPorts + 1] = {};
    std::atomic<uint64_t> total_{0};
    std::atomic<uint64_t> last_{0};
    std::atomic<uint64_t> target_{UINT64_MAX};  // the waiter's target; UINT64_MAX: nobody waits
    std::mutex mutex_;
    std::condition_variable changed_;
};

// The board the current process posts to; set by the child that measures.
extern Board* board;

struct Memory {
    double vmSizeKb = 0;
    double rssKb = 0;
};
Memory memory_now();

// The packet rings that libpcap maps from its capture sockets ("socket:[...]" in smaps).
struct Rings {
    int count = 0;
    double sizeKb = 0;  // mapped
    double rssKb = 0;   // resident
};
Rings rings_now();

// ---- child processes ------------------------------------------------------------------------

using Values = std::map<std::string, double>;
// Keys that begin with this carry one sample each (not echoed to the log).
inline constexpr const char* kSample = "sample_";

struct Outcome {
    bool ok = false;
    std::string error;
    Values values;
};

// A measurement that cannot be made: the child reports the text and the parent prints it.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Forks a child that enters a private network namespace, creates the eight veth pairs, points its
// standard output at /dev/null (the library prints bring-up texts there), runs `body` and hands
// the values it filled back to the parent. A child still running after `timeoutSec` is killed.
Outcome run_child(const std::string& name, unsigned timeoutSec, const std::function<void(Values&)>& body);

// Sends one frame from the peer end of `port`'s veth pair (inside a child only).
void send_from_peer(int port, const uint8_t* frame, std::size_t length);

}  // namespace rig
