// The CPU path without interfaces: receive dispatch, per-frame copy, callback registration, the
// counters and the transmit checks that come before any capture handle is needed.
#include <pcap/pcap.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include "cpu/lacp_capture.h"
#include "driver/internal.h"
#include "tests/common/driver_test.h"
#include "tests/cpu/cpu_counters.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using esw_test::nonzero_cpu_counters;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct Delivery {
    uint32_t ifIndex;
    uint16_t length;
    const uint8_t* frame;
    std::vector<uint8_t> bytes;
};
std::vector<Delivery> deliveries;  // the command thread's own calls only
std::vector<Delivery> otherDeliveries;

int32_t record_delivery(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    deliveries.push_back({ifIndex, length, frame, std::vector<uint8_t>(frame, frame + length)});
    return 7;  // ignored by the dispatch
}
int32_t record_other(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    otherDeliveries.push_back({ifIndex, length, frame, {}});
    return 0;
}

std::vector<uint8_t> pattern(size_t length, uint8_t seed) {
    std::vector<uint8_t> bytes(length);
    for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<uint8_t>(seed + i * 7);
    return bytes;
}

class CpuPathTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        mrvl_cpu_clear_stats();
        deliveries.clear();
        otherDeliveries.clear();
        cpu_ = open_path("mrvl_switch/cpu/10");
        port3_ = open_port(3);
        sim::set_cpu_channel(cpu_);
    }
    void TearDown() override {
        mrvl_cpu_clear_stats();
        DriverTest::TearDown();
    }
    void register_on(EswFrameworkHandle* handle, EswRxCallback callback) {
        ASSERT_EQ(ioctl(handle, IOCTL_SW_REG_CPU_RX_CALLBACK, reinterpret_cast<void*>(callback)), 0);
    }

    EswFrameworkHandle* cpu_ = nullptr;
    EswFrameworkHandle* port3_ = nullptr;
};

// ---- receive dispatch ------------------------------------------------------------------------

enum class Channel { cpu_callback, cpu_no_callback, callback_on_port_handle_only, null_handle, null_priv };

struct RxCase {
    const char* name;
    uint32_t ifIndex;
    Channel channel;
    std::optional<sim::Fault> fault;
    std::vector<std::string> journal;
    std::vector<std::string> counters;
    bool delivered;
};

std::ostream& operator<<(std::ostream& os, const RxCase& c) { return os << c.name; }

std::vector<std::string> resolved(uint32_t ifIndex) {
    const std::string i = std::to_string(ifIndex);
    return {"get_channel_cpu_port()", "if_index_phy_eth_get_slot(" + i + ", ptr)",
            "if_index_phy_eth_get_port(" + i + ", ptr)"};
}

const RxCase kRxCases[] = {
    {"port3", 1003, Channel::cpu_callback, {}, resolved(1003), {"3.rxPackets=1", "3.rxBytes=60"}, true},
    {"port8", 1008, Channel::cpu_callback, {}, resolved(1008), {"8.rxPackets=1", "8.rxBytes=60"}, true},
    {"slot2_port8_last_entry",
     2008,
     Channel::cpu_callback,
     {},
     resolved(2008),
     {"24.rxPackets=1", "24.rxBytes=60"},
     true},
    {"slot2_port9_outside_table",
     2009,
     Channel::cpu_callback,
     {},
     resolved(2009),
     {"0.rxPackets=1", "0.rxBytes=60"},
     true},
    {"slot0_outside_table",
     5,
     Channel::cpu_callback,
     {},
     resolved(5),
     {"0.rxPackets=1", "0.rxBytes=60"},
     true},
    {"slot3_outside_table",
     3001,
     Channel::cpu_callback,
     {},
     resolved(3001),
     {"0.rxPackets=1", "0.rxBytes=60"},
     true},
    {"no_callback", 1005, Channel::cpu_no_callback, {}, resolved(1005), {"5.rxDrops=1"}, false},
    {"callback_on_other_handle",
     1003,
     Channel::callback_on_port_handle_only,
     {},
     resolved(1003),
     {"3.rxDrops=1"},
     false},
    {"if_index_zero", 0, Channel::cpu_callback, {}, {"get_channel_cpu_port()"}, {"0.rxDrops=1"}, false},
    {"slot_unresolved",
     1003,
     Channel::cpu_callback,
     sim::Fault{.call = "if_index_phy_eth_get_slot", .result = -1},
     {"get_channel_cpu_port()", "if_index_phy_eth_get_slot(1003, ptr)"},
     {"0.rxDrops=1"},
     false},
    {"port_unresolved",
     1003,
     Channel::cpu_callback,
     sim::Fault{.call = "if_index_phy_eth_get_port", .result = -1},
     resolved(1003),
     {"0.rxDrops=1"},
     false},
    {"no_cpu_channel", 1003, Channel::null_handle, {}, resolved(1003), {"0.rxDrops=1"}, false},
    {"cpu_channel_without_record", 1003, Channel::null_priv, {}, resolved(1003), {"0.rxDrops=1"}, false},
};

