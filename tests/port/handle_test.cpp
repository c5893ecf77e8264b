// Handlers that take the framework handle, called directly with a handle that holds no port.
#include "tests/common/driver_test.h"

namespace {

using esw_test::ErrorFrom;
using testing::IsEmpty;

constexpr const char* kInit = "mrvl_periodot_init";

TEST(PortHandleless, HandlersRefuseAHandleWithoutAPort) {
    sim::reset();
    EswFrameworkHandle bare{nullptr, nullptr};
    uint32_t word = 1;
    EswNicStats stats{};
    EXPECT_EQ(mrvl_esw_get_mru(&bare, &word), 1u);
    EXPECT_EQ(mrvl_esw_set_mru(&bare, 1500), 1u);
    EXPECT_EQ(mrvl_esw_set_nic_max_cap(&bare, &word), 1u);
    EXPECT_EQ(mrvl_esw_get_nic_stats(&bare, &stats), 1u);
    EXPECT_EQ(mrvl_esw_clear_nic_stats(nullptr), 1u);
    EXPECT_THAT(sim::journal(), IsEmpty());
    EXPECT_EQ(sim::logs().size(), 5u);
    for (const sim::LogRecord& r : sim::logs()) EXPECT_THAT(r, ErrorFrom(kInit, {"no open port"}));
}

}  // namespace
