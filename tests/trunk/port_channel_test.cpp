// Port channels through mrvl_esw_ioctl: which chip call each request makes, with which values,
// and the two records (worker, then handler) of every failure.
#include <optional>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint16_t kChannel = 4660;  // wider than a byte: proves all 16 bits reach the chip
constexpr uint32_t kHandlePort = 3;  // never the member: the member comes from the request

EswTrunkRequest member_request(uint32_t operation, uint32_t memberPort) {
    EswTrunkRequest request{};
    request.channelId = kChannel;
    request.unused2 = 0xFFFF;
    request.operation = operation;
    request.memberPort = memberPort;
    return request;
}

using PortChannelTest = esw_test::PortTest<kHandlePort>;

struct MemberCase {
    uint32_t operation;
    std::optional<std::string> call;  // the one chip call, or none when the operation is refused
};
void PrintTo(const MemberCase& c, std::ostream* os) { *os << "operation " << c.operation; }

class MemberOperationTest : public PortChannelTest, public testing::WithParamInterface<MemberCase> {};

// Each accepted operation makes its one call; when that call fails, worker and handler both log.
TEST_P(MemberOperationTest, MakesTheOperationsChipCallWithTheMembersLowByte) {
    const MemberCase& c = GetParam();
    const std::string operation = "operation " + std::to_string(c.operation);
    EswTrunkRequest request = member_request(c.operation, 260);
    const int32_t result = ioctl(handle_, IOCTL_SW_TRUNK_MEMBER_CFG, &request);
    if (!c.call) {
        EXPECT_EQ(result, -1);
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_trunk", {"mrvl_esw_trunk_member_cfg", operation}),
                                        ErrorFrom("peridot_trunk",
                                                  {"mrvl_esw_ioctl_portchannel_cfg", "8207", "result 1"})));
        return;
    }
    EXPECT_EQ(result, 0);
    EXPECT_THAT(journal(), ElementsAre(*c.call + "(0, 4, 4660)"));
    EXPECT_THAT(logs(), IsEmpty());

    forget();
    sim::inject({.call = *c.call, .result = 2});
    EXPECT_EQ(ioctl(handle_, IOCTL_SW_TRUNK_MEMBER_CFG, &request), -1);
    EXPECT_THAT(journal(), ElementsAre(*c.call + "(0, 4, 4660)"));
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_trunk", {"mrvl_esw_trunk_member_cfg", operation, "status 2"}),
                            ErrorFrom("peridot_trunk", {"mrvl_esw_ioctl_portchannel_cfg", "result 1"})));
}

INSTANTIATE_TEST_SUITE_P(Operations, MemberOperationTest,
                         testing::Values(MemberCase{0, std::nullopt},
                                         MemberCase{1, "asic_set_port_ether_channel"},
                                         MemberCase{2, "asic_remove_port_ether_channel"},
                                         MemberCase{3, "asic_set_port_ether_channel"},
                                         MemberCase{4, "asic_remove_port_ether_channel"},
                                         MemberCase{5, std::nullopt}, MemberCase{0xFFFFFFFF, std::nullopt}));

TEST_F(PortChannelTest, RemovingAChannelReadsOnlyTheChannelId) {
    for (const auto& [operation, memberPort] :
         std::vector<std::pair<uint32_t, uint32_t>>{{0, 999}, {1, 4}, {7, 260}}) {
        forget();
        EswTrunkRequest request = member_request(operation, memberPort);
        EXPECT_EQ(ioctl(handle_, IOCTL_SW_TRUNK_MEMBERS_SET, &request), 0) << operation;
        EXPECT_THAT(journal(), ElementsAre("asic_remove_ether_channel(0, 4660)")) << operation;
        EXPECT_THAT(logs(), IsEmpty()) << operation;
    }
}

TEST_F(PortChannelTest, AFailedChannelRemovalIsLoggedByWorkerAndHandler) {
    for (int64_t status : {0, 2, -1}) {
        forget();
        sim::clear_faults();
        sim::inject({.call = "asic_remove_ether_channel", .result = status});
        EswTrunkRequest request = member_request(1, 4);
        EXPECT_EQ(ioctl(handle_, IOCTL_SW_TRUNK_MEMBERS_SET, &request), -1) << status;
        EXPECT_THAT(journal(), ElementsAre("asic_remove_ether_channel(0, 4660)")) << status;
        EXPECT_THAT(
            logs(),
            ElementsAre(ErrorFrom("peridot_trunk",
                                  {"mrvl_esw_trunk_members_set", "status " + std::to_string(status)}),
                        ErrorFrom("peridot_trunk", {"mrvl_esw_ioctl_portchannel_cfg", "8206", "result 1"})))
            << status;
    }
}

TEST_F(PortChannelTest, AMissingRequestIsRefusedWithoutAChipCall) {
    for (uint32_t cmd : {uint32_t{IOCTL_SW_TRUNK_MEMBERS_SET}, uint32_t{IOCTL_SW_TRUNK_MEMBER_CFG}}) {
        forget();
        EXPECT_EQ(ioctl(handle_, cmd, nullptr), -1) << cmd;
        EXPECT_THAT(journal(), IsEmpty()) << cmd;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom("peridot_trunk", {"no request"}),
                                        ErrorFrom("peridot_trunk", {std::to_string(cmd), "result 1"})))
            << cmd;
    }
}

TEST_F(PortChannelTest, OtherCommandNumbersAreRefusedSilently) {
    EswTrunkRequest request = member_request(1, 4);
    for (uint32_t cmd : {0u, uint32_t{IOCTL_SW_CLR_CPU_STATS}, 8208u}) {
        EXPECT_EQ(mrvl_esw_ioctl_portchannel_cfg(handle_, cmd, &request), 1u) << cmd;
    }
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(PortChannelTest, AHandleWithoutAnOpenPortIsRefused) {
    EswFrameworkHandle closed{nullptr, nullptr};
    EswTrunkRequest request = member_request(1, 4);
    EXPECT_EQ(mrvl_esw_ioctl_portchannel_cfg(&closed, IOCTL_SW_TRUNK_MEMBER_CFG, &request), 1u);
    EXPECT_EQ(mrvl_esw_ioctl_portchannel_cfg(nullptr, IOCTL_SW_TRUNK_MEMBERS_SET, &request), 1u);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom("peridot_trunk", {"8207"}), ErrorFrom("peridot_trunk", {"8206"})));
}

}  // namespace