class RxDispatch : public CpuPathTest, public testing::WithParamInterface<RxCase> {};

TEST_P(RxDispatch, CountsTheFrameAndCallsTheCpuChannelsCallback) {
    const RxCase& c = GetParam();
    EswFrameworkHandle bare{nullptr, nullptr};
    switch (c.channel) {
        case Channel::cpu_callback:
            register_on(cpu_, record_delivery);
            break;
        case Channel::cpu_no_callback:
            break;
        case Channel::callback_on_port_handle_only:
            register_on(port3_, record_other);
            break;
        case Channel::null_handle:
            register_on(cpu_, record_delivery);
            sim::set_cpu_channel(nullptr);
            break;
        case Channel::null_priv:
            register_on(cpu_, record_delivery);
            sim::set_cpu_channel(&bare);
            break;
    }
    if (c.fault) sim::inject(*c.fault);
    forget();

    std::vector<uint8_t> frame = pattern(60, 0x11);
    EXPECT_EQ(mrvl_esw_cpu_rx_callback(c.ifIndex, 60, frame.data()), 0);

    EXPECT_THAT(journal(), ElementsAreArray(c.journal));
    EXPECT_THAT(nonzero_cpu_counters(), ElementsAreArray(c.counters));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_THAT(otherDeliveries, IsEmpty());
    if (c.delivered) {
        ASSERT_EQ(deliveries.size(), 1u);
        EXPECT_EQ(deliveries[0].ifIndex, c.ifIndex);
        EXPECT_EQ(deliveries[0].length, 60);
        EXPECT_EQ(deliveries[0].frame, frame.data());  // handed over as received, not copied again
    } else {
        EXPECT_THAT(deliveries, IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, RxDispatch, testing::ValuesIn(kRxCases),
                         [](const testing::TestParamInfo<RxCase>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(CpuPathTest, CountsWrapSilentlyAtTwoToThe32) {
    register_on(cpu_, record_delivery);
    eswCpuStats[4].rxPackets = 0xFFFFFFFFu;
    eswCpuStats[4].rxBytes = 0xFFFFFFF0u;
    std::vector<uint8_t> frame = pattern(60, 1);
    mrvl_esw_cpu_rx_callback(1004, 60, frame.data());
    EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("4.rxBytes=44"));
}

// Both threads of the library count; a lost update would show in the totals.
TEST_F(CpuPathTest, TwoThreadsCountingAtOnceLoseNothing) {
    register_on(cpu_, [](uint32_t, uint16_t, uint8_t*) -> int32_t { return 0; });
    sim::set_journal_rx_path(false);
    constexpr int kFramesPerThread = 20000;
    auto deliver = [] {
        uint8_t frame[64] = {};
        for (int i = 0; i < kFramesPerThread; ++i) mrvl_esw_cpu_rx_callback(1002, 64, frame);
    };
    std::thread first(deliver);
    std::thread second(deliver);
    first.join();
    second.join();
    EXPECT_THAT(nonzero_cpu_counters(),
                ElementsAre("2.rxPackets=" + std::to_string(2 * kFramesPerThread),
                            "2.rxBytes=" + std::to_string(2 * kFramesPerThread * 64)));
}

// ---- registration ------------------------------------------------------------------------------

TEST_F(CpuPathTest, RegistrationReplacesAndRemovesTheCallback) {
    std::vector<uint8_t> frame = pattern(60, 3);
    register_on(cpu_, record_other);
    register_on(cpu_, record_delivery);
    mrvl_esw_cpu_rx_callback(1001, 60, frame.data());
    EXPECT_EQ(deliveries.size(), 1u);
    EXPECT_THAT(otherDeliveries, IsEmpty());

    register_on(cpu_, nullptr);
    mrvl_esw_cpu_rx_callback(1001, 60, frame.data());
    EXPECT_EQ(deliveries.size(), 1u);
    EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("1.rxPackets=1", "1.rxDrops=1", "1.rxBytes=60"));
    EXPECT_EQ(static_cast<EswPortHandle*>(cpu_->priv)->rxCallback, nullptr);
}

TEST_F(CpuPathTest, RegistrationTouchesNoHostServiceAndStaysOnItsHandle) {
    register_on(port3_, record_other);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(static_cast<EswPortHandle*>(port3_->priv)->rxCallback, &record_other);
    EXPECT_EQ(static_cast<EswPortHandle*>(cpu_->priv)->rxCallback, nullptr);
}

TEST_F(CpuPathTest, HandlersCalledWithoutAnOpenHandleRefuseAndLog) {
    EswFrameworkHandle closed{nullptr, nullptr};
    EXPECT_EQ(mrvl_esw_ioctl_reg_cpu_rx_callback(&closed, IOCTL_SW_REG_CPU_RX_CALLBACK,
                                                 reinterpret_cast<void*>(&record_delivery)),
              1u);
    uint8_t request[70] = {};
    EXPECT_EQ(mrvl_esw_ioctl_cpu_tx(nullptr, IOCTL_SW_CPU_TX, request), 1u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_cpu", {"mrvl_esw_ioctl_reg_cpu_rx_callback"}),
                                    ErrorFrom("peridot_cpu", {"mrvl_esw_ioctl_cpu_tx"})));
    EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("0.txDrops=1"));
    EXPECT_THAT(journal(), IsEmpty());
}

