// The capture interfaces and the receive thread on real interfaces: frames written on the far
// side of each cable reach the host's callback, and CPU transmit puts frames on the cable. Every
// test runs in a forked child with its own namespace and lab, so capture handles and the receive
// thread (which never ends) die with the test.
#include <linux/if_packet.h>
#include <sys/select.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>

#include "tests/common/driver_test.h"
#include "tests/cpu/lab_support.h"
#include "tests/cpu/lacp_receiver.h"

namespace {

using esw_lab::ChildOptions;
using esw_lab::run_in_child;
using esw_test::ErrorFrom;
using esw_test::eventually;
using esw_test::Inbox;
using esw_test::lacp_frame;
using esw_test::nonzero_cpu_counters;
using esw_test::OpenMode;
using esw_test::ReceiverSetup;
using esw_test::start_receiver;
using esw_testbed::CaptureLab;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr ChildOptions kWithLab{.withLab = true};

std::string mode_test_name(const testing::TestParamInfo<OpenMode>& info) {
    return esw_test::mode_name(info.param);
}

class Receive : public testing::TestWithParam<OpenMode> {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_P(Receive, FramesFromEveryPeerReachTheCallbackWithTheirPortsInterfaceIndex) {
    const OpenMode mode = GetParam();
    run_in_child(kWithLab, [mode](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.mode = mode}));
        std::vector<std::vector<uint8_t>> sent;
        const auto start = esw_test::Clock::now();
        for (int p = 1; p <= 8; ++p) {
            sent.push_back(lacp_frame(60 + static_cast<size_t>(p), p));
            ASSERT_TRUE(lab->send_from_peer(p, sent.back().data(), sent.back().size()));
        }
        ASSERT_TRUE(Inbox::get().wait_for(8, 10s));
        std::vector<esw_test::Delivered> got = Inbox::get().deliveries();
        std::sort(got.begin(), got.end(), [](const auto& a, const auto& b) { return a.ifIndex < b.ifIndex; });
        std::vector<std::string> counters;
        for (int p = 1; p <= 8; ++p) {
            const auto& d = got[static_cast<size_t>(p - 1)];
            EXPECT_EQ(d.ifIndex, sim::if_index(1, p));
            EXPECT_EQ(d.bytes, sent[static_cast<size_t>(p - 1)]) << "port " << p;
            counters.push_back(std::to_string(p) + ".rxPackets=1");
            counters.push_back(std::to_string(p) + ".rxBytes=" + std::to_string(60 + p));
        }
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAreArray(counters));
        EXPECT_THAT(sim::logs(), IsEmpty());
        const auto slowest = std::max_element(got.begin(), got.end(), [](const auto& a, const auto& b) {
                                 return a.at < b.at;
                             })->at;
        std::printf("receive latency (%s open): all 8 frames within %.3f ms\n", esw_test::mode_name(mode),
                    std::chrono::duration<double, std::milli>(slowest - start).count());
    });
}

TEST_P(Receive, FramesWaitingOnSeveralPortsAreDeliveredInPortOrderInOnePass) {
    const OpenMode mode = GetParam();
    run_in_child(kWithLab, [mode](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.mode = mode}));
        Inbox::get().hold_next();
        const std::vector<uint8_t> gate = lacp_frame(64, 7);
        ASSERT_TRUE(lab->send_from_peer(7, gate.data(), gate.size()));
        ASSERT_TRUE(Inbox::get().wait_holding(10s));

        // While the receive thread is held in the callback, frames pile up on four ports.
        const int waiting[] = {6, 2, 8, 4};
        for (int p : waiting) {
            const std::vector<uint8_t> frame = lacp_frame(64, p);
            ASSERT_TRUE(lab->send_from_peer(p, frame.data(), frame.size()));
        }
        ASSERT_TRUE(eventually([&] {
            fd_set set;
            FD_ZERO(&set);
            int maxFd = -1;
            for (int p : waiting) {
                const int fd = lacpCaptureIfs[p - 1].fd;
                FD_SET(fd, &set);
                maxFd = std::max(maxFd, fd);
            }
            timeval none{0, 0};
            return select(maxFd + 1, &set, nullptr, nullptr, &none) == 4;
        })) << "the frames never became readable";
        Inbox::get().release();

        ASSERT_TRUE(Inbox::get().wait_for(5, 10s));
        std::vector<uint32_t> order;
        for (const auto& d : Inbox::get().deliveries()) order.push_back(d.ifIndex);
        EXPECT_THAT(order, ElementsAre(1007u, 1002u, 1004u, 1006u, 1008u));
    });
}

