// LACP over real veth cables: the far side speaks, the driver's receive thread hands the frame to
// the shell's callback, the switch answers through IOCTL_SW_CPU_TX and the far side reads it.
// Needs a network namespace of the process's own (root, or user namespaces).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/eswctl/run_eswctl.h"

namespace {

using eswctl_test::Result;
using eswctl_test::run_eswctl;
using nlohmann::json;
using testing::HasSubstr;

class LacpExchange : public testing::Test {
protected:
    void SetUp() override {
        if (!eswctl_test::capture_support().available)
            GTEST_SKIP() << "no capture interfaces here: " << eswctl_test::capture_support().why;
    }
};

json entry(const json& stats, int n) {
    for (const json& e : stats.at("entries"))
        if (e.at("entry") == n) return e;
    ADD_FAILURE() << "no entry " << n;
    return json::object();
}

TEST_F(LacpExchange, FarSideFrameIsDecodedAndTheSwitchAnswerCarriesItAsPartner) {
    const Result run =
        run_eswctl({"-q", "-c", "sim plug 3; lacp send 3 key 7; cpu tx 3 lacp; show cpu-stats --json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("rx port 3: 124 bytes, LACPDU from 02:1b:00:00:00:03\n"
                                   "  actor   system 32768/02:1b:00:00:00:00 key 7 port 32768/3 state "
                                   "activity,aggregation\n"
                                   "  partner system 0/00:00:00:00:00:00 key 0 port 0/0 state none\n"));
    EXPECT_THAT(run.out, HasSubstr("cpu tx port 3: 124 bytes to ifindex 1003\n"
                                   "far side of port 3 received 124 bytes, LACPDU from 02:e5:00:00:00:03\n"
                                   "  actor   system 32768/02:e5:00:00:00:00 key 1 port 32768/3 state "
                                   "activity,aggregation,synchronization,collecting,distributing\n"
                                   "  partner system 32768/02:1b:00:00:00:00 key 7 port 32768/3 state "
                                   "activity,aggregation\n"));
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 1u) << run.out;
    const json port3 = entry(docs[0], 3);
    EXPECT_EQ(port3.at("rxPackets"), 1);
    EXPECT_EQ(port3.at("rxBytes"), 124);
    EXPECT_EQ(port3.at("txPackets"), 1);
    EXPECT_EQ(port3.at("txBytes"), 124);
    EXPECT_EQ(port3.at("txDrops"), 0);
}

TEST_F(LacpExchange, TheFarSideRemembersTheSwitchAsItsPartner) {
    const Result run = run_eswctl({"-q", "-c", "sim plug 6; cpu tx 6 lacp; lacp send 6 state 0x3d"});
    ASSERT_EQ(run.status, 0) << run.err;
    // Before hearing the far side the switch speaks from defaults; the far side's next frame
    // names the switch as partner.
    EXPECT_THAT(run.out, HasSubstr("  actor   system 32768/02:e5:00:00:00:00 key 1 port 32768/6 state "
                                   "activity,aggregation,defaulted\n"));
    EXPECT_THAT(run.out, HasSubstr("rx port 6: 124 bytes, LACPDU from 02:1b:00:00:00:06\n"
                                   "  actor   system 32768/02:1b:00:00:00:00 key 1 port 32768/6 state "
                                   "activity,aggregation,synchronization,collecting,distributing\n"
                                   "  partner system 32768/02:e5:00:00:00:00 key 1 port 32768/6 state "
                                   "activity,aggregation,defaulted\n"));
}

TEST_F(LacpExchange, FrameToAPortWithoutLinkIsDroppedAndCounted) {
    const Result run = run_eswctl({"-q", "-c",
                                   "cpu tx 4 01 80 c2 00 00 02 02 e5 00 00 00 04 88 09 01 01; "
                                   "show cpu-stats --json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("far side of port 4 received nothing within 500 ms\n"));
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 1u) << run.out;
    EXPECT_EQ(entry(docs[0], 4).at("txDrops"), 1);
    EXPECT_EQ(entry(docs[0], 4).at("txPackets"), 0);
}

TEST_F(LacpExchange, NonLacpFramesArePrintedAsOneLine) {
    const Result run =
        run_eswctl({"-q", "-c", "sim plug 2; cpu tx 2 ff ff ff ff ff ff 02 e5 00 00 00 02 08 06 00 01"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("far side of port 2 received 02:e5:00:00:00:02 > ff:ff:ff:ff:ff:ff "
                                   "ethertype 0x0806 (ARP), 16 bytes\n"));
}

TEST_F(LacpExchange, OfficeScenarioRunsToTheEnd) {
    const Result run =
        run_eswctl({"-q", "-f", "examples/office.esw", "-c",
                    "show vlans --json; show lag --json; show acl --json; show cpu-stats --json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const auto docs = run.json_docs();
    ASSERT_EQ(docs.size(), 4u) << run.out;
    auto vlan = [&](int id) {
        for (const json& v : docs[0].at("vlans"))
            if (v.at("vlan") == id) return v;
        ADD_FAILURE() << "no VLAN " << id;
        return json::object();
    };
    EXPECT_EQ(vlan(10).at("untagged"), json({1, 2}));
    EXPECT_EQ(vlan(10).at("tagged"), json({6, 7, 8, 9}));
    EXPECT_EQ(vlan(20).at("untagged"), json({3, 4}));
    EXPECT_EQ(vlan(20).at("tagged"), json({8, 9}));
    EXPECT_EQ(vlan(99).at("untagged"), json({8}));
    EXPECT_EQ(docs[1], json::parse(R"({"channels":[{"channel":1,"members":[6,7]}]})"));
    EXPECT_EQ(docs[2].at("unicastMembers"), json({3, 4}));
    // Two frames heard and one answer sent on each NAS port.
    for (int port : {6, 7}) {
        EXPECT_EQ(entry(docs[3], port).at("rxPackets"), 2) << port;
        EXPECT_EQ(entry(docs[3], port).at("txPackets"), 1) << port;
    }
}

}  // namespace