// ---- counters --------------------------------------------------------------------------------

TEST_F(CpuPathTest, ClearingZeroesEveryCounterAndHandsOutTheirAddress) {
    uint32_t value = 1;
    for (EswCpuPortStats& entry : eswCpuStats)
        for (const auto& [name, field] : esw_test::kCpuCounterNames) entry.*field = value++;
    ASSERT_EQ(value, 176u);

    EswCpuPortStats* slot = nullptr;
    EXPECT_EQ(ioctl(cpu_, IOCTL_SW_CLR_CPU_STATS, &slot), 0);
    ASSERT_EQ(slot, eswCpuStats);
    ASSERT_EQ(slot, mrvl_cpu_get_stats());
    const auto* words = reinterpret_cast<const uint32_t*>(slot);
    for (int i = 0; i < 175; ++i) EXPECT_EQ(words[i], 0u) << "counter " << i;
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(CpuPathTest, ClearingWithoutASlotIsRefusedAndClearsNothing) {
    eswCpuStats[3].txPackets = 9;
    eswCpuStats[24].spareCount = 9;
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_CLR_CPU_STATS, nullptr), -1);
    EXPECT_EQ(eswCpuStats[3].txPackets, 9u);
    EXPECT_EQ(eswCpuStats[24].spareCount, 9u);
    eswCpuStats[3].txPackets = 0;
    eswCpuStats[24].spareCount = 0;
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_cpu", {"mrvl_esw_ioctl_clr_cpu_stats"})));
}

// ---- transmit checks before a capture handle is needed -----------------------------------------

struct TxCase {
    const char* name;
    std::optional<uint32_t> ifIndex;  // none: no request at all
    std::optional<sim::Fault> fault;
    std::vector<std::string> journal;
    std::vector<std::string> counters;
    std::vector<std::string> logParts;
};

std::ostream& operator<<(std::ostream& os, const TxCase& c) { return os << c.name; }

std::vector<std::string> tx_resolved(uint32_t ifIndex) {
    const std::string i = std::to_string(ifIndex);
    return {"if_index_phy_eth_get_slot(" + i + ", ptr)", "if_index_phy_eth_get_port(" + i + ", ptr)"};
}

const TxCase kTxCases[] = {
    {"no_request", std::nullopt, {}, {}, {"0.txDrops=1"}, {"mrvl_esw_ioctl_cpu_tx", "no request"}},
    {"slot_unresolved",
     0u,
     {},
     {"if_index_phy_eth_get_slot(0, ptr)"},
     {"0.txDrops=1"},
     {"mrvl_esw_ioctl_cpu_tx", "interface index 0", "status -1"}},
    {"port_unresolved",
     1003u,
     sim::Fault{.call = "if_index_phy_eth_get_port", .result = -5},
     tx_resolved(1003),
     {"0.txDrops=1"},
     {"mrvl_esw_ioctl_cpu_tx", "interface index 1003", "status -5"}},
    {"slot_above_two",
     3001u,
     {},
     tx_resolved(3001),
     {"0.txDrops=1"},
     {"mrvl_esw_ioctl_cpu_tx", "slot 3", "2"}},
    {"non_user_port", 1009u, {}, tx_resolved(1009), {}, {"mrvl_esw_ioctl_cpu_tx", "interface index 1009"}},
    {"slot0_no_interface", 3u, {}, tx_resolved(3), {}, {"mrvl_esw_ioctl_cpu_tx", "interface index 3"}},
    {"slot2_no_interface",
     2009u,
     {},
     tx_resolved(2009),
     {},
     {"mrvl_esw_ioctl_cpu_tx", "interface index 2009"}},
};

class TxRefusal : public CpuPathTest, public testing::WithParamInterface<TxCase> {};

