// The static-entry handler's allocations: every one is made to fail in turn, and the handler must
// answer 1 with one record and leave nothing allocated. LeakSanitizer checks after each case.
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "driver/esw_alloc.h"
#include "tests/common/driver_test.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#define ESW_LEAK_CHECK() __lsan_do_recoverable_leak_check()
#else
#define ESW_LEAK_CHECK() 0
#endif

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

// The hook is a plain function: it counts allocations and fails the chosen one.
struct AllocPlan {
    unsigned failAt = 0;  // 1-based; 0 = none fails
    unsigned seen = 0;
    std::vector<std::size_t> sizes;
};
AllocPlan plan;

bool fail_chosen_allocation(std::size_t size) {
    plan.sizes.push_back(size);
    return ++plan.seen == plan.failAt;
}

struct AllocCase {
    const char* name;
    uint32_t cmd;
    uint8_t firstByte;  // 0x01: multicast
    uint32_t groupWord;
    std::vector<std::size_t> sizes;  // the allocations of a successful command, in order
};
void PrintTo(const AllocCase& c, std::ostream* os) { *os << c.name; }

class StaticMacMemoryTest : public DriverTest, public testing::WithParamInterface<AllocCase> {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        sim::chip().device.vlans[20];
        request_.mac[0] = GetParam().firstByte;
        request_.mac[5] = 0x42;
        request_.vlanId = 20;
        request_.groupWord = GetParam().groupWord;
        // An entry for the removing commands to find.
        char key[18];
        std::snprintf(key, sizeof key, "%02x:00:00:00:00:42", GetParam().firstByte);
        sim::chip().device.staticMacs[20][key] = sim::StaticMac{};
    }
    void TearDown() override {
        esw::set_alloc_fail_hook(nullptr);
        DriverTest::TearDown();
    }
    uint32_t run(unsigned failAt) {
        plan = AllocPlan{failAt};
        esw::set_alloc_fail_hook(fail_chosen_allocation);
        const uint32_t result = mrvl_esw_ioctl_static_mac_cfg(0, 3, &request_, GetParam().cmd);
        esw::set_alloc_fail_hook(nullptr);
        return result;
    }
    EswStaticMacRequest request_{};
};

TEST_P(StaticMacMemoryTest, SucceedsWithTheExpectedAllocationsAndReleasesThem) {
    EXPECT_EQ(run(0), 0u);
    EXPECT_EQ(plan.sizes, GetParam().sizes);
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(ESW_LEAK_CHECK(), 0);
}

TEST_P(StaticMacMemoryTest, EachFailedAllocationIsLoggedAndLeavesNothingBehind) {
    const size_t count = GetParam().sizes.size();
    for (unsigned failAt = 1; failAt <= count; ++failAt) {
        forget();
        EXPECT_EQ(run(failAt), 1u) << failAt;
        EXPECT_EQ(plan.sizes.size(), failAt) << "no allocation after the failed one";
        // The record comes before the VLAN check; the lists only after it.
        const std::vector<std::string> calls =
            failAt == 1 ? std::vector<std::string>{} : std::vector<std::string>{"asic_vlan_exists(0, 20)"};
        EXPECT_EQ(journal(), calls) << failAt;
        EXPECT_THAT(logs(),
                    ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_static_mac_cfg", "no memory"})))
            << failAt;
        EXPECT_EQ(ESW_LEAK_CHECK(), 0) << failAt;
    }
}

// Failures after the allocations (a missing VLAN, a refused broadcast, a failing install) must
// release them too.
TEST_P(StaticMacMemoryTest, LaterFailuresReleaseEverything) {
    sim::inject({.call = "asic_vlan_install_mac_addr", .result = 0});
    sim::inject({.call = "asic_vlan_uninstall_mac_addr", .result = 0});
    EXPECT_EQ(run(0), 1u);
    EXPECT_EQ(ESW_LEAK_CHECK(), 0);
    request_.vlanId = 21;
    EXPECT_EQ(run(0), 1u);
    EXPECT_EQ(ESW_LEAK_CHECK(), 0);
}

constexpr std::size_t kRecord = sizeof(EswMacDestination);
constexpr std::size_t kOnePort = sizeof(EswMacPortEntry);

INSTANTIATE_TEST_SUITE_P(
    Shapes, StaticMacMemoryTest,
    testing::Values(
        AllocCase{"RegisterUnicast", NIC_REG_MC_HW, 0x00, 7, {kRecord, kOnePort}},
        AllocCase{"RegisterMulticastTwoPorts", NIC_REG_MC_HW, 0x01, 0, {kRecord, 2 * kOnePort}},
        AllocCase{
            "RegisterMulticastGroupWord", NIC_REG_MC_HW, 0x01, 7, {kRecord, sizeof(uint32_t), kOnePort}},
        AllocCase{"AddDataPlane", IOCTL_SW_ADD_DATAPLANE_MAC, 0x01, 7, {kRecord, kOnePort}},
        AllocCase{"AddPort", IOCTL_SW_ADD_PORT_MAC, 0x00, 0, {kRecord, kOnePort}},
        AllocCase{"Unregister", NIC_UNREG_MC_HW, 0x01, 0, {kRecord}},
        AllocCase{"DeleteDataPlane", IOCTL_SW_DEL_DATAPLANE_MAC, 0x00, 0, {kRecord}},
        AllocCase{"DeletePort", IOCTL_SW_DEL_PORT_MAC, 0x00, 0, {kRecord}}),
    [](const testing::TestParamInfo<AllocCase>& info) { return std::string(info.param.name); });

TEST(StaticMacMemory, ABroadcastRefusalReleasesTheRecord) {
    sim::reset();
    sim::chip().device.vlans[20];
    EswStaticMacRequest request{};
    for (uint8_t& b : request.mac) b = 0xFF;
    request.vlanId = 20;
    EXPECT_EQ(mrvl_esw_ioctl_static_mac_cfg(0, 3, &request, NIC_REG_MC_HW), 1u);
    EXPECT_EQ(ESW_LEAK_CHECK(), 0);
    sim::reset();
}

}  // namespace
