// What a user types, before any driver is involved: statements, values and the grammar's verdicts.
#include "tools/eswctl/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/eswctl/vocabulary.h"

namespace {

using eswctl::Grammar;
using eswctl::Words;
using testing::ElementsAre;

TEST(SplitLine, SemicolonsSeparateHashCommentsQuotesGroup) {
    const auto split = eswctl::split_line("port 3 up; echo 'a; b' # port 4 up; echo c");
    ASSERT_TRUE(split.error.empty());
    EXPECT_THAT(split.statements, ElementsAre(Words{"port", "3", "up"}, Words{"echo", "a; b"}));
    EXPECT_TRUE(eswctl::split_line("   ;; # nothing").statements.empty());
    const auto open = eswctl::split_line("echo \"never closed; port 3 up");
    EXPECT_EQ(open.error, "unterminated double quote");
    EXPECT_TRUE(open.statements.empty());
}

TEST(Values, NumbersAreDecimalOrHexAndRangeChecked) {
    EXPECT_EQ(eswctl::parse_unsigned("4094", 4095), 4094u);
    EXPECT_EQ(eswctl::parse_unsigned("0x2002", 0xffff), 0x2002u);
    EXPECT_EQ(eswctl::parse_unsigned("4096", 4095), std::nullopt);
    EXPECT_EQ(eswctl::parse_unsigned("12a", 1000), std::nullopt);
    EXPECT_EQ(eswctl::parse_unsigned("", 1000), std::nullopt);
    EXPECT_EQ(eswctl::parse_unsigned("99999999999999999999", UINT64_MAX), std::nullopt);
    EXPECT_EQ(eswctl::parse_signed("-1", INT32_MIN, INT32_MAX), -1);
    EXPECT_EQ(eswctl::parse_signed("2147483648", INT32_MIN, INT32_MAX), std::nullopt);
}

TEST(Values, ListsExpandRangesKeepOrderAndDropRepeats) {
    EXPECT_EQ(eswctl::parse_list("1-3,6", 1, 10), (std::vector<uint32_t>{1, 2, 3, 6}));
    EXPECT_EQ(eswctl::parse_list("8,2-3,3", 1, 10), (std::vector<uint32_t>{8, 2, 3}));
    EXPECT_EQ(eswctl::parse_list("0", 1, 10), std::nullopt);
    EXPECT_EQ(eswctl::parse_list("11", 1, 10), std::nullopt);
    EXPECT_EQ(eswctl::parse_list("4-2", 1, 10), std::nullopt);
    EXPECT_EQ(eswctl::parse_list("1,,2", 1, 10), std::nullopt);
}

TEST(Values, MacAddressesInThreeSpellings) {
    const std::array<uint8_t, 6> mac = {0x00, 0x1b, 0x21, 0x3a, 0x4f, 0x01};
    EXPECT_EQ(eswctl::parse_mac("00:1b:21:3a:4f:01"), mac);
    EXPECT_EQ(eswctl::parse_mac("00-1B-21-3A-4F-01"), mac);
    EXPECT_EQ(eswctl::parse_mac("001b.213a.4f01"), mac);
    EXPECT_EQ(eswctl::parse_mac("00:1b:21:3a:4f"), std::nullopt);
    EXPECT_EQ(eswctl::parse_mac("00:1b-21:3a:4f:01"), std::nullopt);
    EXPECT_EQ(eswctl::parse_mac("00:1b:21:3a:4f:0g"), std::nullopt);
}

TEST(Values, HexBytesSpacedJoinedOrSeparated) {
    const std::vector<uint8_t> bytes = {0x01, 0x80, 0xc2, 0x00};
    EXPECT_EQ(eswctl::parse_hex_bytes({"01", "80", "c2", "00"}), bytes);
    EXPECT_EQ(eswctl::parse_hex_bytes({"0180c200"}), bytes);
    EXPECT_EQ(eswctl::parse_hex_bytes({"01:80", "0xc200"}), bytes);
    EXPECT_EQ(eswctl::parse_hex_bytes({"018"}), std::nullopt);
    EXPECT_EQ(eswctl::parse_hex_bytes({"zz"}), std::nullopt);
}

TEST(Values, CableRatesGiveChipEncodings) {
    auto rate = eswctl::parse_cable_rate("100/half");
    ASSERT_TRUE(rate);
    EXPECT_EQ(rate->speed, 1u);
    EXPECT_EQ(rate->duplex, 0u);
    rate = eswctl::parse_cable_rate("1000");
    ASSERT_TRUE(rate);
    EXPECT_EQ(rate->speed, 2u);
    EXPECT_EQ(rate->duplex, 1u);
    EXPECT_FALSE(eswctl::parse_cable_rate("2500"));
    EXPECT_FALSE(eswctl::parse_cable_rate("100/quarter"));
}

TEST(Vocabulary, LinkTypeTokensAndCommandNames) {
    EXPECT_EQ(eswctl::link_type_by_token("100/full"), 4u);
    EXPECT_EQ(eswctl::link_type_by_token("1000/full-nonegotiate"), 12u);
    EXPECT_EQ(eswctl::link_type_text(17), "2500 Mbps / Full");
    EXPECT_EQ(eswctl::link_type_text(18), "code 18");
    ASSERT_NE(eswctl::command_by_name("nic_link"), nullptr);
    EXPECT_EQ(eswctl::command_by_name("nic_link")->number, 8194u);
    EXPECT_EQ(eswctl::command_label(8224), "8224");
    EXPECT_EQ(eswctl::command_label(8255), "IOCTL_SET_VLAN_MODE");
    // Exactly the four commands whose argument is not a record address.
    int notBuffers = 0;
    for (const auto& c : eswctl::kCommandNames) notBuffers += c.form != eswctl::ArgForm::buffer;
    EXPECT_EQ(notBuffers, 4);
}

const Grammar& grammar() {
    static const Grammar g({
        "port PORTS up",
        "port PORTS mru [BYTES]",
        "port PORTS access vlan VID",
        "port PORTS access vlan remove VID",
        "port PORTS storm KIND RATE",
        "mac mc add MAC vlan VID port PORT [group N] [tag N]",
        "cpu tx PORT HEX...",
        "show ports",
    });
    return g;
}

struct Verdict {
    const char* input;
    int row;            // -1: refused
    const char* error;  // the whole message when refused
};

class GrammarMatch : public testing::TestWithParam<Verdict> {};

TEST_P(GrammarMatch, PicksTheRowOrSaysWhatIsWrong) {
    const Verdict& v = GetParam();
    const auto result = grammar().match(eswctl::split_line(v.input).statements.at(0));
    EXPECT_EQ(result.row, v.row);
    EXPECT_EQ(result.error, v.error);
}

INSTANTIATE_TEST_SUITE_P(
    Table, GrammarMatch,
    testing::Values(
        Verdict{"port 1-4 up", 0, ""}, Verdict{"port 3 mru", 1, ""}, Verdict{"port 3 mru 9000", 1, ""},
        Verdict{"port 3 access vlan 10", 2, ""}, Verdict{"port 3 access vlan remove 10", 3, ""},
        Verdict{"mac mc add 01:00:5e:00:00:01 vlan 10 port 3 tag 2 group 7", 5, ""},
        Verdict{"cpu tx 3 01 80 c2", 6, ""}, Verdict{"frob", -1, "unknown command 'frob' (try 'help')"},
        Verdict{"port 0 up", -1, "bad port list '0': expected 1-10"},
        Verdict{"port 3 mru big", -1,
                "bad frame size 'big': expected -2147483648-2147483647; usage: port PORTS mru [BYTES]"},
        Verdict{"port 3 access vlan", -1, "'port 3 access vlan' is incomplete; expected one of: VID, remove"},
        Verdict{"port 3 access vlan 5000", -1,
                "bad VLAN id '5000': expected 0-4095; usage: port PORTS access vlan VID"},
        Verdict{"port 3 storm unicast", -1, "missing RATE; usage: port PORTS storm KIND RATE"},
        Verdict{"port 3 storm anycast 5", -1,
                "bad traffic kind 'anycast': expected one of unicast|multicast|broadcast; usage: port PORTS "
                "storm KIND RATE"},
        Verdict{"port 3 frob", -1,
                "unknown word 'frob' after 'port 3'; expected one of: access, mru, storm, up"},
        Verdict{"port 3 up now", -1, "unexpected 'now'; usage: port PORTS up"},
        Verdict{"mac mc add 01:00:5e:00:00:01 vlan 10 port 3 group", -1,
                "missing N after 'group'; usage: mac mc add MAC vlan VID port PORT [group N] [tag N]"},
        Verdict{"mac mc add 01:00:5e:00:00:01 vlan 10 port 3 group 1 group 2", -1,
                "unexpected 'group'; usage: mac mc add MAC vlan VID port PORT [group N] [tag N]"},
        Verdict{"cpu tx 3 01 8", -1,
                "bad bytes '01...': expected hex digits in pairs, e.g. 01 80 c2 or 0180c2; usage: cpu tx "
                "PORT HEX..."},
        Verdict{"show", -1, "missing ports; usage: show ports"}));

TEST(Grammar, ValuesArriveParsedUnderTheirKeys) {
    auto r =
        grammar().match({"mac", "mc", "add", "01-00-5e-00-00-01", "vlan", "10", "port", "3", "group", "7"});
    ASSERT_EQ(r.row, 5);
    EXPECT_EQ(r.args.at("MAC").mac, (std::array<uint8_t, 6>{0x01, 0x00, 0x5e, 0x00, 0x00, 0x01}));
    EXPECT_EQ(r.args.number("VID"), 10u);
    EXPECT_EQ(r.args.number("PORT"), 3u);
    EXPECT_EQ(r.args.number("group"), 7u);
    EXPECT_FALSE(r.args.has("tag"));
    r = grammar().match({"port", "2,4-5", "storm", "broadcast", "off"});
    ASSERT_EQ(r.row, 4);
    EXPECT_EQ(r.args.list("PORTS"), (std::vector<uint32_t>{2, 4, 5}));
    EXPECT_EQ(r.args.number("KIND"), 2u);
    EXPECT_EQ(r.args.number("RATE"), 100u);  // off is the rate that lifts storm control
    r = grammar().match({"port", "3", "mru", "-1"});
    ASSERT_EQ(r.row, 1);
    EXPECT_EQ(r.args.signed_number("BYTES"), -1);
    r = grammar().match({"cpu", "tx", "3", "01", "80c2"});
    ASSERT_EQ(r.row, 6);
    EXPECT_EQ(r.args.at("HEX").bytes, (std::vector<uint8_t>{0x01, 0x80, 0xc2}));
}

TEST(Grammar, CompletesLiteralsChoicesAndOptionalGroups) {
    EXPECT_THAT(grammar().complete({}, "p"), ElementsAre("port"));
    EXPECT_THAT(grammar().complete({"port", "3"}, ""), ElementsAre("access", "mru", "storm", "up"));
    EXPECT_THAT(grammar().complete({"port", "3", "access", "vlan"}, "r"), ElementsAre("remove"));
    EXPECT_THAT(grammar().complete({"port", "3", "storm"}, "b"), ElementsAre("broadcast"));
    EXPECT_THAT(grammar().complete({"port", "3", "storm", "unicast"}, ""), ElementsAre("off"));
    EXPECT_THAT(grammar().complete(
                    {"mac", "mc", "add", "01:00:5e:00:00:01", "vlan", "1", "port", "3", "tag", "1"}, ""),
                ElementsAre("group"));
    EXPECT_TRUE(grammar().complete({"show", "ports"}, "").empty());
    EXPECT_TRUE(grammar().complete({"port", "99"}, "").empty());
}

TEST(Grammar, HelpTopicsFollowTheLiteralWords) {
    EXPECT_TRUE(grammar().about(3, {"port", "access", "vlan", "remove"}));
    EXPECT_TRUE(grammar().about(3, {"port"}));
    EXPECT_FALSE(grammar().about(3, {"port", "storm"}));
    EXPECT_TRUE(grammar().about(7, {}));
}

}  // namespace
