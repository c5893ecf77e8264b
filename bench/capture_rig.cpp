#include "bench/capture_rig.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "testbed/capture_lab.h"

namespace rig {

namespace {

constexpr uint8_t kSlowProtocolsMac[6] = {0x01, 0x80, 0xc2, 0x00, 0x00, 0x02};
constexpr uint16_t kSlowProtocols = 0x8809;
constexpr uint32_t kMarker = 0x45535742;  // "ESWB"
constexpr std::size_t kMarkerAt = 16;     // after the header and the LACP subtype/version

void put32(uint8_t* at, uint32_t v) {
    const uint32_t be = htonl(v);
    std::memcpy(at, &be, 4);
}
uint32_t get32(const uint8_t* at) {
    uint32_t be;
    std::memcpy(&be, at, 4);
    return ntohl(be);
}

// One raw socket per peer end, opened on first use and kept: sending is then one send() per
// frame, the same for every measurement.
int peerSockets[kPorts + 1] = {-1, -1, -1, -1, -1, -1, -1, -1, -1};

int peer_socket(int port) {
    if (peerSockets[port] >= 0) return peerSockets[port];
    const std::string name = "lacp-peer" + std::to_string(port);
    const int fd = socket(AF_PACKET, SOCK_RAW, 0);  // protocol 0: send only, receive nothing
    if (fd < 0) throw Failure("socket(AF_PACKET): " + std::string(std::strerror(errno)));
    sockaddr_ll addr{};
    addr.sll_family = AF_PACKET;
    addr.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
    if (addr.sll_ifindex == 0 || bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0)
        throw Failure("cannot bind a raw socket to " + name);
    peerSockets[port] = fd;
    return fd;
}

}  // namespace

Board* board = nullptr;

namespace {
uint64_t clock_ns(clockid_t clock) {
    timespec ts;
    clock_gettime(clock, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}
}  // namespace

uint64_t now_ns() { return clock_ns(CLOCK_MONOTONIC); }
uint64_t process_cpu_ns() { return clock_ns(CLOCK_PROCESS_CPUTIME_ID); }
uint64_t thread_cpu_ns() { return clock_ns(CLOCK_THREAD_CPUTIME_ID); }

void build_frame(uint8_t* out, uint8_t port, uint32_t seq) {
    std::memset(out, 0, kFrameLen);
    std::memcpy(out, kSlowProtocolsMac, 6);
    const uint8_t source[6] = {0x02, 0x00, 0x00, 0x00, 0x00, port};
    std::memcpy(out + 6, source, 6);
    out[12] = kSlowProtocols >> 8;
    out[13] = kSlowProtocols & 0xff;
    out[14] = 1;  // LACP
    out[15] = 1;  // version
    put32(out + kMarkerAt, kMarker);
    put32(out + kMarkerAt + 4, seq);
    out[kMarkerAt + 8] = port;
}

bool read_frame(const uint8_t* frame, std::size_t length, uint8_t* port, uint32_t* seq) {
    if (length < kMarkerAt + 9 || frame[12] != (kSlowProtocols >> 8) ||
        frame[13] != (kSlowProtocols & 0xff) || get32(frame + kMarkerAt) != kMarker)
        return false;
    *seq = get32(frame + kMarkerAt + 4);
    *port = frame[kMarkerAt + 8];
    return *port >= 1 && *port <= kPorts;
}

Board::Board(std::size_t stampSlots) : stamps_(stampSlots) {}

void Board::post(const uint8_t* frame, std::size_t length) {
    const uint64_t t = now_ns();
    uint8_t port = 0;
    uint32_t seq = 0;
    if (!read_frame(frame, length, &port, &seq)) return;
    if (seq < stamps_.size()) stamps_[seq].store(t, std::memory_order_relaxed);
    last_.store(t, std::memory_order_relaxed);
    delivered_[port].fetch_add(1, std::memory_order_relaxed);
    // Sequentially consistent, paired with target_ in wait_for: either the waiter sees this frame
    // counted before it sleeps, or this thread sees its target and wakes it.
    const uint64_t now = total_.fetch_add(1) + 1;
    if (now >= target_.load()) {
        std::lock_guard lock(mutex_);
        changed_.notify_all();
    }
}

uint64_t Board::wait_for(uint64_t target, uint64_t timeoutNs) {
    std::unique_lock lock(mutex_);
    target_.store(target);
    changed_.wait_for(lock, std::chrono::nanoseconds(timeoutNs), [&] { return total_.load() >= target; });
    target_.store(UINT64_MAX);
    return total_.load();
}

Memory memory_now() {
    Memory m;
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmSize:", 0) == 0) m.vmSizeKb = std::stod(line.substr(7));
        if (line.rfind("VmRSS:", 0) == 0) m.rssKb = std::stod(line.substr(6));
    }
    return m;
}

Rings rings_now() {
    Rings r;
    std::ifstream smaps("/proc/self/smaps");
    std::string line;
    bool inRing = false;
    while (std::getline(smaps, line)) {
        // A mapping's first line: "lo-hi perms offset dev inode [path]".
        const std::size_t dash = line.find('-');
        const bool header = dash != std::string::npos && dash > 0 && line.find(' ') > dash &&
                            std::isxdigit(static_cast<unsigned char>(line[0]));
        if (header) {
            inRing = line.find("socket:[") != std::string::npos;
            if (inRing) {
                const unsigned long long lo = std::stoull(line.substr(0, dash), nullptr, 16);
                const unsigned long long hi = std::stoull(line.substr(dash + 1), nullptr, 16);
                ++r.count;
                r.sizeKb += static_cast<double>(hi - lo) / 1024;
            }
        } else if (inRing && line.rfind("Rss:", 0) == 0) {
            r.rssKb += std::stod(line.substr(4));
        }
    }
    return r;
}

void send_from_peer(int port, const uint8_t* frame, std::size_t length) {
    if (send(peer_socket(port), frame, length, 0) != static_cast<ssize_t>(length))
        throw Failure("send on lacp-peer" + std::to_string(port) + ": " + std::strerror(errno));
}

Outcome run_child(const std::string& name, unsigned timeoutSec, const std::function<void(Values&)>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    int fds[2];
    if (pipe(fds) != 0) return {false, "pipe failed", {}};
    const pid_t pid = fork();
    if (pid < 0) return {false, "fork failed", {}};
    if (pid == 0) {
        close(fds[0]);
        alarm(timeoutSec);
        std::string report;
        try {
            std::string why;
            if (!esw_testbed::enter_private_netns(&why)) throw Failure("private network namespace: " + why);
            std::unique_ptr<esw_testbed::CaptureLab> lab = esw_testbed::CaptureLab::create(&why);
            if (!lab) throw Failure("capture lab: " + why);
            const int devNull = open("/dev/null", O_WRONLY);
            dup2(devNull, STDOUT_FILENO);
            Values values;
            body(values);
            std::ostringstream out;
            out.precision(17);
            for (const auto& [key, value] : values) out << key << ' ' << value << '\n';
            report = "ok\n" + out.str();
        } catch (const std::exception& e) {
            report = std::string("error ") + e.what() + "\n";
        }
        std::fflush(stdout);
        if (write(fds[1], report.data(), report.size()) < 0) _exit(2);
        _exit(0);  // the library's receive thread never stops; leave without running destructors
    }
    close(fds[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);

    Outcome outcome;
    std::istringstream in(text);
    std::string first;
    std::getline(in, first);
    if (first == "ok") {
        outcome.ok = true;
        std::string key;
        double value;
        while (in >> key >> value) outcome.values[key] = value;
    } else if (first.rfind("error ", 0) == 0) {
        outcome.error = first.substr(6);
    } else if (WIFSIGNALED(status)) {
        outcome.error = "killed by signal " + std::to_string(WTERMSIG(status)) +
                        (WTERMSIG(status) == SIGALRM ? " (timed out)" : "");
    } else {
        outcome.error = "no report";
    }
    if (!outcome.ok) std::fprintf(stderr, "%s: %s\n", name.c_str(), outcome.error.c_str());
    for (const auto& [key, value] : outcome.values)
        if (key.rfind(kSample, 0) != 0)
            std::fprintf(stderr, "%s: %s = %.6g\n", name.c_str(), key.c_str(), value);
    return outcome;
}

}  // namespace rig
