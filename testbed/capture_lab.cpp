#include "testbed/capture_lab.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace esw_testbed {

namespace {

constexpr std::size_t kMaxFrame = 65536;
constexpr std::size_t kNetlinkBuffer = 8192;  // one request or acknowledgement

std::string errno_text(std::string_view what, int error) {
    return std::string(what) + ": " + std::strerror(error);
}

void fail(std::string* why, std::string text) {
    if (why != nullptr) *why = std::move(text);
}

// Writes text to a /proc file; ENOENT is reported as success when `optional` is set.
bool write_proc(const std::string& path, std::string_view text, bool optional, std::string* why) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        if (optional && errno == ENOENT) return true;
        fail(why, errno_text("open " + path, errno));
        return false;
    }
    const ssize_t written = ::write(fd, text.data(), text.size());
    const int error = errno;
    ::close(fd);
    if (written != static_cast<ssize_t>(text.size())) {
        fail(why, errno_text("write " + path, written < 0 ? error : EIO));
        return false;
    }
    return true;
}

// One rtnetlink request with its acknowledgement.
class Request {
public:
    Request(uint16_t type, uint16_t flags, uint32_t sequence) {
        nlh_ = mnl_nlmsg_put_header(buffer_);
        nlh_->nlmsg_type = type;
        nlh_->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | flags;
        nlh_->nlmsg_seq = sequence;
        link_ = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(nlh_, sizeof(ifinfomsg)));
        link_->ifi_family = AF_UNSPEC;
    }
    nlmsghdr* nlh() { return nlh_; }
    ifinfomsg* link() { return link_; }

    // A bare ifinfomsg inside the current nest (the veth peer's own link header).
    void put_link_header() {
        auto* inner = reinterpret_cast<ifinfomsg*>(static_cast<char*>(mnl_nlmsg_get_payload_tail(nlh_)));
        std::memset(inner, 0, sizeof *inner);
        inner->ifi_family = AF_UNSPEC;
        nlh_->nlmsg_len += MNL_ALIGN(sizeof(ifinfomsg));
    }

    // Sends the request and waits for its acknowledgement; 0 or the kernel's errno.
    int run(mnl_socket* socket) {
        if (mnl_socket_sendto(socket, nlh_, nlh_->nlmsg_len) < 0) return errno;
        const unsigned portId = mnl_socket_get_portid(socket);
        for (;;) {
            const ssize_t got = mnl_socket_recvfrom(socket, buffer_, sizeof buffer_);
            if (got < 0) return errno;
            const int status =
                mnl_cb_run(buffer_, static_cast<size_t>(got), nlh_->nlmsg_seq, portId, nullptr, nullptr);
            if (status == MNL_CB_ERROR) return errno;
            if (status == MNL_CB_STOP) return 0;
        }
    }

private:
    alignas(nlmsghdr) char buffer_[kNetlinkBuffer];
    nlmsghdr* nlh_;
    ifinfomsg* link_;
};

int create_pair(mnl_socket* socket, uint32_t sequence, const std::string& name, const std::string& peer) {
    Request request(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, sequence);
    nlmsghdr* nlh = request.nlh();
    mnl_attr_put_strz(nlh, IFLA_IFNAME, name.c_str());
    mnl_attr_put_u32(nlh, IFLA_MTU, kLabMtu);
    nlattr* linkInfo = mnl_attr_nest_start(nlh, IFLA_LINKINFO);
    mnl_attr_put_strz(nlh, IFLA_INFO_KIND, "veth");
    nlattr* data = mnl_attr_nest_start(nlh, IFLA_INFO_DATA);
    nlattr* peerInfo = mnl_attr_nest_start(nlh, VETH_INFO_PEER);
    request.put_link_header();
    mnl_attr_put_strz(nlh, IFLA_IFNAME, peer.c_str());
    mnl_attr_put_u32(nlh, IFLA_MTU, kLabMtu);
    mnl_attr_nest_end(nlh, peerInfo);
    mnl_attr_nest_end(nlh, data);
    mnl_attr_nest_end(nlh, linkInfo);
    return request.run(socket);
}

int delete_link(mnl_socket* socket, uint32_t sequence, const std::string& name) {
    Request request(RTM_DELLINK, 0, sequence);
    mnl_attr_put_strz(request.nlh(), IFLA_IFNAME, name.c_str());
    return request.run(socket);
}

int set_up(mnl_socket* socket, uint32_t sequence, const std::string& name) {
    const unsigned index = if_nametoindex(name.c_str());
    if (index == 0) return errno != 0 ? errno : ENODEV;
    Request request(RTM_NEWLINK, 0, sequence);
    request.link()->ifi_index = static_cast<int>(index);
    request.link()->ifi_flags = IFF_UP;
    request.link()->ifi_change = IFF_UP;
    return request.run(socket);
}

// Without IPv6 the interfaces stay silent when they come up: no router solicitations and no
// duplicate-address probes reach the driver's capture. A kernel without IPv6 is silent anyway.
bool disable_ipv6(const std::string& name, std::string* why) {
    return write_proc("/proc/sys/net/ipv6/conf/" + name + "/disable_ipv6", "1", true, why);
}

