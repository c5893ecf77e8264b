// Unicast and multicast forwarding filters and the data-plane port's VLAN forwarding mode.
#include <cstring>
#include <memory>
#include <string>

#include "tests/vlan/vlan_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vlan_test::IoctlError;
using vlan_test::request;
using vlan_test::VlanTest;

constexpr uint8_t kUnicastList = 255;
constexpr uint8_t kMulticastList = 254;

struct FilterCase {
    const char* label;
    uint32_t cmd;
    uint32_t mode;
    bool add;      // the port joins the list (else it leaves it)
    uint8_t list;  // the only list that changes
    const char* modeName;
    const char* listName;
};
void PrintTo(const FilterCase& c, std::ostream* os) { *os << c.label; }

class ForwardFilterTest : public VlanTest, public testing::WithParamInterface<FilterCase> {
protected:
    static std::set<uint8_t>& members(uint8_t list) { return sim::chip().device.aclMembers[list]; }
};

TEST_P(ForwardFilterTest, ChangesTheCommandsListOnly) {
    const FilterCase& c = GetParam();
    const uint8_t other = c.list == kUnicastList ? kMulticastList : kUnicastList;
    // Start from the opposite membership in both lists so that a change in either shows.
    members(c.list) = c.add ? std::set<uint8_t>{} : std::set<uint8_t>{3};
    members(other) = c.add ? std::set<uint8_t>{} : std::set<uint8_t>{3};
    auto req = request(EswFilterModeRequest{c.mode});
    EXPECT_EQ(ioctl(port3_, c.cmd, req.get()), 0);
    EXPECT_THAT(journal(), ElementsAre(std::string(c.add ? "asic_acl_add_port" : "asic_acl_remove_port") +
                                       "(0, ptr, 3, ptr)"));
    EXPECT_EQ(members(c.list).count(3), c.add ? 1u : 0u);
    EXPECT_EQ(members(other).count(3), c.add ? 0u : 1u);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_P(ForwardFilterTest, FailedListCallNamesPortModeListAndHandle) {
    const FilterCase& c = GetParam();
    sim::inject({.call = c.add ? "asic_acl_add_port" : "asic_acl_remove_port", .result = 0});
    auto req = request(EswFilterModeRequest{c.mode});
    EXPECT_EQ(ioctl(port3_, c.cmd, req.get()), -1);
    EXPECT_EQ(journal().size(), 1u);
    const std::string handle = c.list == kUnicastList ? "0xac10000000ff" : "0xac10000000fe";
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"port 3", c.modeName, c.listName, handle})));
}

INSTANTIATE_TEST_SUITE_P(
    Modes, ForwardFilterTest,
    testing::Values(
        FilterCase{"UnicastIndividual", NIC_MODE, 5, true, kUnicastList, "INDIVIDUAL", "UC_MODE"},
        FilterCase{"UnicastPromiscuous", NIC_MODE, 8, false, kUnicastList, "PROMISCUOUS", "UC_MODE"},
        FilterCase{"UnicastZero", NIC_MODE, 0, false, kUnicastList, "PROMISCUOUS", "UC_MODE"},
        FilterCase{"UnicastSix", NIC_MODE, 6, false, kUnicastList, "PROMISCUOUS", "UC_MODE"},
        FilterCase{"MulticastIndividual", NIC_MC_MODE, 5, true, kMulticastList, "INDIVIDUAL", "MC_MODE"},
        FilterCase{"MulticastPromiscuous", NIC_MC_MODE, 8, false, kMulticastList, "PROMISCUOUS", "MC_MODE"},
        FilterCase{"MulticastHuge", NIC_MC_MODE, 0xFFFFFFFF, false, kMulticastList, "PROMISCUOUS",
                   "MC_MODE"}),
    [](const testing::TestParamInfo<FilterCase>& info) { return info.param.label; });

using FilterEdgeTest = VlanTest;

