// The fault sweep for what needs real capture interfaces: the bring-up, which opens them and starts
// the receive thread for good, and CPU transmit, which sends through them. Every attempt runs in a
// child process inside this test's private network namespace, where the lab's interfaces live.
#include <memory>

#include "tests/common/driver_test.h"
#include "tests/cpu/lab_support.h"
#include "tests/reliability/sweep.h"

namespace {

using esw_sweep::Outcome;
using esw_sweep::Row;

constexpr const char* kInitSrc = "mrvl_periodot_init";
constexpr const char* kCpuSrc = "peridot_cpu";

Row bring_up() {
    Row row;
    row.name = "BringUp";
    row.source = kInitSrc;
    row.failResult = 1;
    row.isolated = true;
    row.invoke = [](EswFrameworkHandle*, std::vector<uint8_t>&) -> int64_t { return initKPMD(); };
    row.exceptions = {
        // Without the chip driver's record the bring-up goes on up to the 802.1Q step, which needs
        // the record, and stops there.
        {"qdInit", 0, Outcome::other_branch},
        {"peridot_vodSet", 0, Outcome::continues_logged},
        {"if_index_phy_ethernet_get", 0, Outcome::continues_silent},
        {"peridot_set_ARPwoBC_reg", 0, Outcome::continues_silent},
        // The LED update after the receive thread starts: logged, never fatal.
        {"peridot_port_led1_set", 0, Outcome::continues_logged},
        {"peridot_get_link_state", 0, Outcome::continues_logged},
        {"peridot_get_speed", 0, Outcome::continues_logged},
        {"lib_fpga_reg_read", 0, Outcome::continues_logged},
        {"lib_fpga_reg_write", 0, Outcome::continues_logged},
        {"asic_get_acl_handle", 0, Outcome::continues_silent},
    };
    return row;
}

Row cpu_transmit() {
    std::vector<uint8_t> request(sizeof(EswCpuTxRequest) + 64, 0x5A);
    auto* tx = reinterpret_cast<EswCpuTxRequest*>(request.data());
    tx->ifIndex = sim::if_index(1, 3);
    tx->length = 64;
    Row row = esw_sweep::command_row("CpuTransmit", IOCTL_SW_CPU_TX, request, kCpuSrc);
    row.isolated = true;
    row.setup = [](EswFrameworkHandle*) {
        // The capture interfaces exist only once the bring-up has opened them.
        ASSERT_EQ(initKPMD(), 0);
        sim::plug(3);
    };
    // A failed link query is the query's own to log.
    row.exceptions = {{"peridot_get_link_state", 0, Outcome::stops, kInitSrc}};
    return row;
}

class CaptureSweep : public esw_test::DriverTest, public testing::WithParamInterface<Row> {
protected:
    static void SetUpTestSuite() {
        if (!esw_lab::netns_problem().empty()) return;
        std::string why;
        lab_ = esw_testbed::CaptureLab::create(&why);
        ASSERT_NE(lab_, nullptr) << why;
    }
    static void TearDownTestSuite() { lab_.reset(); }
    void SetUp() override {
        ESW_REQUIRE_NETNS();
        DriverTest::SetUp();
    }
    static std::unique_ptr<esw_testbed::CaptureLab> lab_;
};
std::unique_ptr<esw_testbed::CaptureLab> CaptureSweep::lab_;

TEST_P(CaptureSweep, EveryChipCallFailureIsHandled) {
    const Row& row = GetParam();
    esw_sweep::sweep(row, open_port(row.port));
}

INSTANTIATE_TEST_SUITE_P(Capture, CaptureSweep, testing::Values(bring_up(), cpu_transmit()),
                         [](const testing::TestParamInfo<Row>& info) { return info.param.name; });

}  // namespace