TEST_P(Receive, LongestFrameIsDeliveredWholeAndALongerOneDroppedWithoutCount) {
    const OpenMode mode = GetParam();
    run_in_child(kWithLab, [mode](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.mode = mode}));
        const std::vector<uint8_t> longest = lacp_frame(1522, 3);
        ASSERT_TRUE(lab->send_from_peer(3, longest.data(), longest.size()));
        ASSERT_TRUE(Inbox::get().wait_for(1, 10s));
        EXPECT_EQ(Inbox::get().deliveries()[0].bytes, longest);

        const std::vector<uint8_t> tooLong = lacp_frame(1523, 3);
        ASSERT_TRUE(lab->send_from_peer(3, tooLong.data(), tooLong.size()));
        ASSERT_TRUE(eventually([] { return esw_test::logs_mentioning("capture_lacp_packet") > 0; }));
        EXPECT_THAT(sim::logs(),
                    ElementsAre(ErrorFrom("mrvl_periodot_init", {"capture_lacp_packet", "1523", "1522"})));
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("3.rxPackets=1", "3.rxBytes=1522"));

        // The port is still serviced afterwards.
        const std::vector<uint8_t> next = lacp_frame(60, 3, 9);
        ASSERT_TRUE(lab->send_from_peer(3, next.data(), next.size()));
        ASSERT_TRUE(Inbox::get().wait_for(2, 10s));
        EXPECT_EQ(Inbox::get().deliveries()[1].bytes, next);
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("3.rxPackets=2", "3.rxBytes=1582"));
    });
}

// The dropped frame leaves port 2 marked ready, so every later pass reads port 2 again; that read
// must come back at once instead of waiting for a frame on port 2.
TEST_P(Receive, ADroppedFrameOnOnePortDoesNotHoldUpTheNext) {
    const OpenMode mode = GetParam();
    run_in_child(kWithLab, [mode](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.mode = mode}));
        for (const LacpCaptureIf& rec : lacpCaptureIfs) {
            char errbuf[PCAP_ERRBUF_SIZE] = {};
            EXPECT_EQ(pcap_getnonblock(rec.pcap, errbuf), 1) << rec.ifName;
        }
        const std::vector<uint8_t> tooLong = lacp_frame(2000, 2);
        ASSERT_TRUE(lab->send_from_peer(2, tooLong.data(), tooLong.size()));
        ASSERT_TRUE(eventually([] { return esw_test::logs_mentioning("capture_lacp_packet") > 0; }));
        EXPECT_EQ(lacpCaptureIfs[1].ready, 1u);

        const std::vector<uint8_t> frame = lacp_frame(60, 5);
        const auto sentAt = esw_test::Clock::now();
        ASSERT_TRUE(lab->send_from_peer(5, frame.data(), frame.size()));
        ASSERT_TRUE(Inbox::get().wait_for(1, 10s));
        const esw_test::Delivered d = Inbox::get().deliveries()[0];
        EXPECT_EQ(d.ifIndex, 1005u);
        EXPECT_EQ(d.bytes, frame);
        std::printf("receive latency (%s open) behind a dropped frame: %.3f ms\n", esw_test::mode_name(mode),
                    std::chrono::duration<double, std::milli>(d.at - sentAt).count());
    });
}

INSTANTIATE_TEST_SUITE_P(Modes, Receive, testing::Values(OpenMode::standard, OpenMode::immediate),
                         mode_test_name);

class ReceiveWithoutCallback : public testing::Test {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_F(ReceiveWithoutCallback, FramesAreCountedAsDropsOfTheirPort) {
    run_in_child(kWithLab, [](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.callbackOnCpuChannel = false}));
        const std::vector<uint8_t> frame = lacp_frame(60, 4);
        ASSERT_TRUE(lab->send_from_peer(4, frame.data(), frame.size()));
        ASSERT_TRUE(eventually([] { return !nonzero_cpu_counters().empty(); }));
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("4.rxDrops=1"));
        EXPECT_THAT(sim::logs(), IsEmpty());
    });
}

