// eswctl as its users run it: scripts in, views and verdicts out, checked against what the
// commands must have done to the simulated chip.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/eswctl/run_eswctl.h"

namespace {

using eswctl_test::Result;
using eswctl_test::run_eswctl;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// The one row of a JSON view's array whose `key` equals `value`.
json row(const json& rows, const std::string& key, const json& value) {
    for (const json& r : rows)
        if (r.at(key) == value) return r;
    ADD_FAILURE() << "no row with " << key << " = " << value.dump() << " in " << rows.dump();
    return json::object();
}

Result script(const std::string& text, std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"-q"};
    args.insert(args.end(), extra.begin(), extra.end());
    return run_eswctl(args, text);
}

TEST(Shell, VlanCommandsBuildTheMembershipMatrix) {
    const Result run = script(
        "vlan create 10,20\n"
        "port 1-2 mode access; port 1-2 access vlan 10; port 1 access vlan remove 1\n"
        "port 8 mode trunk; port 8 trunk allow 10,20; port 8 native vlan set 20\n"
        "show vlans --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 1u) << run.out;
    const json& vlans = docs[0].at("vlans");
    // The data-plane port 9 carries every created VLAN tagged.
    EXPECT_EQ(row(vlans, "vlan", 10).at("untagged"), json({1, 2}));
    EXPECT_EQ(row(vlans, "vlan", 10).at("tagged"), json({8, 9}));
    EXPECT_EQ(row(vlans, "vlan", 20).at("untagged"), json({8}));
    EXPECT_EQ(row(vlans, "vlan", 20).at("tagged"), json({9}));
    // Port 1 left VLAN 1, port 2 stayed in it as access mode put it there.
    EXPECT_EQ(row(vlans, "vlan", 1).at("untagged"), json({2}));
}

TEST(Shell, PortSettingsShowInShowPorts) {
    const Result run = script(
        "port 3 mru 9000; port 3 speed 100/full; port 4 down\n"
        "sim plug 3 100/full; sim plug 5 10/half; leds refresh\n"
        "port 3 link --json; port 3 mru\n"
        "show ports --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out_has_line("port 3 mru 10240")) << run.out;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 2u) << run.out;
    EXPECT_EQ(
        docs[0],
        json::parse(R"([{"port":3,"link":"up","speedType":4,"speed":"100 Mbps / Full","mediaType":0}])"));
    const json& ports = docs[1].at("ports");
    const json p3 = row(ports, "port", 3);
    EXPECT_EQ(p3.at("mru"), 10240);
    EXPECT_EQ(p3.at("config"), "100/full");
    EXPECT_EQ(p3.at("speed"), "100/full");
    EXPECT_EQ(p3.at("led"), "100M");
    EXPECT_EQ(row(ports, "port", 4).at("admin"), "down");
    EXPECT_EQ(row(ports, "port", 4).at("link"), "down");
    EXPECT_EQ(row(ports, "port", 5).at("speed"), "10/half");
    EXPECT_EQ(row(ports, "port", 5).at("led"), "10M");
    EXPECT_EQ(row(ports, "port", 9).at("led"), nullptr);
    // Port 3 at 100M (code 2 at bits 4-5), port 5 at 10M (code 1 at bits 16-17), bit 9 for link-up.
    EXPECT_EQ(docs[1].at("ledRegister"), 0x10220);
}

TEST(Shell, TraceShowsEachChipCallAsItHappens) {
    const Result run = script("trace on\nport 3 mru 2048\ntrace off\nport 3 mru 1522\n");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    // Trace lines go to stderr, as strace's do; the one call while trace was on, nothing after.
    std::vector<std::string> calls;
    std::istringstream err(run.err);
    for (std::string line; std::getline(err, line);)
        if (line.find(") = ") != std::string::npos) calls.push_back(line);
    EXPECT_THAT(calls, ElementsAre("peridot_set_port_mtu(0, 3, 2048) = 1"));
}

TEST(Shell, JournalAndLogShowWhatTheLastCommandsDid) {
    const Result run = script("reset\nport 3 mru 1500\nport 3 mru\nshow journal 2 --json\nshow log --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 2u) << run.out;
    ASSERT_EQ(docs[0].size(), 2u);
    EXPECT_EQ(docs[0][0].at("call"), "peridot_set_port_mtu(0, 3, 1522)");
    EXPECT_EQ(docs[0][1].at("call"), "peridot_get_port_mtu(0, 3, ptr)");
    EXPECT_EQ(docs[1], json::array());  // reset cleared the bring-up's records
}

TEST(Shell, DriverRefusalShowsTheResultAndTheLogRecordsOfThatCommand) {
    const Result run = script(
        "echo start\n"
        "sim fault peridot_set_port_mtu result 0 port 3\n"
        "port 3 mru 1500\n"
        "show journal 1\n"
        "echo after\n",
        {"-k"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err,
                HasSubstr("eswctl: stdin:3: port 3: driver answered -1 to NIC_SET_MAX_FRM_LEN (8199)\n"
                          "  log: [mrvl_periodot_init:"));
    EXPECT_TRUE(run.out_has_line("peridot_set_port_mtu(0, 3, 1522) = 0 (injected fault)")) << run.out;
    EXPECT_TRUE(run.out_has_line("after"));  // -k goes on
}

TEST(Shell, RefusalStopsAScriptAtItsLine) {
    const Result run = script("echo start\nsim fault peridot_set_port_mtu\nport 3 mru 1500\necho after\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("eswctl: stdin:3: port 3: driver answered -1"));
    EXPECT_THAT(run.err, HasSubstr("eswctl: stdin: stopped at line 3\n"));
    EXPECT_THAT(run.out_lines(), ElementsAre("start"));
}

struct BadInput {
    const char* name;
    const char* line;
    const char* message;
};

class ShellBadInput : public testing::TestWithParam<BadInput> {};

TEST_P(ShellBadInput, StopsWithExitTwoNamingTheLine) {
    const Result run = script(std::string("echo before\n") + GetParam().line + "\necho after\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr(std::string("eswctl: stdin:2: ") + GetParam().message));
    EXPECT_THAT(run.out_lines(), ElementsAre("before"));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ShellBadInput,
    testing::Values(BadInput{"unknown_command", "frobnicate 3", "unknown command 'frobnicate' (try 'help')"},
                    BadInput{"port_out_of_range", "port 11 up", "bad port list '11': expected 1-10"},
                    BadInput{"missing_vlan", "port 3 native vlan set",
                             "missing VID; usage: port PORTS native vlan set VID"},
                    BadInput{"unknown_speed", "port 3 speed fast",
                             "bad speed 'fast': expected one of unknown, 10/half"},
                    BadInput{"short_mac", "mac static add 00:11:22 vlan 10 dataplane",
                             "bad MAC address '00:11:22': expected six bytes"},
                    BadInput{"surplus_word", "port 3 up now", "unexpected 'now'; usage: port PORTS up"},
                    BadInput{"unknown_word", "port 3 shutdown",
                             "unknown word 'shutdown' after 'port 3'; expected one of: access,"},
                    BadInput{"open_quote", "echo \"open", "unterminated double quote"},
                    BadInput{"json_on_a_setter", "port 3 up --json", "'port PORTS up' has no --json form"},
                    BadInput{"raw_callback", "ioctl IOCTL_SW_REG_CPU_RX_CALLBACK 0",
                             "IOCTL_SW_REG_CPU_RX_CALLBACK takes a function"}),
    [](const testing::TestParamInfo<BadInput>& info) { return std::string(info.param.name); });

TEST(Shell, OneShotRunsSemicolonSeparatedCommandsUpToAComment) {
    const Result run = run_eswctl({"-q", "-c", "echo a; echo 'b; c' # echo d"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out_lines(), ElementsAre("a", "b; c"));
}

TEST(Shell, EchoOptionPrintsEachCommandBeforeItsOutput) {
    const Result run = run_eswctl({"-q", "-x", "-c", "port 2 mru"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out_lines(), ElementsAre("> port 2 mru", "port 2 mru 1522"));
}

TEST(Shell, HelpListsATopicAndProgramOptions) {
    Result run = run_eswctl({"-q", "-c", "help port mru"});
    EXPECT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(run.out_lines().size(), 1u) << run.out;
    EXPECT_THAT(run.out_lines()[0], testing::StartsWith("port PORTS mru [BYTES]"));
    run = run_eswctl({"-q", "-c", "help nosuch"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("no command starts with 'nosuch'"));
    run = run_eswctl({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("--lib"));
    EXPECT_THAT(run.out, HasSubstr("--keep-going"));
}

TEST(Shell, MissingDriverLibraryIsReportedWithExitThree) {
    const Result run = run_eswctl({"-q", "--lib", "/nonexistent/libswitch.so", "-c", "show ports"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("eswctl: cannot load the driver: /nonexistent/libswitch.so"));
}

TEST(Shell, StaticAndLearnedAddressesReachTheAddressTable) {
    const Result run = script(
        "vlan create 10\n"
        "mac static add 02:00:5e:10:00:01 vlan 10 dataplane\n"
        "mac static add 00:1b:21:3a:4f:01 vlan 10 port 5\n"
        "mac mc add 01:00:5e:00:00:fb vlan 10 port 3\n"
        "sim mac 2 00:aa:bb:cc:dd:ee vlan 10\n"
        "port 2 mac dynamic --json\n"
        "mac age 600\n"
        "show fdb --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 2u) << run.out;
    EXPECT_EQ(docs[0], json::parse(R"([{"port":2,"addresses":[{"mac":"00:aa:bb:cc:dd:ee","vlan":10}]}])"));
    const json& entries = docs[1].at("entries");
    EXPECT_EQ(row(entries, "mac", "02:00:5e:10:00:01").at("ports"), json({9}));
    EXPECT_EQ(row(entries, "mac", "00:1b:21:3a:4f:01").at("ports"), json({5}));
    // A multicast address with group word 0 goes to the data plane and the handle's port.
    EXPECT_EQ(row(entries, "mac", "01:00:5e:00:00:fb").at("ports"), json({9, 3}));
    EXPECT_EQ(row(entries, "mac", "00:aa:bb:cc:dd:ee").at("type"), "dynamic");
    EXPECT_EQ(docs[1].at("ageTime"), 600);
}

TEST(Shell, ChannelMirrorAndStormViews) {
    const Result run = script(
        "port-channel 1 add 6-7; port-channel 2 add 3; port-channel 2 delete\n"
        "port 5 mirror destination; port 8 mirror source; port 4 mirror source 0; port 4 mirror source off\n"
        "port 3 storm broadcast 20; port 3 storm multicast 40; port 3 storm multicast off\n"
        "show lag --json; show mirror --json; show storm --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 3u) << run.out;
    EXPECT_EQ(docs[0], json::parse(R"({"channels":[{"channel":1,"members":[6,7]}]})"));
    EXPECT_EQ(docs[1], json::parse(R"({"destinations":[5],"sources":[{"port":8,"mode":2}]})"));
    const json p3 = row(docs[2].at("ports"), "port", 3);
    EXPECT_EQ(p3.at("broadcast"), json::parse(R"({"enabled":true,"rate":20,"mode":2})"));
    EXPECT_EQ(p3.at("multicast").at("enabled"), false);
    EXPECT_EQ(p3.at("multicast").at("rate"), 100);
}

TEST(Shell, RawIoctlShowsTheBufferAndTheResult) {
    const Result run = script(
        "ioctl NIC_GET_MAX_FRM_LEN port 3\n"
        "ioctl IOCTL_SW_ADD_NEW_VLAN 0a 00 00 00\n"
        "ioctl 0x2002 port 3\n"
        "show vlans --json\n"
        "ioctl 8191\n");
    EXPECT_EQ(run.status, 1);
    const auto lines = run.out_lines();
    EXPECT_TRUE(run.out_has_line("buffer: f2 05 00 00")) << run.out;  // 1522
    EXPECT_TRUE(run.out_has_line("ioctl NIC_GET_MAX_FRM_LEN (8198): result 0"));
    EXPECT_TRUE(run.out_has_line("ioctl IOCTL_SW_ADD_NEW_VLAN (8228): result 0"));
    // NIC_LINK on a port without cable: the 28-byte record, media type at offset 24.
    EXPECT_TRUE(run.out_has_line("ioctl NIC_LINK (8194): result 0"));
    EXPECT_TRUE(run.out_has_line("ioctl 8191 (8191): result -1"));
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 1u);
    EXPECT_EQ(row(docs[0].at("vlans"), "vlan", 10).at("tagged"), json({9}));
    EXPECT_THAT(run.err, HasSubstr("eswctl: stdin:5: driver answered -1"));
}

TEST(Shell, ResetChipReturnsTheModelToPowerOn) {
    const Result run =
        script("vlan create 10; port 3 mru 9000\nreset chip\nshow vlans --json; show ports --json\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 2u) << run.out;
    EXPECT_EQ(docs[0].at("vlans"), json::array());
    EXPECT_EQ(row(docs[1].at("ports"), "port", 3).at("mru"), 1522);
}

TEST(Shell, WithoutCaptureTheShellSaysWhyAndLacpIsRefused) {
    const Result run = run_eswctl({"-q", "--no-capture", "-c", "show status --json; lacp send 3"});
    EXPECT_EQ(run.status, 1);
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 1u) << run.out;
    EXPECT_EQ(docs[0].at("capture"), false);
    EXPECT_EQ(docs[0].at("captureWhy"), "capture interfaces switched off (--no-capture)");
    EXPECT_EQ(docs[0].at("handles").size(), 11u);
    EXPECT_THAT(run.err,
                HasSubstr("eswctl: running without capture interfaces: capture interfaces switched off"));
    EXPECT_THAT(run.err,
                HasSubstr("-c:1: no capture interfaces: capture interfaces switched off (--no-capture)"));
}

}  // namespace
