// Port mirroring through mrvl_esw_ioctl: the chip calls of each operation code, the stop at the
// first failing call, and the refusals.
#include <memory>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr uint32_t kPort = 8;

class PortMonitorTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        handle_ = open_port(kPort);
    }
    // A request of exactly four bytes on the heap, so that a read past them is a sanitizer fault.
    int32_t monitor(uint32_t code) {
        auto request = std::make_unique<EswPortMonitorRequest>();
        request->monitorOp = code;
        return ioctl(handle_, IOCTL_SW_PORT_MONITOR, request.get());
    }
    EswFrameworkHandle* handle_ = nullptr;
};

struct MonitorCase {
    uint32_t code;
    std::vector<std::string> calls;
};
void PrintTo(const MonitorCase& c, std::ostream* os) { *os << "code " << c.code; }

class MonitorCodeTest : public PortMonitorTest, public testing::WithParamInterface<MonitorCase> {};

TEST_P(MonitorCodeTest, MakesTheCodesCallsInOrder) {
    EXPECT_EQ(monitor(GetParam().code), 0);
    EXPECT_THAT(journal(), ElementsAreArray(GetParam().calls));
    EXPECT_THAT(logs(), IsEmpty());
}

// Each call of the row fails in turn: the row stops there, one record names device and port.
TEST_P(MonitorCodeTest, StopsAtTheFirstFailingCall) {
    const std::vector<std::string>& calls = GetParam().calls;
    for (size_t failing = 0; failing < calls.size(); ++failing) {
        forget();
        sim::clear_faults();
        const std::string name = calls[failing].substr(0, calls[failing].find('('));
        sim::inject({.call = name, .result = 0});
        EXPECT_EQ(monitor(GetParam().code), -1) << failing;
        EXPECT_THAT(journal(), ElementsAreArray(calls.begin(), calls.begin() + failing + 1)) << failing;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"mrvl_esw_ioctl_set_port_monitor",
                                                                    "dev 0", "port 8", "status 0"})))
            << failing;
    }
}

INSTANTIATE_TEST_SUITE_P(Codes, MonitorCodeTest,
                         testing::Values(MonitorCase{0, {"asic_delete_span_dest_port(0, 0, 8)"}},
                                         MonitorCase{1, {"asic_add_span_dest_ports(0, 0, 8, 0)"}},
                                         MonitorCase{2, {"asic_delete_span_source_port(0, 0, 0, 0, 8, 2)"}},
                                         MonitorCase{3, {"asic_add_span_source_port(0, 0, 0, 0, 8, 2)"}},
                                         MonitorCase{4,
                                                     {"asic_delete_span_source_port(0, 0, 0, 0, 8, 2)",
                                                      "asic_add_span_source_port(0, 0, 0, 0, 8, 1)"}},
                                         MonitorCase{5,
                                                     {"asic_delete_span_source_port(0, 0, 0, 0, 8, 2)",
                                                      "asic_add_span_source_port(0, 0, 0, 0, 8, 0)"}}));

// Only the destination removal judges the low byte of its result; the other calls want 1 exactly.
TEST_F(PortMonitorTest, DestinationRemovalSucceedsOnALowByteOfOne) {
    sim::inject({.call = "asic_delete_span_dest_port", .result = 0x101});
    EXPECT_EQ(monitor(0), 0);
    sim::clear_faults();
    sim::inject({.call = "asic_delete_span_dest_port", .result = 0x100});
    EXPECT_EQ(monitor(0), -1);
    sim::clear_faults();
    forget();
    sim::inject({.call = "asic_add_span_dest_ports", .result = 0x101});
    EXPECT_EQ(monitor(1), -1);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl", {"status 257"})));
}

TEST_F(PortMonitorTest, UnknownCodesAreRefusedWithoutAChipCall) {
    for (uint32_t code : {6u, 7u, 0x80000000u, 0xFFFFFFFFu}) {
        forget();
        EXPECT_EQ(monitor(code), -1) << code;
        EXPECT_THAT(journal(), IsEmpty()) << code;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_ioctl",
                                                  {"mrvl_esw_ioctl_set_port_monitor", std::to_string(code)})))
            << code;
    }
}

TEST_F(PortMonitorTest, AMissingRequestIsRefused) {
    EXPECT_EQ(ioctl(handle_, IOCTL_SW_PORT_MONITOR, nullptr), -1);
    EXPECT_EQ(mrvl_esw_ioctl_set_port_monitor(0, kPort, nullptr), 1u);
    EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(PortMonitorTest, TheRequestIsNotWritten) {
    uint32_t request[2] = {4, 0xA5A5A5A5};
    EXPECT_EQ(ioctl(handle_, IOCTL_SW_PORT_MONITOR, request), 0);
    EXPECT_EQ(request[0], 4u);
    EXPECT_EQ(request[1], 0xA5A5A5A5u);
}

}  // namespace
