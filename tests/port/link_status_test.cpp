// NIC_LINK and the link, speed-type and media-type queries behind it.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "tests/common/driver_test.h"

namespace {

using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kInit = "mrvl_periodot_init";
using LinkBytes = std::array<uint8_t, sizeof(EswLinkInfo)>;

void put32(LinkBytes& b, size_t offset, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) b[offset + i] = static_cast<uint8_t>(v >> (8 * i));
}

// The host's record as bytes: link up at 4, speed type at 16, the media flag byte at 20, media at 24.
LinkBytes link_bytes(uint32_t up, uint32_t speedType, uint8_t mediaNotOne, uint32_t media) {
    LinkBytes b{};
    put32(b, 4, up);
    put32(b, 16, speedType);
    b[20] = mediaNotOne;
    put32(b, 24, media);
    return b;
}

class LinkStatusTest : public DriverTest {
protected:
    void TearDown() override {
        EswPortMapEntry* table = nullptr;
        mrvl_get_phy_port_map(&table, nullptr);
        std::memcpy(table, saved_.data(), sizeof saved_);
        DriverTest::TearDown();
    }
    void SetUp() override {
        DriverTest::SetUp();
        EswPortMapEntry* table = nullptr;
        mrvl_get_phy_port_map(&table, nullptr);
        std::memcpy(saved_.data(), table, sizeof saved_);
    }
    // NIC_LINK on `port` into a record prefilled with 0xAB; stdout is captured into `printed`.
    LinkBytes query(uint32_t port) {
        EswFrameworkHandle* h = open_port(port);
        LinkBytes b;
        b.fill(0xAB);
        testing::internal::CaptureStdout();
        EXPECT_EQ(ioctl(h, NIC_LINK, b.data()), 0);
        std::fflush(stdout);
        printed = testing::internal::GetCapturedStdout();
        return b;
    }
    std::string printed;
    std::array<EswPortMapEntry, 11> saved_{};
};

TEST_F(LinkStatusTest, LinkUpOnTheDataPlanePort) {
    sim::plug(9, 2, 1);
    EXPECT_EQ(query(9), link_bytes(1, ESW_SPEED_1000_FULL, 1, 2));
    EXPECT_THAT(journal(), ElementsAre("peridot_get_link_state(0, 9, ptr)", "peridot_get_speed(0, 9, ptr)",
                                       "peridot_get_duplex_mode(0, 9, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(printed, "");
}

TEST_F(LinkStatusTest, LinkDownReadsNeitherSpeedNorDuplex) {
    EXPECT_EQ(query(3), link_bytes(0, 0, 1, 0));
    EXPECT_THAT(journal(), ElementsAre("peridot_get_link_state(0, 3, ptr)"));
    EXPECT_THAT(logs(), IsEmpty());
}

// 259 is not in the port list even though its low byte is 3.
TEST_F(LinkStatusTest, UnknownPortPrintsAndLeavesAZeroRecord) {
    for (uint32_t port : {11u, 259u}) {
        EXPECT_EQ(query(port), LinkBytes{}) << port;
        EXPECT_EQ(printed,
                  "mrvl_esw_get_link_state(portNum " + std::to_string(port) + ") index=11 FAILURE!!!!!\n");
        EXPECT_THAT(journal(), IsEmpty());
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"mrvl_get_nic_link_ioctl",
                                                          "port " + std::to_string(port), "result 1"})));
    }
}

TEST_F(LinkStatusTest, ChipFailureAnywhereLeavesAZeroRecordAndTwoRecords) {
    for (const char* call : {"peridot_get_link_state", "peridot_get_speed", "peridot_get_duplex_mode"}) {
        sim::reset();
        sim::plug(4, 1, 1);
        sim::inject({.call = call, .result = 0});
        EXPECT_EQ(query(4), LinkBytes{}) << call;
        EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {call, "port 4", "status 0"}),
                                        ErrorFrom(kInit, {"mrvl_get_nic_link_ioctl", "port 4", "result 1"})));
    }
}

TEST_F(LinkStatusTest, MediaTypeOneClearsTheFlag) {
    EswPortMapEntry* table = nullptr;
    mrvl_get_phy_port_map(&table, nullptr);
    table[3].mediaType = 1;
    EXPECT_EQ(query(3), link_bytes(0, 0, 0, 1));
}

TEST_F(LinkStatusTest, PortMissingFromThePortMapFailsTheQuery) {
    EswPortMapEntry* table = nullptr;
    mrvl_get_phy_port_map(&table, nullptr);
    table[5].portNum = 99;
    sim::plug(5);
    EXPECT_EQ(query(5), LinkBytes{});
    EXPECT_THAT(journal(), ElementsAre("peridot_get_link_state(0, 5, ptr)"));
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"media type", "port 5", "result 1"})));
    uint32_t media = 0;
    EXPECT_EQ(mrvl_esw_get_media_type(0, 5, &media), 1u);
    EXPECT_EQ(media, 4u);
}

