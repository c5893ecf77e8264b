// The receive path under load from both threads at once: frames arrive on all eight capture
// interfaces while the command thread registers, replaces and removes the receive callback,
// clears and reads the CPU counters and transmits frames. Built with ThreadSanitizer (preset
// tsan) every shared access must be free of data races; in every build the counters and the
// deliveries must still add up once the command thread stops.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "tests/common/driver_test.h"
#include "tests/cpu/cpu_counters.h"
#include "tests/cpu/lab_support.h"
#include "tests/cpu/lacp_receiver.h"

// A race report ends the process at once, so that a child of run_in_child reports it as a
// failure even though it leaves through _exit.
extern "C" const char* __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1"; }

namespace {

using esw_lab::ChildOptions;
using esw_lab::run_in_child;
using esw_test::eventually;
using esw_test::lacp_frame;
using esw_testbed::CaptureLab;
using namespace std::chrono_literals;

constexpr int kPorts = 8;
constexpr int kFramesPerPort = 400;
constexpr size_t kFrameLength = 90;

// Two callbacks the host alternates between; each counts what it is handed and checks that the
// frame is one the peers sent.
struct Tally {
    std::atomic<uint32_t> frames{0};
    std::atomic<uint32_t> malformed{0};
};
Tally tallyA;
Tally tallyB;

int32_t take(Tally& tally, uint32_t ifIndex, uint16_t length, const uint8_t* frame) {
    const uint32_t port = ifIndex - sim::if_index(1, 0);
    const bool ours = port >= 1 && port <= kPorts && length == kFrameLength && frame[11] == port &&
                      frame[12] == 0x88 && frame[13] == 0x09;
    if (!ours) tally.malformed.fetch_add(1, std::memory_order_relaxed);
    tally.frames.fetch_add(1, std::memory_order_relaxed);
    return 0;
}
int32_t callback_a(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    return take(tallyA, ifIndex, length, frame);
}
int32_t callback_b(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    return take(tallyB, ifIndex, length, frame);
}

uint32_t load(uint32_t& counter) {
    return std::atomic_ref<uint32_t>(counter).load(std::memory_order_relaxed);
}

uint32_t sum_of(EswCpuPortStats* stats, uint32_t EswCpuPortStats::*field) {
    uint32_t total = 0;
    for (int entry = 0; entry < 25; ++entry) total += load(stats[entry].*field);
    return total;
}

void register_callback(EswRxCallback callback) {
    EXPECT_EQ(mrvl_esw_ioctl(&esw_test::cpuChannel, IOCTL_SW_REG_CPU_RX_CALLBACK,
                             reinterpret_cast<void*>(callback)),
              0);
}

// The command thread's share of the churn: one round of every operation that touches what the
// receive thread uses.
void churn_round(int round, EswCpuPortStats** stats) {
    switch (round % 5) {
        case 0:
            register_callback(&callback_a);
            break;
        case 1:
            register_callback(&callback_b);
            break;
        case 2:
            register_callback(nullptr);
            break;
        case 3:
            EXPECT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CLR_CPU_STATS, stats), 0);
            break;
        case 4: {
            const int port = round / 5 % kPorts + 1;
            std::vector<uint8_t> request(sizeof(EswCpuTxRequest) + 64);
            auto* tx = reinterpret_cast<EswCpuTxRequest*>(request.data());
            tx->ifIndex = sim::if_index(1, static_cast<uint32_t>(port));
            tx->length = 64;
            std::memcpy(tx->frame, lacp_frame(64, port).data(), 64);
            EXPECT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CPU_TX, request.data()), 0);
            break;
        }
    }
    // The host reads the counters in place while both threads count.
    (void)sum_of(*stats, &EswCpuPortStats::rxPackets);
}

class RxRace : public testing::Test {
protected:
    void SetUp() override { ESW_REQUIRE_NETNS(); }
};

