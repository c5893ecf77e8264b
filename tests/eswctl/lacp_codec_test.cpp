// The LACP codec against the frame layout byte by byte, and against frames recorded on real
// equipment (decoded independently with a protocol analyser when the table below was written).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <string>
#include <vector>

#include "tools/eswctl/lacp.h"

namespace {

using eswctl::lacp::Mac;
using eswctl::lacp::Pdu;
using eswctl::lacp::PortInfo;
using testing::HasSubstr;

std::vector<std::vector<uint8_t>> read_pcap(const std::string& name) {
    const std::string path = std::string(ESW_CAPTURES_DIR) + "/" + name;
    char error[PCAP_ERRBUF_SIZE];
    pcap_t* pcap = pcap_open_offline(path.c_str(), error);
    EXPECT_NE(pcap, nullptr) << path << ": " << error;
    std::vector<std::vector<uint8_t>> frames;
    if (!pcap) return frames;
    pcap_pkthdr* header;
    const u_char* bytes;
    while (pcap_next_ex(pcap, &header, &bytes) == 1) frames.emplace_back(bytes, bytes + header->caplen);
    pcap_close(pcap);
    return frames;
}

// Every field distinct, so that a field written to the wrong place shows.
Pdu sample() {
    Pdu pdu;
    pdu.source = {0x02, 0x1b, 0x00, 0x00, 0x00, 0x03};
    pdu.actor = {0x8001, {0x02, 0x1b, 0x00, 0x00, 0x00, 0x00}, 0x0007, 0x1234, 0x0003, 0x3d};
    pdu.partner = {0x0102, {0x00, 0x13, 0xc4, 0x12, 0x0f, 0x00}, 0x000d, 0x0304, 0x0016, 0x85};
    pdu.collectorMaxDelay = 0x0506;
    return pdu;
}

struct Field {
    const char* name;
    size_t offset;
    std::vector<uint8_t> bytes;
};

class LacpLayout : public testing::TestWithParam<Field> {};

TEST_P(LacpLayout, FieldSitsAtItsOffset) {
    const std::vector<uint8_t> frame = eswctl::lacp::build(sample());
    ASSERT_EQ(frame.size(), 124u);
    const Field& f = GetParam();
    const std::vector<uint8_t> got(frame.begin() + static_cast<long>(f.offset),
                                   frame.begin() + static_cast<long>(f.offset + f.bytes.size()));
    EXPECT_EQ(got, f.bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Frame, LacpLayout,
    testing::Values(Field{"destination", 0, {0x01, 0x80, 0xc2, 0x00, 0x00, 0x02}},
                    Field{"source", 6, {0x02, 0x1b, 0x00, 0x00, 0x00, 0x03}},
                    Field{"ethertype", 12, {0x88, 0x09}}, Field{"subtype_version", 14, {0x01, 0x01}},
                    Field{"actor_tlv", 16, {0x01, 0x14}}, Field{"actor_system_priority", 18, {0x80, 0x01}},
                    Field{"actor_system", 20, {0x02, 0x1b, 0x00, 0x00, 0x00, 0x00}},
                    Field{"actor_key", 26, {0x00, 0x07}}, Field{"actor_port_priority", 28, {0x12, 0x34}},
                    Field{"actor_port", 30, {0x00, 0x03}}, Field{"actor_state_reserved", 32, {0x3d, 0, 0, 0}},
                    Field{"partner_tlv", 36, {0x02, 0x14}},
                    Field{"partner_system_priority", 38, {0x01, 0x02}},
                    Field{"partner_system", 40, {0x00, 0x13, 0xc4, 0x12, 0x0f, 0x00}},
                    Field{"partner_key", 46, {0x00, 0x0d}}, Field{"partner_port_priority", 48, {0x03, 0x04}},
                    Field{"partner_port", 50, {0x00, 0x16}},
                    Field{"partner_state_reserved", 52, {0x85, 0, 0, 0}},
                    Field{"collector_tlv", 56, {0x03, 0x10}}, Field{"collector_max_delay", 58, {0x05, 0x06}},
                    Field{"collector_reserved", 60, std::vector<uint8_t>(12, 0)},
                    Field{"terminator", 72, {0x00, 0x00}}, Field{"padding", 74, std::vector<uint8_t>(50, 0)}),
    [](const testing::TestParamInfo<Field>& info) { return std::string(info.param.name); });

TEST(LacpCodec, DecodesWhatItBuilds) {
    const auto parsed = eswctl::lacp::parse(eswctl::lacp::build(sample()));
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(*parsed, sample());
}

struct Recorded {
    size_t frame;  // 1-based, as the analyser numbers them
    PortInfo actor;
    PortInfo partner;
};

constexpr Mac kSideA = {0x00, 0x13, 0xc4, 0x12, 0x0f, 0x00};
constexpr Mac kSideB = {0x00, 0x0e, 0x83, 0x16, 0xf5, 0x00};

class RecordedLacp : public testing::TestWithParam<Recorded> {};

TEST_P(RecordedLacp, DecodesTheFieldsOfARealFrame) {
    const auto frames = read_pcap("lacp-20-frames.pcap");
    ASSERT_EQ(frames.size(), 20u);
    const Recorded& r = GetParam();
    std::string why;
    const auto pdu = eswctl::lacp::parse(frames[r.frame - 1], &why);
    ASSERT_TRUE(pdu.has_value()) << why;
    EXPECT_EQ(pdu->actor, r.actor);
    EXPECT_EQ(pdu->partner, r.partner);
    EXPECT_EQ(pdu->collectorMaxDelay, 32768);
}

INSTANTIATE_TEST_SUITE_P(
    Capture, RecordedLacp,
    testing::Values(Recorded{1, {32768, kSideA, 13, 32768, 22, 0x85}, {32768, kSideB, 13, 32768, 25, 0x36}},
                    Recorded{4, {32768, kSideA, 13, 32768, 22, 0x4d}, {0, {}, 0, 0, 0, 0x00}},
                    Recorded{9, {32768, kSideB, 13, 32768, 25, 0x0c}, {32768, kSideA, 13, 32768, 22, 0x75}},
                    Recorded{
                        20, {32768, kSideA, 13, 32768, 22, 0x3d}, {32768, kSideB, 13, 32768, 25, 0x3c}}));

// Real senders zero every reserved byte and pad to 124 bytes, as build() does: re-encoding the
// decoded fields must give the recorded bytes back, all of them.
TEST(LacpCodec, ReEncodingRecordedFramesGivesTheSameBytes) {
    const auto frames = read_pcap("lacp-20-frames.pcap");
    ASSERT_EQ(frames.size(), 20u);
    for (size_t i = 0; i < frames.size(); ++i) {
        const auto pdu = eswctl::lacp::parse(frames[i]);
        ASSERT_TRUE(pdu.has_value()) << "frame " << i + 1;
        EXPECT_EQ(eswctl::lacp::build(*pdu), frames[i]) << "frame " << i + 1;
    }
}

TEST(LacpCodec, DescribesAFrameWithStateFlagsByName) {
    const auto frames = read_pcap("lacp-20-frames.pcap");
    ASSERT_FALSE(frames.empty());
    const auto pdu = eswctl::lacp::parse(frames[0]);
    ASSERT_TRUE(pdu.has_value());
    EXPECT_EQ(
        eswctl::lacp::describe(*pdu),
        "LACPDU from 00:13:c4:12:0f:0d\n"
        "  actor   system 32768/00:13:c4:12:0f:00 key 13 port 32768/22 state activity,aggregation,expired\n"
        "  partner system 32768/00:0e:83:16:f5:00 key 13 port 32768/25 state "
        "short-timeout,aggregation,collecting,distributing\n"
        "  collector max delay 32768");
}

TEST(LacpCodec, OtherProtocolsAreRefusedAndSummarisedOnOneLine) {
    const auto frames = read_pcap("lldp-and-cdp.pcap");
    ASSERT_GE(frames.size(), 4u);
    std::string why;
    EXPECT_FALSE(eswctl::lacp::parse(frames[0], &why).has_value());
    EXPECT_EQ(why, "ethertype 0x0176 is not slow protocols");
    EXPECT_EQ(eswctl::lacp::summary(frames[0]),
              "00:18:ba:98:68:8f > 01:00:0c:cc:cc:cc 802.3 length 374 snap 00:00:0c/0x2000 (CDP), 388 bytes");
    EXPECT_FALSE(eswctl::lacp::parse(frames[2], &why).has_value());
    EXPECT_EQ(why, "ethertype 0x88cc is not slow protocols");
    EXPECT_EQ(eswctl::lacp::summary(frames[2]),
              "00:19:2f:a7:b2:8d > 01:80:c2:00:00:0e ethertype 0x88cc (LLDP), 296 bytes");
}

TEST(LacpCodec, SummaryNamesSlowProtocolsSubtypeAndVlanTag) {
    std::vector<uint8_t> frame = eswctl::lacp::build(sample());
    EXPECT_EQ(eswctl::lacp::summary(frame),
              "02:1b:00:00:00:03 > 01:80:c2:00:00:02 ethertype 0x8809 (slow protocols, LACP), 124 bytes");
    // The same LACPDU behind an 802.1Q tag of VLAN 100 still decodes.
    frame.insert(frame.begin() + 12, {0x81, 0x00, 0x00, 0x64});
    EXPECT_THAT(eswctl::lacp::summary(frame), HasSubstr(" vlan 100 ethertype 0x8809 (slow protocols, LACP)"));
    const auto pdu = eswctl::lacp::parse(frame);
    ASSERT_TRUE(pdu.has_value());
    EXPECT_EQ(pdu->actor, sample().actor);
}

struct Damage {
    const char* name;
    size_t offset;  // byte to change, or the length to cut the frame to when cut is set
    uint8_t value;
    bool cut;
    const char* why;
};

class DamagedLacp : public testing::TestWithParam<Damage> {};

TEST_P(DamagedLacp, IsRefusedWithTheReason) {
    std::vector<uint8_t> frame = eswctl::lacp::build(sample());
    const Damage& d = GetParam();
    if (d.cut)
        frame.resize(d.offset);
    else
        frame[d.offset] = d.value;
    std::string why;
    EXPECT_FALSE(eswctl::lacp::parse(frame, &why).has_value());
    EXPECT_EQ(why, d.why);
}

INSTANTIATE_TEST_SUITE_P(
    Frame, DamagedLacp,
    testing::Values(
        Damage{"marker_subtype", 14, 2, false, "slow-protocols subtype 2 is not LACP"},
        Damage{"version_2", 15, 2, false, "LACP version 2 is not 1"},
        Damage{"actor_length", 17, 19, false, "actor TLV: type 1 length 19, expected type 1 length 20"},
        Damage{"partner_type", 36, 3, false, "partner TLV: type 3 length 20, expected type 2 length 20"},
        Damage{"collector_length", 57, 0, false, "collector TLV: type 3 length 0, expected type 3 length 16"},
        Damage{"terminator_type", 72, 5, false, "terminator TLV: type 5 length 0, expected type 0 length 0"},
        Damage{"cut_before_terminator", 73, 0, true, "LACPDU cut short at 73 bytes"},
        Damage{"no_ethernet_header", 10, 0, true, "frame of 10 bytes has no Ethernet header"}),
    [](const testing::TestParamInfo<Damage>& info) { return std::string(info.param.name); });

TEST(LacpState, NamesAndParsesTheFlags) {
    EXPECT_EQ(eswctl::lacp::state_names(0x85), "activity,aggregation,expired");
    EXPECT_EQ(eswctl::lacp::state_names(0x00), "none");
    EXPECT_EQ(eswctl::lacp::state_names(0xff),
              "activity,short-timeout,aggregation,synchronization,collecting,distributing,defaulted,expired");
    EXPECT_EQ(eswctl::lacp::parse_state("activity,collecting"), 0x11);
    EXPECT_EQ(eswctl::lacp::parse_state("0x3d"), 0x3d);
    EXPECT_EQ(eswctl::lacp::parse_state("61"), 61);
    EXPECT_EQ(eswctl::lacp::parse_state("none"), 0);
    EXPECT_EQ(eswctl::lacp::parse_state("activity,sleepy"), std::nullopt);
    EXPECT_EQ(eswctl::lacp::parse_state("0x100"), std::nullopt);
}

}  // namespace