TEST_F(ReceiveWithoutCallback, ACallbackOnAnotherHandleIsNeverCalled) {
    run_in_child(kWithLab, [](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.callbackOnCpuChannel = false}));
        ASSERT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_REG_CPU_RX_CALLBACK,
                                 reinterpret_cast<void*>(&Inbox::callback)),
                  0);
        const std::vector<uint8_t> frame = lacp_frame(60, 3);
        ASSERT_TRUE(lab->send_from_peer(3, frame.data(), frame.size()));
        ASSERT_TRUE(eventually([] { return !nonzero_cpu_counters().empty(); }));
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("3.rxDrops=1"));
        EXPECT_THAT(Inbox::get().deliveries(), IsEmpty());
    });
}

// ---- opening ---------------------------------------------------------------------------------

int packet_version(int fd) {
    int version = -1;
    socklen_t size = sizeof version;
    return getsockopt(fd, SOL_PACKET, PACKET_VERSION, &version, &size) == 0 ? version : -1;
}

class Open : public Receive {};

TEST_P(Open, GivesEveryRecordANonBlockingHandleWithTheFullSnapshot) {
    const OpenMode mode = GetParam();
    run_in_child(kWithLab, [mode](CaptureLab*) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.mode = mode, .startThread = false}));
        int highest = -1;
        for (int p = 1; p <= 8; ++p) {
            const LacpCaptureIf& rec = lacpCaptureIfs[p - 1];
            ASSERT_NE(rec.pcap, nullptr) << p;
            char errbuf[PCAP_ERRBUF_SIZE] = {};
            EXPECT_EQ(pcap_snapshot(rec.pcap), 65536);
            EXPECT_EQ(pcap_getnonblock(rec.pcap, errbuf), 1);
            EXPECT_EQ(pcap_datalink(rec.pcap), DLT_EN10MB);
            EXPECT_EQ(rec.fd, pcap_get_selectable_fd(rec.pcap));
            // libpcap reads in timed batches (TPACKET_V3) unless asked for immediate delivery.
            EXPECT_EQ(packet_version(rec.fd), mode == OpenMode::immediate ? TPACKET_V2 : TPACKET_V3);
            EXPECT_EQ(get_pcap_from_ifindex(sim::if_index(1, p)), rec.pcap);
            highest = std::max(highest, rec.fd);
        }
        EXPECT_EQ(lacpMaxFd, highest);
        EXPECT_EQ(get_pcap_from_ifindex(sim::if_index(1, 9)), nullptr);
        EXPECT_THAT(sim::logs(), IsEmpty());

        // A second open keeps the handles it already has.
        pcap_t* before[8];
        for (int i = 0; i < 8; ++i) before[i] = lacpCaptureIfs[i].pcap;
        EXPECT_EQ(open_all_lacp_interfaces(), 0);
        for (int i = 0; i < 8; ++i) EXPECT_EQ(lacpCaptureIfs[i].pcap, before[i]);
    });
}

INSTANTIATE_TEST_SUITE_P(Modes, Open, testing::Values(OpenMode::standard, OpenMode::immediate),
                         mode_test_name);

struct MissingCase {
    OpenMode mode;
    int port;
};

std::ostream& operator<<(std::ostream& os, const MissingCase& c) {
    return os << esw_test::mode_name(c.mode) << " without port " << c.port;
}

class OpenWithoutAnInterface : public testing::TestWithParam<MissingCase> {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_P(OpenWithoutAnInterface, StopsAtTheMissingOneAndKeepsTheEarlierOpen) {
    const MissingCase c = GetParam();
    run_in_child(kWithLab, [c](CaptureLab*) {
        const std::string name = esw_testbed::capture_name(c.port);
        ASSERT_TRUE(esw_test::rename_interface(name, "gone" + std::to_string(c.port)));
        if (c.mode == OpenMode::immediate)
            ::setenv(esw::kLacpImmediateEnv, "1", 1);
        else
            ::unsetenv(esw::kLacpImmediateEnv);
        sim::reset();
        init_lacp_interfaces();
        sim::clear_logs();

        EXPECT_EQ(open_all_lacp_interfaces(), 1);
        EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"open_all_lacp_interfaces",
                                                                              name, "No such device"})));
        int highest = -1;
        for (int p = 1; p <= 8; ++p) {
            const LacpCaptureIf& rec = lacpCaptureIfs[p - 1];
            if (p < c.port) {
                EXPECT_NE(rec.pcap, nullptr) << p;
                EXPECT_GE(rec.fd, 0) << p;
                highest = std::max(highest, rec.fd);
            } else {
                EXPECT_EQ(rec.pcap, nullptr) << p;
                EXPECT_EQ(rec.fd, -1) << p;
            }
        }
        EXPECT_EQ(lacpMaxFd, highest);
    });
}

