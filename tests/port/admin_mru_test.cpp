// Admin state and MRU commands, driven through the dispatcher on an open port.
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kInit = "mrvl_periodot_init";

using PortCommandTest = esw_test::PortTest<3>;

const std::vector<std::string> kAdminCalls{
    "asic_allow_unicast",   "asic_allow_multicast",    "asic_allow_broadcast",      "asic_enable_receive",
    "asic_enable_transmit", "peridot_port_power_down", "peridot_set_port_portstate"};

std::vector<std::string> admin_journal(int enable, int powerDown, int state) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < kAdminCalls.size(); ++i) {
        const int third = i < 5 ? enable : i == 5 ? powerDown : state;
        lines.push_back(kAdminCalls[i] + "(0, 3, " + std::to_string(third) + ")");
    }
    return lines;
}

struct AdminCase {
    uintptr_t value;
    bool up;
};

class AdminStateTest : public PortCommandTest, public testing::WithParamInterface<AdminCase> {};

TEST_P(AdminStateTest, SevenCallsWithTheDerivedFlags) {
    const AdminCase c = GetParam();
    EXPECT_EQ(ioctl_value(handle_, NIC_STATUS, c.value), 0);
    EXPECT_THAT(journal(), ElementsAreArray(c.up ? admin_journal(1, 0, 3) : admin_journal(0, 1, 1)));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(sim::port(3).powerDown, !c.up);
    EXPECT_EQ(sim::port(3).portState, c.up ? 3 : 1);
}

// Only exactly 1 in the pointer-sized argument means up.
INSTANTIATE_TEST_SUITE_P(Values, AdminStateTest,
                         testing::Values(AdminCase{1, true}, AdminCase{0, false}, AdminCase{2, false},
                                         AdminCase{0xFFFFFFFF, false}, AdminCase{0x100000001, false}));

TEST_F(PortCommandTest, AdminSequenceStopsAtTheFirstFailingCallWithOneRecord) {
    for (uintptr_t value : {uintptr_t{1}, uintptr_t{0}}) {
        const std::vector<std::string> full = value == 1 ? admin_journal(1, 0, 3) : admin_journal(0, 1, 1);
        for (size_t k = 0; k < kAdminCalls.size(); ++k) {
            sim::reset();
            handle_ = open_port(3);
            sim::inject({.call = kAdminCalls[k], .result = 0, .nth = 1});
            EXPECT_EQ(ioctl_value(handle_, NIC_STATUS, value), -1) << k;
            EXPECT_THAT(journal(), ElementsAreArray(full.begin(), full.begin() + static_cast<long>(k) + 1))
                << k;
            EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_set_nic_status", kAdminCalls[k],
                                                              "port 3", "status 0"})))
                << k;
        }
    }
}

TEST_F(PortCommandTest, PowerDownFailureRecordCarriesDevicePortAndFlag) {
    sim::inject({.call = "peridot_port_power_down", .result = 0});
    EXPECT_EQ(ioctl_value(handle_, NIC_STATUS, 0), -1);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"dev 0", "port 3", "enable 0", "status 0"})));
}

TEST_F(PortCommandTest, AsicCallsSucceedOnlyOnExactlyOne) {
    sim::inject({.call = "asic_allow_multicast", .result = 0x101});
    EXPECT_EQ(ioctl_value(handle_, NIC_STATUS, 1), -1);
    EXPECT_EQ(journal().size(), 2u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"asic_allow_multicast", "status 257"})));
}

TEST_F(PortCommandTest, PartlyAppliedShutdownStaysPartlyApplied) {
    sim::inject({.call = "asic_enable_receive", .result = 0});
    EXPECT_EQ(ioctl_value(handle_, NIC_STATUS, 0), -1);
    const sim::PortState& p = sim::port(3);
    EXPECT_FALSE(p.allowUnicast || p.allowMulticast || p.allowBroadcast);
    EXPECT_TRUE(p.rxEnable && p.txEnable);
    EXPECT_FALSE(p.powerDown);
}

struct MruSetCase {
    int64_t value;
    int64_t cls;  // -1: refused
};

class MruSetTest : public PortCommandTest, public testing::WithParamInterface<MruSetCase> {};

TEST_P(MruSetTest, MapsTheLow32BitsToAClass) {
    const MruSetCase c = GetParam();
    sim::port(3).mtu = 777;
    const int32_t result = ioctl_value(handle_, NIC_SET_MAX_FRM_LEN, static_cast<uintptr_t>(c.value));
    EXPECT_THAT(logs(), IsEmpty());
    if (c.cls < 0) {
        EXPECT_EQ(result, -1);
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_EQ(sim::port(3).mtu, 777u);
    } else {
        EXPECT_EQ(result, 0);
        EXPECT_THAT(journal(), ElementsAre("peridot_set_port_mtu(0, 3, " + std::to_string(c.cls) + ")"));
        EXPECT_EQ(sim::port(3).mtu, static_cast<uint32_t>(c.cls));
    }
}

