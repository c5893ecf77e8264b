// The interface bench itself: eight quiet, cabled pairs that carry frames both ways.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/cpu/lab_support.h"
#include "tests/cpu/lacp_receiver.h"

namespace {

using esw_lab::ChildOptions;
using esw_lab::run_in_child;
using esw_test::lacp_frame;
using esw_testbed::capture_name;
using esw_testbed::CaptureLab;
using esw_testbed::peer_name;
using namespace std::chrono_literals;

class Lab : public testing::Test {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

struct InterfaceState {
    bool exists = false;
    bool up = false;
    int mtu = 0;
};

InterfaceState interface_state(const std::string& name) {
    InterfaceState state;
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
    if (::ioctl(fd, SIOCGIFFLAGS, &request) == 0) {
        state.exists = true;
        state.up = (request.ifr_flags & IFF_UP) != 0;
        if (::ioctl(fd, SIOCGIFMTU, &request) == 0) state.mtu = request.ifr_mtu;
    }
    ::close(fd);
    return state;
}

std::string ipv6_disabled(const std::string& name) {
    std::ifstream file("/proc/sys/net/ipv6/conf/" + name + "/disable_ipv6");
    std::string value;
    file >> value;
    return value;
}

// A raw socket on the capture side, as the driver would see the cable.
int capture_socket(const std::string& name) {
    const int fd = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
    EXPECT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << name;
    return fd;
}

// The next incoming frame on a raw socket, skipping copies of its own sends.
std::optional<std::vector<uint8_t>> next_incoming(int fd, bool wait) {
    std::vector<uint8_t> frame(65536);
    for (;;) {
        sockaddr_ll from{};
        socklen_t size = sizeof from;
        if (wait) {
            timeval timeout{5, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        }
        const ssize_t got = ::recvfrom(fd, frame.data(), frame.size(), wait ? 0 : MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr*>(&from), &size);
        if (got < 0) return std::nullopt;
        if (from.sll_pkttype == PACKET_OUTGOING) continue;
        frame.resize(static_cast<size_t>(got));
        return frame;
    }
}

TEST_F(Lab, EnteringAPrivateNamespaceLeavesTheCallersOwn) {
    run_in_child({}, [](CaptureLab*) {
        struct stat before {};
        struct stat after {};
        ASSERT_EQ(::stat("/proc/self/ns/net", &before), 0);
        std::string why;
        ASSERT_TRUE(esw_testbed::enter_private_netns(&why)) << why;
        ASSERT_EQ(::stat("/proc/self/ns/net", &after), 0);
        EXPECT_NE(before.st_ino, after.st_ino);
        EXPECT_FALSE(interface_state("lo").up);  // a new namespace starts with lo down
    });
}

TEST_F(Lab, CreatesEightUpCabledPairsWithoutIpv6) {
    run_in_child({.freshNetns = true}, [](CaptureLab*) {
        std::string why;
        std::unique_ptr<CaptureLab> lab = CaptureLab::create(&why);
        ASSERT_NE(lab, nullptr) << why;
        EXPECT_TRUE(interface_state("lo").up);
        const bool haveIpv6 = ::access("/proc/sys/net/ipv6", F_OK) == 0;
        for (int p = 1; p <= 8; ++p)
            for (const std::string& name : {capture_name(p), peer_name(p)}) {
                const InterfaceState state = interface_state(name);
                EXPECT_TRUE(state.exists) << name;
                EXPECT_TRUE(state.up) << name;
                EXPECT_EQ(state.mtu, static_cast<int>(esw_testbed::kLabMtu)) << name;
                if (haveIpv6) {
                    EXPECT_EQ(ipv6_disabled(name), "1") << name;
                }
            }
        EXPECT_FALSE(interface_state("lacp-swp9").exists);

        lab.reset();
        for (int p = 1; p <= 8; ++p) {
            EXPECT_FALSE(interface_state(capture_name(p)).exists) << p;
            EXPECT_FALSE(interface_state(peer_name(p)).exists) << p;
        }
    });
}

TEST_F(Lab, CarriesFramesBothWaysOnEachCableOnly) {
    run_in_child({.withLab = true}, [](CaptureLab* lab) {
        for (int p = 1; p <= 8; ++p) {
            const int capture = capture_socket(capture_name(p));
            const std::vector<uint8_t> toDriver = lacp_frame(60, p);
            ASSERT_TRUE(lab->send_from_peer(p, toDriver.data(), toDriver.size()));
            EXPECT_EQ(next_incoming(capture, true), toDriver) << p;

            const std::vector<uint8_t> fromDriver = lacp_frame(1600, p, 1);
            ASSERT_EQ(::send(capture, fromDriver.data(), fromDriver.size(), 0),
                      static_cast<ssize_t>(fromDriver.size()));
            EXPECT_EQ(lab->receive_on_peer(p, 5s), fromDriver) << p;
            EXPECT_EQ(lab->receive_on_peer(p, 0ms), std::nullopt) << "own send echoed on " << p;
            ::close(capture);
        }
        const std::vector<uint8_t> frame = lacp_frame(60, 1);
        EXPECT_FALSE(lab->send_from_peer(0, frame.data(), frame.size()));
        EXPECT_FALSE(lab->send_from_peer(9, frame.data(), frame.size()));
        EXPECT_EQ(lab->receive_on_peer(9, 0ms), std::nullopt);
    });
}

TEST_F(Lab, DrainingDiscardsWhatWaitsOnAPeer) {
    run_in_child({.withLab = true}, [](CaptureLab* lab) {
        const int capture = capture_socket(capture_name(4));
        for (int i = 0; i < 3; ++i) {
            const std::vector<uint8_t> frame = lacp_frame(60, 4, static_cast<uint8_t>(i));
            ASSERT_EQ(::send(capture, frame.data(), frame.size(), 0), 60);
        }
        ASSERT_TRUE(lab->receive_on_peer(4, 5s).has_value());
        std::this_thread::sleep_for(50ms);
        lab->drain_peer(4);
        EXPECT_EQ(lab->receive_on_peer(4, 0ms), std::nullopt);
        ::close(capture);
    });
}

// Nothing but the tests' own frames may reach the driver's capture.
TEST_F(Lab, StaysQuietAfterComingUp) {
    run_in_child({.freshNetns = true}, [](CaptureLab*) {
        std::string why;
        std::unique_ptr<CaptureLab> lab = CaptureLab::create(&why);
        ASSERT_NE(lab, nullptr) << why;
        std::vector<int> captures;
        for (int p = 1; p <= 8; ++p) captures.push_back(capture_socket(capture_name(p)));
        std::this_thread::sleep_for(1500ms);
        for (int p = 1; p <= 8; ++p) {
            EXPECT_EQ(next_incoming(captures[static_cast<size_t>(p - 1)], false), std::nullopt) << p;
            EXPECT_EQ(lab->receive_on_peer(p, 0ms), std::nullopt) << p;
            ::close(captures[static_cast<size_t>(p - 1)]);
        }
    });
}

}  // namespace