INSTANTIATE_TEST_SUITE_P(
    Ports, OpenWithoutAnInterface,
    testing::Values(MissingCase{OpenMode::standard, 1}, MissingCase{OpenMode::standard, 5},
                    MissingCase{OpenMode::immediate, 5}, MissingCase{OpenMode::immediate, 8}),
    [](const testing::TestParamInfo<MissingCase>& info) {
        return std::string(esw_test::mode_name(info.param.mode)) + "_port" + std::to_string(info.param.port);
    });

// ---- the wait and the loop -------------------------------------------------------------------

class Wait : public testing::Test {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_F(Wait, MarksTheReadableInterfacesAndLeavesEarlierMarks) {
    run_in_child(kWithLab, [](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.startThread = false}));
        lacpCaptureIfs[2].ready = 1;
        const std::vector<uint8_t> frame = lacp_frame(60, 5);
        ASSERT_TRUE(lab->send_from_peer(5, frame.data(), frame.size()));
        EXPECT_EQ(wait_lacp_interfaces(lacpMaxFd), 1);
        std::vector<uint32_t> ready;
        for (const LacpCaptureIf& rec : lacpCaptureIfs) ready.push_back(rec.ready);
        EXPECT_THAT(ready, ElementsAre(0u, 0u, 1u, 0u, 1u, 0u, 0u, 0u));
    });
}

// A descriptor that went bad makes every wait fail at once; the loop must not spin on it.
TEST_F(Wait, AWaitThatKeepsFailingIsPaced) {
    run_in_child({}, [](CaptureLab*) {
        sim::reset();
        const int bad = dup(0);
        ASSERT_GE(bad, 0);
        close(bad);
        for (LacpCaptureIf& rec : lacpCaptureIfs) rec.fd = bad;
        lacpMaxFd = bad;
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, nullptr, &rx_poll_task, nullptr), 0);
        ASSERT_TRUE(eventually([] { return esw_test::logs_mentioning("rx_poll_task") >= 3; }));
        const size_t before = esw_test::logs_mentioning("rx_poll_task");
        std::this_thread::sleep_for(300ms);
        const size_t during = esw_test::logs_mentioning("rx_poll_task") - before;
        // At most one failed wait per 10 ms pause: 30 in 300 ms, a spinning loop makes thousands.
        EXPECT_LE(during, 31u);
        EXPECT_THAT(sim::logs()[0], ErrorFrom("mrvl_periodot_init", {"rx_poll_task", "result -1"}));
    });
}

// ---- transmit ------------------------------------------------------------------------------

struct TxCase {
    const char* name;
    int port;                         // the record whose interface is used
    std::optional<uint32_t> ifIndex;  // replaces that record's interface index
    uint32_t requestIfIndex;
    uint8_t linkPort;  // port whose cable is plugged (0: none)
    size_t length;
    std::optional<sim::Fault> fault;
    int32_t result;
    bool onCable;
    std::vector<std::string> counters;
};

std::ostream& operator<<(std::ostream& os, const TxCase& c) { return os << c.name; }

std::vector<std::string> tx_journal(uint32_t ifIndex, uint32_t port) {
    const std::string i = std::to_string(ifIndex);
    return {"if_index_phy_eth_get_slot(" + i + ", ptr)", "if_index_phy_eth_get_port(" + i + ", ptr)",
            "peridot_get_link_state(0, " + std::to_string(port) + ", ptr)"};
}