TEST_P(TxRefusal, LogsCountsWhereAttributableAndFails) {
    const TxCase& c = GetParam();
    if (c.fault) sim::inject(*c.fault);
    alignas(8) uint8_t request[6 + 64] = {};
    if (c.ifIndex) {
        const uint32_t ifIndex = *c.ifIndex;
        const uint16_t length = 64;
        std::memcpy(request, &ifIndex, 4);
        std::memcpy(request + 4, &length, 2);
    }
    EXPECT_EQ(ioctl(port3_, IOCTL_SW_CPU_TX, c.ifIndex ? request : nullptr), -1);
    EXPECT_THAT(journal(), ElementsAreArray(c.journal));
    EXPECT_THAT(nonzero_cpu_counters(), ElementsAreArray(c.counters));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_cpu", c.logParts)));
}

INSTANTIATE_TEST_SUITE_P(Cases, TxRefusal, testing::ValuesIn(kTxCases),
                         [](const testing::TestParamInfo<TxCase>& info) {
                             return std::string(info.param.name);
                         });

// ---- capture records and the per-frame copy ----------------------------------------------------

TEST_F(CpuPathTest, FillingTheCaptureRecordsNamesEachUserPort) {
    for (LacpCaptureIf& rec : lacpCaptureIfs) {
        rec.ready = 1;
        rec.length = 99;
        std::memset(rec.frame, 0xEE, sizeof rec.frame);
    }
    init_lacp_interfaces();
    std::vector<std::string> expected;
    for (int p = 1; p <= 8; ++p)
        expected.push_back("if_index_phy_ethernet_get(1, " + std::to_string(p) + ")");
    EXPECT_THAT(journal(), ElementsAreArray(expected));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"init_lacp_interfaces"})));
    for (int i = 0; i < 8; ++i) {
        const LacpCaptureIf& rec = lacpCaptureIfs[i];
        EXPECT_STREQ(rec.ifName, ("lacp-swp" + std::to_string(i + 1)).c_str());
        EXPECT_EQ(rec.ifIndex, sim::if_index(1, i + 1));
        EXPECT_EQ(rec.pcap, nullptr);
        EXPECT_EQ(rec.fd, -1);
        EXPECT_EQ(rec.ready, 0u);
        EXPECT_EQ(rec.length, 0u);
        EXPECT_EQ(std::count(std::begin(rec.frame), std::end(rec.frame), 0), 1522) << i;
        EXPECT_EQ(get_pcap_from_ifindex(rec.ifIndex), nullptr);  // not opened
    }
}

struct CopyCase {
    uint32_t caplen;
    bool delivered;
};

std::ostream& operator<<(std::ostream& os, const CopyCase& c) { return os << "caplen " << c.caplen; }

class FrameCopy : public CpuPathTest, public testing::WithParamInterface<CopyCase> {};

TEST_P(FrameCopy, HandsOverFramesThatFitTheRecordAndDropsLongerOnes) {
    const CopyCase& c = GetParam();
    init_lacp_interfaces();
    register_on(cpu_, record_delivery);
    forget();
    LacpCaptureIf& rec = lacpCaptureIfs[2];  // lacp-swp3
    rec.ready = 1;
    const std::vector<uint8_t> wire = pattern(c.caplen, 0x40);
    pcap_pkthdr header{};
    header.caplen = c.caplen;
    header.len = c.caplen;

    capture_lacp_packet(reinterpret_cast<u_char*>(&rec), &header, wire.data());

    if (c.delivered) {
        ASSERT_EQ(deliveries.size(), 1u);
        EXPECT_EQ(deliveries[0].ifIndex, 1003u);
        EXPECT_EQ(deliveries[0].length, c.caplen);
        EXPECT_EQ(deliveries[0].frame, rec.frame);
        EXPECT_EQ(deliveries[0].bytes, wire);
        EXPECT_EQ(rec.ready, 0u);
        const std::string n = std::to_string(c.caplen);
        EXPECT_THAT(nonzero_cpu_counters(), ElementsAre("3.rxPackets=1", "3.rxBytes=" + n));
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_THAT(deliveries, IsEmpty());
        EXPECT_EQ(rec.ready, 1u);  // read again in the next pass
        EXPECT_THAT(nonzero_cpu_counters(), IsEmpty());
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("mrvl_periodot_init", {"capture_lacp_packet",
                                                                         std::to_string(c.caplen), "1522"})));
    }
    EXPECT_EQ(std::count(std::begin(rec.frame), std::end(rec.frame), 0), 1522);  // nothing left behind
}

INSTANTIATE_TEST_SUITE_P(Lengths, FrameCopy,
                         testing::Values(CopyCase{1, true}, CopyCase{60, true}, CopyCase{1521, true},
                                         CopyCase{1522, true}, CopyCase{1523, false}, CopyCase{9000, false}),
                         [](const testing::TestParamInfo<CopyCase>& info) {
                             return "caplen" + std::to_string(info.param.caplen);
                         });

}  // namespace
