// NIC_STATS and NIC_CLR_STATS: the statistics record's layout and the counter cache.
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kInit = "mrvl_periodot_init";
using StatsBytes = std::array<uint8_t, sizeof(EswNicStats)>;

// Where each value lands in the host's 712-byte record.
struct Field {
    size_t offset;
    size_t width;
    uint64_t value;
};

StatsBytes stats_bytes(const std::vector<Field>& fields) {
    StatsBytes b{};
    for (const Field& f : fields)
        for (size_t i = 0; i < f.width; ++i) b[f.offset + i] = static_cast<uint8_t>(f.value >> (8 * i));
    return b;
}

class CountersTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        handle_ = open_port(3);
    }
    StatsBytes stats(EswFrameworkHandle* h) {
        StatsBytes b;
        b.fill(0xCD);
        EXPECT_EQ(ioctl(h, NIC_STATS, b.data()), 0);
        return b;
    }
    EswFrameworkHandle* handle_ = nullptr;
};

uint64_t w(uint32_t n) { return 0x1000u + n; }

TEST_F(CountersTest, EveryWordLandsAtItsOffset) {
    for (uint32_t i = 0; i < 68; ++i) sim::port(3).counters.word[i] = static_cast<uint32_t>(w(i));
    const StatsBytes expected = stats_bytes({
        {168, 8, w(0) + w(1) + w(2)},
        {176, 8, (w(23) << 32 | w(27)) + w(28)},
        {184, 8, w(65)},
        {208, 8, w(32)},
        {216, 8, w(2)},
        {224, 8, w(31)},
        {232, 8, w(1)},
        {240, 8, w(61)},
        {248, 8, w(12)},
        {256, 8, w(53)},
        {264, 8, w(62)},
        {272, 8, w(29)},
        {280, 8, w(41)},
        {328, 8, w(30) + w(31) + w(32)},
        {336, 8, w(67) << 32 | w(26)},
        {360, 8, w(56)},
        {412, 4, w(13)},
        {416, 4, w(14)},
        {424, 4, w(11)},
        {428, 4, w(45)},
        {432, 4, w(47)},
    });
    EXPECT_EQ(stats(handle_), expected);
    EXPECT_THAT(journal(), ElementsAre("peridot_get_port_counters(0, 3, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
}

struct WrapCase {
    std::vector<std::pair<int, uint32_t>> words;
    Field field;
};

class CounterWrapTest : public CountersTest, public testing::WithParamInterface<WrapCase> {};

TEST_P(CounterWrapTest, SumsWrapIn32BitsAndJoinsCarryIn64) {
    for (auto [n, v] : GetParam().words) sim::port(3).counters.word[n] = v;
    const Field f = GetParam().field;
    const StatsBytes b = stats(handle_);
    uint64_t got = 0;
    std::memcpy(&got, b.data() + f.offset, f.width);
    EXPECT_EQ(got, f.value);
}

INSTANTIATE_TEST_SUITE_P(Edges, CounterWrapTest,
                         testing::Values(WrapCase{{{0, 0xFFFFFFFF}, {1, 1}, {2, 0}}, {168, 8, 0}},
                                         WrapCase{{{23, 1}, {27, 0}, {28, 5}}, {176, 8, (1ull << 32) + 5}},
                                         WrapCase{{{23, 0}, {27, 0xFFFFFFFF}, {28, 1}}, {176, 8, 1ull << 32}},
                                         WrapCase{{{67, 2}, {26, 7}}, {336, 8, (2ull << 32) + 7}},
                                         WrapCase{{{30, 0x80000000}, {31, 0x80000000}, {32, 5}}, {328, 8, 5}},
                                         WrapCase{{{47, 0xFFFFFFFF}}, {432, 4, 0xFFFFFFFF}}));

TEST_F(CountersTest, PortAboveTenGivesAZeroRecordButCannotBeCleared) {
    EswFrameworkHandle* h = open_port(11);
    EXPECT_EQ(stats(h), StatsBytes{});
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_read_port_counters", "port 11"}),
                                    ErrorFrom(kInit, {"mrvl_esw_get_nic_stats", "port 11", "result 1"})));
    forget();
    EXPECT_EQ(ioctl(h, NIC_CLR_STATS, nullptr), -1);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_clear_counters", "port 11", "index 11"})));
    EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(CountersTest, ChipReadFailureGivesAZeroRecordAndTwoRecords) {
    sim::port(3).counters.word[1] = 9;
    sim::inject({.call = "peridot_get_port_counters", .result = 0});
    EXPECT_EQ(stats(handle_), StatsBytes{});
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"peridot_get_port_counters", "port 3", "status 0"}),
                                    ErrorFrom(kInit, {"mrvl_esw_get_nic_stats", "port 3", "result 1"})));
}

TEST_F(CountersTest, NullRecordIsRefusedWithoutAChipCall) {
    EXPECT_EQ(mrvl_esw_get_nic_stats(handle_, nullptr), 1u);
    EXPECT_EQ(ioctl(handle_, NIC_STATS, nullptr), 0);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom(kInit, {"port 3", "null"}), ErrorFrom(kInit, {"port 3", "null"})));
}

TEST_F(CountersTest, ClearFlushesThePortByItsIndex) {
    sim::port(3).counters.word[0] = 4;
    EXPECT_EQ(ioctl(handle_, NIC_CLR_STATS, nullptr), 0);
    EXPECT_THAT(journal(), ElementsAre("peridot_flush_port_counters(0, 3)"));
    EXPECT_EQ(sim::port(3).counters.word[0], 0u);
    EXPECT_THAT(logs(), IsEmpty());
    forget();
    EXPECT_EQ(mrvl_esw_clear_counters(0x100, 10), 0u);
    EXPECT_THAT(journal(), ElementsAre("peridot_flush_port_counters(0, 10)"));
}

// A chip that answers success without writing lets the test read back what the driver keeps.
TEST_F(CountersTest, CacheHoldsTheLastReadUntilCleared) {
    sim::port(3).counters.word[12] = 42;
    EXPECT_EQ(stats(handle_), stats_bytes({{248, 8, 42}}));
    sim::port(3).counters.word[12] = 0;
    sim::inject({.call = "peridot_get_port_counters", .result = 1});
    EXPECT_EQ(stats(handle_), stats_bytes({{248, 8, 42}}));
    EXPECT_EQ(stats(open_port(4)), StatsBytes{});
}

TEST_F(CountersTest, ClearZeroesTheCacheEvenWhenTheFlushFails) {
    sim::port(3).counters.word[12] = 42;
    ASSERT_EQ(stats(handle_), stats_bytes({{248, 8, 42}}));
    forget();
    sim::inject({.call = "peridot_flush_port_counters", .result = 0});
    EXPECT_EQ(ioctl(handle_, NIC_CLR_STATS, nullptr), -1);
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom(kInit, {"peridot_flush_port_counters", "index 3", "status 0"})));
    EXPECT_EQ(sim::port(3).counters.word[12], 42u);
    sim::inject({.call = "peridot_get_port_counters", .result = 1});
    EXPECT_EQ(stats(handle_), StatsBytes{});
}

}  // namespace
