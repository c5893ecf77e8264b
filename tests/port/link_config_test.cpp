// NIC_LNK_TYPE and NIC_SET_MAX_CAP: the chip calls of every speed-type code and capability value.
#include <optional>
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

using LinkConfigTest = esw_test::PortTest<3>;

std::vector<std::string> forced(std::optional<int> autoMode, int speed, int duplex) {
    std::vector<std::string> lines;
    if (autoMode) lines.push_back("peridot_set_port_auto_mode(0, 3, " + std::to_string(*autoMode) + ")");
    lines.push_back("peridot_set_port_phy_speed(0, 3, " + std::to_string(speed) + ")");
    lines.push_back("peridot_set_port_speed(0, 3, " + std::to_string(speed) + ")");
    lines.push_back("peridot_set_duplex_mode(0, 3, " + std::to_string(duplex) + ")");
    return lines;
}

const std::vector<std::string> kCmode{"peridot_set_cmode_2p5G(0, 3)", "peridot_set_cmode_2p5G(0, 3)"};

struct LinkCase {
    uint64_t code;  // as carried in the command's pointer argument
    uint32_t result;
    std::vector<std::string> calls;
};

class LinkTypeTest : public LinkConfigTest, public testing::WithParamInterface<LinkCase> {};

TEST_P(LinkTypeTest, MakesTheCodesChipCalls) {
    const LinkCase& c = GetParam();
    EXPECT_EQ(ioctl_value(handle_, NIC_LNK_TYPE, c.code), c.result == 0 ? 0 : -1);
    EXPECT_THAT(journal(), ElementsAreArray(c.calls));
    forget();
    EXPECT_EQ(mrvl_esw_set_link_type(0, 3, static_cast<uint32_t>(c.code)), c.result);
    EXPECT_THAT(journal(), ElementsAreArray(c.calls));
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryCode, LinkTypeTest,
                         testing::Values(LinkCase{0, 0, forced(7, 2, 0)}, LinkCase{1, 0, forced(11, 0, 0)},
                                         LinkCase{2, 0, forced(9, 1, 0)}, LinkCase{3, 0, forced(10, 0, 1)},
                                         LinkCase{4, 0, forced(8, 1, 1)}, LinkCase{5, 0, forced(0, 15, 1)},
                                         LinkCase{6, 0, forced(3, 2, 1)}, LinkCase{7, 0, forced(2, 2, 1)},
                                         LinkCase{8, 0, forced(1, 2, 1)}, LinkCase{9, 0, forced(4, 15, 1)},
                                         LinkCase{10, 0, forced(5, 15, 0)}, LinkCase{11, 0, forced(6, 2, 1)},
                                         LinkCase{12, 0, forced(std::nullopt, 2, 1)}, LinkCase{13, 4, {}},
                                         LinkCase{14, 4, {}}, LinkCase{15, 0, forced(4, 2, 1)},
                                         LinkCase{16, 4, {}}, LinkCase{17, 0, kCmode}, LinkCase{18, 4, {}},
                                         LinkCase{19, 4, {}}, LinkCase{0xFFFFFFFF, 4, {}},
                                         LinkCase{0x100000005, 0, forced(0, 15, 1)}));

TEST_F(LinkConfigTest, ForcedSequenceStopsAtTheFailingCall) {
    for (uint32_t code : {8u, 12u}) {
        const std::vector<std::string> full = code == 8 ? forced(1, 2, 1) : forced(std::nullopt, 2, 1);
        for (size_t k = 0; k < full.size(); ++k) {
            sim::reset();
            handle_ = open_port(3);
            const std::string call = full[k].substr(0, full[k].find('('));
            sim::inject({.call = call, .result = 0, .nth = 1});
            EXPECT_EQ(mrvl_esw_set_link_type(0, 3, code), 1u);
            EXPECT_THAT(journal(), ElementsAreArray(full.begin(), full.begin() + static_cast<long>(k) + 1));
            EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {call, "port 3", "status 0"}))) << call;
        }
    }
}

TEST_F(LinkConfigTest, PhySpeedFailureLeavesTheAutoModeWritten) {
    sim::inject({.call = "peridot_set_port_phy_speed", .result = 0});
    EXPECT_EQ(ioctl_value(handle_, NIC_LNK_TYPE, 4), -1);
    EXPECT_EQ(sim::port(3).autoMode, 8);
    EXPECT_EQ(sim::port(3).speed, 15u);
}

TEST_F(LinkConfigTest, Only2p5gSecondAnswerCounts) {
    sim::inject({.call = "peridot_set_cmode_2p5G", .result = 0, .nth = 1});
    EXPECT_EQ(mrvl_esw_set_link_type(0, 3, 17), 0u);
    EXPECT_THAT(logs(), IsEmpty());
    sim::inject({.call = "peridot_set_cmode_2p5G", .result = 0, .nth = 2});
    EXPECT_EQ(mrvl_esw_set_link_type(0, 3, 17), 1u);
    EXPECT_EQ(journal().size(), 4u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"peridot_set_cmode_2p5G", "port 3", "status 0"})));
}

struct CapabilityCase {
    uint32_t value;
    uint32_t result;
    std::vector<std::string> calls;
};

class CapabilityTest : public LinkConfigTest, public testing::WithParamInterface<CapabilityCase> {};

TEST_P(CapabilityTest, ActsOnlyOnValueOne) {
    const CapabilityCase& c = GetParam();
    uint32_t request[2] = {c.value, 1};
    EXPECT_EQ(mrvl_esw_set_nic_max_cap(handle_, request), c.result);
    EXPECT_THAT(journal(), ElementsAreArray(c.calls));
    EXPECT_EQ(ioctl(handle_, NIC_SET_MAX_CAP, request), c.result == 0 ? 0 : -1);
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryClass, CapabilityTest,
                         testing::Values(CapabilityCase{1, 0, {"peridot_set_port_auto_mode(0, 3, 6)"}},
                                         CapabilityCase{0, 17, {}}, CapabilityCase{3, 17, {}},
                                         CapabilityCase{4, 17, {}}, CapabilityCase{2, 4, {}},
                                         CapabilityCase{5, 4, {}}, CapabilityCase{0xFFFFFFFF, 4, {}}));

TEST_F(LinkConfigTest, CapabilityChipFailureIsLogged) {
    sim::inject({.call = "peridot_set_port_auto_mode", .result = 0});
    uint32_t value = 1;
    EXPECT_EQ(mrvl_esw_set_nic_max_cap(handle_, &value), 1u);
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_esw_set_nic_max_cap", "port 3", "status 0"})));
}

TEST_F(LinkConfigTest, CapabilityRefusesANullRequest) {
    EXPECT_EQ(mrvl_esw_set_nic_max_cap(handle_, nullptr), 1u);
    EXPECT_EQ(ioctl(handle_, NIC_SET_MAX_CAP, nullptr), -1);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(),
                ElementsAre(ErrorFrom(kInit, {"port 3", "null"}), ErrorFrom(kInit, {"port 3", "null"})));
}

}  // namespace
