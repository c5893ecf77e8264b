// A bench of real network interfaces for the CPU packet path: the eight capture interfaces
// lacp-swp1..8 that the driver opens, each cabled (a veth pair) to a far side lacp-peer1..8 from
// which frames are sent to the driver and on which the driver's frames are received. Used by the
// tests and by the eswctl shell; everything happens in a private network namespace so that the
// machine's own interfaces are never touched.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct mnl_socket;

namespace esw_testbed {

inline constexpr int kLabPorts = 8;  // ports 1..8
// Both ends of every cable carry frames well above the driver's 1522-byte limit, so that
// oversize frames can be sent to it.
inline constexpr uint32_t kLabMtu = 9000;

// Moves the calling process into a private network namespace (root: unshare(CLONE_NEWNET);
// otherwise unshare(CLONE_NEWUSER|CLONE_NEWNET) with uid/gid maps) — must be called while the
// process is single-threaded, e.g. first thing in main(). Returns false with a reason if impossible.
bool enter_private_netns(std::string* why);

// In the current (private) namespace: creates lacp-swp1..8, each a veth pair with peer lacp-peer1..8
// (the cable's far side), IPv6 disabled on all 16 (sysctl via /proc/sys/net/ipv6/conf/<if>/disable_ipv6), all
// up; lo up. Uses libmnl (rtnetlink) — not the `ip` program.
class CaptureLab {
public:
    static std::unique_ptr<CaptureLab> create(std::string* why);
    ~CaptureLab();  // deletes the pairs, closes sockets
    CaptureLab(const CaptureLab&) = delete;
    CaptureLab& operator=(const CaptureLab&) = delete;

    bool send_from_peer(int port, const uint8_t* frame, size_t len);  // AF_PACKET raw socket on lacp-peerN
    // Next frame that arrives on lacp-peerN within timeout, or nullopt.
    std::optional<std::vector<uint8_t>> receive_on_peer(int port, std::chrono::milliseconds timeout);
    void drain_peer(int port);

private:
    CaptureLab() = default;
    int peer_fd(int port) const;

    mnl_socket* netlink_ = nullptr;
    uint32_t sequence_ = 0;
    std::array<int, kLabPorts> peerFds_{-1, -1, -1, -1, -1, -1, -1, -1};
    bool pairsCreated_ = false;
};

// Interface names of port p (1..8).
std::string capture_name(int port);  // "lacp-swpP"
std::string peer_name(int port);     // "lacp-peerP"

}  // namespace esw_testbed