TEST_F(RxRace, CallbackChurnCountersAndTransmitBesideEightReceivingInterfaces) {
    run_in_child(ChildOptions{.withLab = true, .timeoutSeconds = 240}, [](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(esw_test::start_receiver({.callbackOnCpuChannel = false}));
        for (uint8_t p = 1; p <= kPorts; ++p) sim::plug(p);
        sim::set_journal_rx_path(false);

        std::atomic<int> sendersLeft{kPorts};
        std::atomic<uint32_t> sendFailures{0};
        std::vector<std::thread> senders;
        for (int p = 1; p <= kPorts; ++p) {
            senders.emplace_back([&, p] {
                const std::vector<uint8_t> frame = lacp_frame(kFrameLength, p);
                for (int i = 0; i < kFramesPerPort; ++i) {
                    if (!lab->send_from_peer(p, frame.data(), frame.size())) sendFailures.fetch_add(1);
                    if (i % 16 == 0) std::this_thread::sleep_for(1ms);
                }
                sendersLeft.fetch_sub(1);
            });
        }
        // Drains the far side of the cables so that transmitted frames never back up.
        std::atomic<bool> draining{true};
        std::thread drainer([&] {
            while (draining.load())
                for (int p = 1; p <= kPorts; ++p) lab->drain_peer(p);
        });

        EswCpuPortStats* stats = nullptr;
        ASSERT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CLR_CPU_STATS, &stats), 0);
        int rounds = 0;
        while (sendersLeft.load() > 0) churn_round(rounds++, &stats);
        for (std::thread& t : senders) t.join();
        EXPECT_EQ(sendFailures.load(), 0u);
        EXPECT_GT(rounds, 5);
        EXPECT_EQ(stats, eswCpuStats);

        // Quiet again: one callback, fresh counters, one frame per port. Every frame arrives,
        // is counted once on its own port and nothing else moves.
        std::this_thread::sleep_for(300ms);
        register_callback(&callback_a);
        ASSERT_EQ(mrvl_esw_ioctl(&esw_test::port3Handle, IOCTL_SW_CLR_CPU_STATS, &stats), 0);
        const uint32_t before = tallyA.frames.load();
        for (int p = 1; p <= kPorts; ++p) {
            const std::vector<uint8_t> frame = lacp_frame(kFrameLength, p);
            ASSERT_TRUE(lab->send_from_peer(p, frame.data(), frame.size()));
        }
        EXPECT_TRUE(eventually([&] { return tallyA.frames.load() - before == kPorts; }));
        std::vector<std::string> counters;
        for (int p = 1; p <= kPorts; ++p) {
            counters.push_back(std::to_string(p) + ".rxPackets=1");
            counters.push_back(std::to_string(p) + ".rxBytes=" + std::to_string(kFrameLength));
        }
        EXPECT_THAT(esw_test::nonzero_cpu_counters(), testing::ElementsAreArray(counters));
        EXPECT_EQ(tallyA.malformed.load() + tallyB.malformed.load(), 0u);
        EXPECT_GT(tallyA.frames.load() + tallyB.frames.load(), 0u);
        draining.store(false);
        drainer.join();
    });
}

// Frames delivered while the callback is replaced are each handed to exactly one callback or
// counted as dropped: nothing is delivered twice and nothing goes missing. The peers keep only a
// few frames in flight, well inside what a capture ring holds, so that the kernel never drops one.
TEST_F(RxRace, EveryFrameIsDeliveredOnceOrCountedAsDroppedWhileTheCallbackChanges) {
    run_in_child(ChildOptions{.withLab = true, .timeoutSeconds = 240}, [](CaptureLab* lab) {
        ASSERT_NO_FATAL_FAILURE(esw_test::start_receiver({.callbackOnCpuChannel = false}));
        sim::set_journal_rx_path(false);
        const auto accounted = [] {
            return tallyA.frames.load() + tallyB.frames.load() +
                   sum_of(eswCpuStats, &EswCpuPortStats::rxDrops);
        };
        constexpr uint32_t kInFlight = 8;
        std::atomic<bool> sending{true};
        std::atomic<uint32_t> sent{0};
        std::atomic<bool> stalled{false};
        std::thread sender([&] {
            for (int i = 0; i < kPorts * kFramesPerPort && !stalled.load(); ++i) {
                if (!eventually([&] { return accounted() + kInFlight > sent.load(); })) stalled.store(true);
                const int p = i % kPorts + 1;
                const std::vector<uint8_t> frame = lacp_frame(kFrameLength, p);
                if (lab->send_from_peer(p, frame.data(), frame.size())) sent.fetch_add(1);
            }
            sending.store(false);
        });
        for (int round = 0; sending.load(); ++round) {
            register_callback(round % 3 == 0 ? &callback_a : round % 3 == 1 ? &callback_b : nullptr);
            std::this_thread::yield();
        }
        sender.join();
        EXPECT_FALSE(stalled.load()) << "the receive thread stopped taking frames";
        EXPECT_EQ(sent.load(), static_cast<uint32_t>(kPorts * kFramesPerPort));
        EXPECT_TRUE(eventually([&] { return accounted() >= sent.load(); }));
        EXPECT_EQ(tallyA.frames.load() + tallyB.frames.load(),
                  sum_of(eswCpuStats, &EswCpuPortStats::rxPackets));
        EXPECT_EQ(accounted(), sent.load());
        EXPECT_GT(tallyA.frames.load(), 0u);
        EXPECT_GT(tallyB.frames.load(), 0u);
        EXPECT_GT(sum_of(eswCpuStats, &EswCpuPortStats::rxDrops), 0u);
        EXPECT_EQ(tallyA.malformed.load() + tallyB.malformed.load(), 0u);
    });
}

}  // namespace