const TxCase kTxCases[] = {
    {"link_up", 3, {}, 1003, 3, 64, {}, 0, true, {"3.txPackets=1", "3.txBytes=64"}},
    {"longest_frame", 8, {}, 1008, 8, 1522, {}, 0, true, {"8.txPackets=1", "8.txBytes=1522"}},
    {"link_down", 5, {}, 1005, 0, 64, {}, 0, false, {"5.txDrops=1"}},
    {"link_query_fails",
     6,
     {},
     1006,
     6,
     64,
     sim::Fault{.call = "peridot_get_link_state", .result = 0},
     -1,
     false,
     {"6.txDrops=1"}},
    {"slot0_counted_in_entry0", 1, 5u, 5, 5, 64, {}, 0, true, {"0.txPackets=1", "0.txBytes=64"}},
    {"slot2_port9_counted_in_entry0", 2, 2009u, 2009, 9, 64, {}, 0, true, {"0.txPackets=1", "0.txBytes=64"}},
};

class Transmit : public testing::TestWithParam<TxCase> {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_P(Transmit, SendsTheRequestsBytesOnTheCableWhenTheLinkIsUp) {
    const TxCase c = GetParam();
    run_in_child(kWithLab, [c](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.startThread = false}));
        if (c.ifIndex) lacpCaptureIfs[c.port - 1].ifIndex = *c.ifIndex;
        if (c.linkPort != 0) sim::plug(c.linkPort);
        if (c.fault) sim::inject(*c.fault);
        lab->drain_peer(c.port);
        sim::clear_journal();

        const std::vector<uint8_t> frame = lacp_frame(c.length, c.port);
        std::vector<uint8_t> request(6 + c.length);
        const auto length = static_cast<uint16_t>(c.length);
        std::memcpy(request.data(), &c.requestIfIndex, 4);
        std::memcpy(request.data() + 4, &length, 2);
        std::memcpy(request.data() + 6, frame.data(), frame.size());
        EXPECT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CPU_TX, request.data()), c.result);

        const uint32_t resolvedPort = c.requestIfIndex % 1000;
        EXPECT_THAT(sim::journal(), ElementsAreArray(tx_journal(c.requestIfIndex, resolvedPort)));
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAreArray(c.counters));
        const auto got = lab->receive_on_peer(c.port, c.onCable ? 5000ms : 200ms);
        if (c.onCable) {
            ASSERT_TRUE(got.has_value());
            EXPECT_EQ(*got, frame);
        } else {
            EXPECT_FALSE(got.has_value());
        }
        for (const sim::LogRecord& rec : sim::logs())
            EXPECT_EQ(rec.location.find("peridot_cpu"), std::string::npos);
    });
}

INSTANTIATE_TEST_SUITE_P(Cases, Transmit, testing::ValuesIn(kTxCases),
                         [](const testing::TestParamInfo<TxCase>& info) {
                             return std::string(info.param.name);
                         });

class TransmitFailure : public testing::Test {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_F(TransmitFailure, AFailedSendIsLoggedAndCountedButTheCommandSucceeds) {
    run_in_child(kWithLab, [](CaptureLab*) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.startThread = false}));
        sim::plug(2);
        ASSERT_TRUE(esw_test::set_interface_flags("lacp-swp2", false));
        uint8_t request[6 + 64] = {};
        const uint32_t ifIndex = 1002;
        const uint16_t length = 64;
        std::memcpy(request, &ifIndex, 4);
        std::memcpy(request + 4, &length, 2);
        EXPECT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CPU_TX, request), 0);
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("2.txDrops=1"));
        EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom("peridot_cpu", {"mrvl_esw_ioctl_cpu_tx", "1002"})));
    });
}

TEST_F(TransmitFailure, AnInterfaceIndexWithoutCaptureInterfaceIsRefusedUncounted) {
    run_in_child(kWithLab, [](CaptureLab*) {
        ASSERT_NO_FATAL_FAILURE(start_receiver({.startThread = false}));
        sim::plug(9);
        uint8_t request[6 + 64] = {};
        const uint32_t ifIndex = 1009;
        const uint16_t length = 64;
        std::memcpy(request, &ifIndex, 4);
        std::memcpy(request + 4, &length, 2);
        EXPECT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CPU_TX, request), -1);
        EXPECT_THAT(nonzero_cpu_counters(), IsEmpty());
        EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom("peridot_cpu", {"mrvl_esw_ioctl_cpu_tx", "1009"})));
        EXPECT_THAT(sim::journal(), ElementsAre("if_index_phy_eth_get_slot(1009, ptr)",
                                                "if_index_phy_eth_get_port(1009, ptr)"));
    });
}

}  // namespace