// A raw socket that sees only what arrives on the interface: bound before it hooks any traffic
// (protocol 0 at creation), outgoing copies of its own sends ignored.
int open_peer_socket(const std::string& name, std::string* why) {
    const unsigned index = if_nametoindex(name.c_str());
    if (index == 0) {
        fail(why, errno_text("if_nametoindex " + name, errno));
        return -1;
    }
    const int fd = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        fail(why, errno_text("AF_PACKET socket", errno));
        return -1;
    }
    const int one = 1;
    (void)::setsockopt(fd, SOL_PACKET, PACKET_IGNORE_OUTGOING, &one,
                       sizeof one);  // older kernels: filtered below
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(index);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail(why, errno_text("bind to " + name, errno));
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

std::string capture_name(int port) { return "lacp-swp" + std::to_string(port); }
std::string peer_name(int port) { return "lacp-peer" + std::to_string(port); }

bool enter_private_netns(std::string* why) {
    if (geteuid() == 0) {
        if (::unshare(CLONE_NEWNET) == 0) return true;
        if (errno != EPERM) {
            fail(why, errno_text("unshare(CLONE_NEWNET)", errno));
            return false;
        }
        // Root without CAP_SYS_ADMIN (a restricted container): a user namespace may still work.
    }
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        fail(why, errno_text("unshare(CLONE_NEWUSER|CLONE_NEWNET)", errno));
        return false;
    }
    return write_proc("/proc/self/setgroups", "deny", true, why) &&
           write_proc("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1", false, why) &&
           write_proc("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1", false, why);
}

std::unique_ptr<CaptureLab> CaptureLab::create(std::string* why) {
    std::unique_ptr<CaptureLab> lab(new CaptureLab());
    lab->netlink_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
    if (lab->netlink_ == nullptr) {
        fail(why, errno_text("netlink socket", errno));
        return nullptr;
    }
    if (mnl_socket_bind(lab->netlink_, 0, MNL_SOCKET_AUTOPID) < 0) {
        fail(why, errno_text("netlink bind", errno));
        return nullptr;
    }
    // Pairs left behind by an earlier lab in this namespace would make creation fail.
    for (int port = 1; port <= kLabPorts; ++port)
        (void)delete_link(lab->netlink_, ++lab->sequence_, capture_name(port));
    lab->pairsCreated_ = true;
    if (const int error = set_up(lab->netlink_, ++lab->sequence_, "lo"); error != 0) {
        fail(why, errno_text("set lo up", error));
        return nullptr;
    }
    for (int port = 1; port <= kLabPorts; ++port) {
        const std::string name = capture_name(port);
        const std::string peer = peer_name(port);
        if (const int error = create_pair(lab->netlink_, ++lab->sequence_, name, peer); error != 0) {
            fail(why, errno_text("create veth " + name + "/" + peer, error));
            return nullptr;
        }
        for (const std::string& end : {name, peer}) {
            if (!disable_ipv6(end, why)) return nullptr;
            if (const int error = set_up(lab->netlink_, ++lab->sequence_, end); error != 0) {
                fail(why, errno_text("set " + end + " up", error));
                return nullptr;
            }
        }
        lab->peerFds_[static_cast<std::size_t>(port - 1)] = open_peer_socket(peer, why);
        if (lab->peerFds_[static_cast<std::size_t>(port - 1)] < 0) return nullptr;
    }
    return lab;
}

CaptureLab::~CaptureLab() {
    for (int& fd : peerFds_) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
    if (netlink_ == nullptr) return;
    if (pairsCreated_)
        for (int port = 1; port <= kLabPorts; ++port)
            (void)delete_link(netlink_, ++sequence_, capture_name(port));
    mnl_socket_close(netlink_);
}

int CaptureLab::peer_fd(int port) const {
    if (port < 1 || port > kLabPorts) return -1;
    return peerFds_[static_cast<std::size_t>(port - 1)];
}

bool CaptureLab::send_from_peer(int port, const uint8_t* frame, size_t len) {
    const int fd = peer_fd(port);
    if (fd < 0 || (frame == nullptr && len != 0)) return false;
    return ::send(fd, frame, len, 0) == static_cast<ssize_t>(len);
}

std::optional<std::vector<uint8_t>> CaptureLab::receive_on_peer(int port, std::chrono::milliseconds timeout) {
    const int fd = peer_fd(port);
    if (fd < 0) return std::nullopt;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + timeout;
    std::vector<uint8_t> frame(kMaxFrame);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waiter{fd, POLLIN, 0};
        const int ready = ::poll(&waiter, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return std::nullopt;
        sockaddr_ll from{};
        socklen_t fromLength = sizeof from;
        const ssize_t got = ::recvfrom(fd, frame.data(), frame.size(), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr*>(&from), &fromLength);
        if (got < 0) {
            if (errno == EAGAIN || errno == EINTR) continue;
            return std::nullopt;
        }
        if (from.sll_pkttype == PACKET_OUTGOING) continue;
        frame.resize(static_cast<std::size_t>(got));
        return frame;
    }
}

void CaptureLab::drain_peer(int port) {
    const int fd = peer_fd(port);
    if (fd < 0) return;
    uint8_t scratch[2048];
    while (::recv(fd, scratch, sizeof scratch, MSG_DONTWAIT | MSG_TRUNC) >= 0) {
    }
}

}  // namespace esw_testbed