TEST_F(FilterEdgeTest, RepeatedRequestsGoToTheChipEachTime) {
    auto req = request(EswFilterModeRequest{5});
    EXPECT_EQ(ioctl(port3_, NIC_MODE, req.get()), 0);
    EXPECT_EQ(ioctl(port3_, NIC_MODE, req.get()), 0);
    EXPECT_THAT(journal(),
                ElementsAre("asic_acl_add_port(0, ptr, 3, ptr)", "asic_acl_add_port(0, ptr, 3, ptr)"));
}

TEST_F(FilterEdgeTest, CommandWithoutAListIsRefusedNamingTheMulticastList) {
    auto req = request(EswFilterModeRequest{5});
    EXPECT_EQ(mrvl_esw_ioctl_forward_filter_cfg(0, 3, req.get(), 8203), 1u);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"port 3", "INDIVIDUAL", "MC_MODE", "0xac10000000fe"})));
}

TEST_F(FilterEdgeTest, DeviceWithoutHandleSlotsIsRefused) {
    auto req = request(EswFilterModeRequest{8});
    for (uint32_t dev : {1u, 2u, 0xFFFFFFFFu}) {
        forget();
        EXPECT_EQ(mrvl_esw_ioctl_forward_filter_cfg(dev, 3, req.get(), NIC_MODE), 1u) << dev;
        EXPECT_THAT(journal(), IsEmpty()) << dev;
        EXPECT_THAT(logs(), ElementsAre(IoctlError({"port 3", "device " + std::to_string(dev)}))) << dev;
    }
}

TEST_F(FilterEdgeTest, MissingRequestIsRefused) {
    EXPECT_EQ(ioctl(port3_, NIC_MODE, nullptr), -1);
    EXPECT_EQ(ioctl(port3_, NIC_MC_MODE, nullptr), -1);
    EXPECT_EQ(ioctl(port3_, IOCTL_SET_VLAN_MODE, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(IoctlError({"mrvl_esw_ioctl_forward_filter_cfg", "no request"}),
                                    IoctlError({"mrvl_esw_ioctl_forward_filter_cfg", "no request"}),
                                    IoctlError({"mrvl_esw_ioctl_set_vlan_forwarding_mode", "no request"})));
}

// Five bytes: the mode value and the flag, nothing past offset 4 read.
std::unique_ptr<uint8_t[]> vlan_mode_request(uint32_t value, uint8_t flag) {
    auto bytes = std::make_unique<uint8_t[]>(5);
    std::memcpy(bytes.get(), &value, sizeof value);
    bytes[4] = flag;
    return bytes;
}

TEST_F(FilterEdgeTest, VlanModeAlwaysConfiguresTheDataPlanePort) {
    EswFrameworkHandle* port7 = open_port(7);
    auto req = vlan_mode_request(77, 1);
    EXPECT_EQ(ioctl(port3_, IOCTL_SET_VLAN_MODE, req.get()), 0);
    auto other = vlan_mode_request(0x10000, 200);
    EXPECT_EQ(ioctl(port7, IOCTL_SET_VLAN_MODE, other.get()), 0);
    EXPECT_THAT(journal(), ElementsAre("asic_set_vlan_forwarding_mode(0, 9, 77, 1)",
                                       "asic_set_vlan_forwarding_mode(0, 9, 65536, 200)"));
    EXPECT_EQ(sim::chip().device.vlanForwardingMode, std::make_pair(65536u, uint8_t{200}));
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(FilterEdgeTest, VlanModeFailureNamesBothValues) {
    for (int64_t answer : {0, 2, -1}) {
        forget();
        sim::clear_faults();
        sim::inject({.call = "asic_set_vlan_forwarding_mode", .result = answer});
        auto req = vlan_mode_request(77, 3);
        EXPECT_EQ(ioctl(port3_, IOCTL_SET_VLAN_MODE, req.get()), -1) << answer;
        EXPECT_THAT(logs(), ElementsAre(IoctlError({"mode 77", "flag 3"}))) << answer;
    }
}

}  // namespace