INSTANTIATE_TEST_SUITE_P(Edges, MruSetTest,
                         testing::Values(MruSetCase{0, 1522}, MruSetCase{1500, 1522}, MruSetCase{1522, 1522},
                                         MruSetCase{1523, 2048}, MruSetCase{2048, 2048},
                                         MruSetCase{2049, 10240}, MruSetCase{9000, 10240},
                                         MruSetCase{10240, 10240}, MruSetCase{10241, -1}, MruSetCase{-1, -1},
                                         MruSetCase{0x80000000, -1}, MruSetCase{0x1000005DC, 1522}));

TEST_F(PortCommandTest, MruSetFailureIsLoggedWithPortAndStatus) {
    sim::inject({.call = "peridot_set_port_mtu", .result = 0});
    EXPECT_EQ(ioctl_value(handle_, NIC_SET_MAX_FRM_LEN, 2000), -1);
    EXPECT_THAT(journal(), ElementsAre("peridot_set_port_mtu(0, 3, 2048)"));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_set_mru", "port 3", "status 0"})));
}

class MruGetTest : public PortCommandTest,
                   public testing::WithParamInterface<std::pair<uint32_t, uint32_t>> {};

TEST_P(MruGetTest, ReportsTheClassOfTheChipValue) {
    const auto [chip, reported] = GetParam();
    sim::port(3).mtu = chip;
    uint32_t reply[2] = {0xAAAAAAAA, 0xBBBBBBBB};
    EXPECT_EQ(ioctl(handle_, NIC_GET_MAX_FRM_LEN, reply), 0);
    EXPECT_EQ(reply[0], reported);
    EXPECT_EQ(reply[1], 0xBBBBBBBBu);
    EXPECT_THAT(journal(), ElementsAre("peridot_get_port_mtu(0, 3, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Mapping, MruGetTest,
                         testing::Values(std::pair{0u, 1522u}, std::pair{1518u, 1522u},
                                         std::pair{1523u, 2048u}, std::pair{2048u, 2048u},
                                         std::pair{2049u, 10240u}, std::pair{9216u, 10240u},
                                         std::pair{10240u, 10240u}, std::pair{10241u, 0xFFFFFFFFu},
                                         std::pair{12000u, 0xFFFFFFFFu}));

TEST_F(PortCommandTest, MruGetFailureLeavesTheReplyUnwritten) {
    sim::inject({.call = "peridot_get_port_mtu", .result = 0, .outValue = 2048});
    uint32_t reply = 0xAAAAAAAA;
    EXPECT_EQ(ioctl(handle_, NIC_GET_MAX_FRM_LEN, &reply), -1);
    EXPECT_EQ(reply, 0xAAAAAAAAu);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_get_mru", "port 3", "status 0"})));
}

TEST_F(PortCommandTest, MruGetRefusesANullReplyWithoutAskingTheChip) {
    EXPECT_EQ(ioctl(handle_, NIC_GET_MAX_FRM_LEN, nullptr), -1);
    EXPECT_EQ(mrvl_esw_get_mru(handle_, nullptr), 1u);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom(kInit, {"port 3", "null"}), ErrorFrom(kInit, {"port 3", "null"})));
}

TEST_F(PortCommandTest, MruSetThenGetReportsTheClassSet) {
    ASSERT_EQ(ioctl_value(handle_, NIC_SET_MAX_FRM_LEN, 1600), 0);
    uint32_t reply = 0;
    EXPECT_EQ(ioctl(handle_, NIC_GET_MAX_FRM_LEN, &reply), 0);
    EXPECT_EQ(reply, 2048u);
}

// The port is not validated: its low 8 bits reach the chip.
TEST_F(PortCommandTest, PortReachesTheChipAsItsLowByte) {
    EswFrameworkHandle* wide = open_port(259);
    EXPECT_EQ(ioctl_value(wide, NIC_SET_MAX_FRM_LEN, 1500), 0);
    EXPECT_EQ(ioctl_value(wide, NIC_STATUS, 1), 0);
    EXPECT_EQ(journal().front(), "peridot_set_port_mtu(0, 3, 1522)");
    EXPECT_EQ(journal().back(), "peridot_set_port_portstate(0, 3, 3)");
}

}  // namespace