TEST_F(LinkStatusTest, NullRecordIsRefused) {
    EswFrameworkHandle* h = open_port(3);
    EXPECT_EQ(mrvl_get_nic_link_ioctl(0, 3, nullptr), 1u);
    EXPECT_EQ(ioctl(h, NIC_LINK, nullptr), 0);
    EXPECT_THAT(journal(), IsEmpty());
    EXPECT_THAT(logs(), ElementsAre(ErrorFrom(kInit, {"null"}), ErrorFrom(kInit, {"null"})));
}

struct SpeedCase {
    uint32_t speed, duplex, type;
};

class SpeedTypeTest : public LinkStatusTest, public testing::WithParamInterface<SpeedCase> {};

TEST_P(SpeedTypeTest, TranslatesChipSpeedAndDuplex) {
    const SpeedCase c = GetParam();
    sim::plug(6, c.speed, c.duplex);
    uint32_t type = 99;
    EXPECT_EQ(mrvl_esw_get_speed_type(0, 6, &type), 0u);
    EXPECT_EQ(type, c.type);
    EXPECT_THAT(journal(), ElementsAre("peridot_get_speed(0, 6, ptr)", "peridot_get_duplex_mode(0, 6, ptr)"));
    forget();
    EXPECT_EQ(query(6), link_bytes(1, c.type, 1, 0));
    EXPECT_THAT(logs(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Table, SpeedTypeTest,
                         testing::Values(SpeedCase{0, 1, 3}, SpeedCase{0, 0, 1}, SpeedCase{0, 2, 1},
                                         SpeedCase{1, 1, 4}, SpeedCase{1, 0, 2}, SpeedCase{2, 1, 11},
                                         SpeedCase{2, 0, 11}, SpeedCase{3, 1, 0}, SpeedCase{15, 0, 0}));

TEST(LinkQueries, LinkStateOutValue) {
    sim::reset();
    uint32_t up = 7;
    sim::plug(2);
    EXPECT_EQ(mrvl_esw_get_link_state(0, 2, &up), 0u);
    EXPECT_EQ(up, 1u);
    // A state other than 1 counts as down.
    sim::inject({.call = "peridot_get_link_state", .result = 1, .nth = 1, .outValue = 5});
    EXPECT_EQ(mrvl_esw_get_link_state(0, 2, &up), 0u);
    EXPECT_EQ(up, 0u);
    // A chip failure leaves the caller's value; an unknown port clears it.
    up = 7;
    sim::inject({.call = "peridot_get_link_state", .result = 0, .nth = 1});
    EXPECT_EQ(mrvl_esw_get_link_state(0, 2, &up), 1u);
    EXPECT_EQ(up, 7u);
    testing::internal::CaptureStdout();
    EXPECT_EQ(mrvl_esw_get_link_state(0, 12, &up), 1u);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "mrvl_esw_get_link_state(portNum 12) index=11 FAILURE!!!!!\n");
    EXPECT_EQ(up, 0u);
    EXPECT_THAT(sim::logs(), ElementsAre(ErrorFrom(kInit, {"port 2", "status 0"})));
    sim::reset();
}

TEST(LinkQueries, SpeedFailureClearsTheOutValue) {
    sim::reset();
    uint32_t type = 9;
    sim::inject({.call = "peridot_get_duplex_mode", .result = 0});
    EXPECT_EQ(mrvl_esw_get_speed_type(0, 3, &type), 1u);
    EXPECT_EQ(type, 0u);
    sim::reset();
}

TEST(LinkQueries, MediaTypeFromThePortMap) {
    sim::reset();
    uint32_t media = 9;
    EXPECT_EQ(mrvl_esw_get_media_type(0, 10, &media), 0u);
    EXPECT_EQ(media, 2u);
    EXPECT_EQ(mrvl_esw_get_media_type(0, 0, &media), 0u);
    EXPECT_EQ(media, 0u);
    EXPECT_EQ(mrvl_esw_get_media_type(0, 11, &media), 1u);
    EXPECT_EQ(media, 4u);
    EXPECT_THAT(sim::journal(), IsEmpty());
    EXPECT_THAT(sim::logs(), IsEmpty());
}

TEST(LinkQueries, NullOutValuesAreRefusedBeforeAnyWork) {
    sim::reset();
    testing::internal::CaptureStdout();
    EXPECT_EQ(mrvl_esw_get_link_state(0, 12, nullptr), 1u);
    EXPECT_EQ(mrvl_esw_get_link_state(0, 3, nullptr), 1u);
    EXPECT_EQ(mrvl_esw_get_speed_type(0, 3, nullptr), 1u);
    EXPECT_EQ(mrvl_esw_get_media_type(0, 3, nullptr), 1u);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(sim::journal(), IsEmpty());
    EXPECT_EQ(sim::logs().size(), 4u);
    for (const sim::LogRecord& r : sim::logs()) EXPECT_THAT(r, ErrorFrom(kInit, {"null"}));
}

}  // namespace
