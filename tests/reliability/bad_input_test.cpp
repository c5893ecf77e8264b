// Inputs a careless or hostile host can hand the library: null buffers, ports the switch does not
// have, VLAN ids outside the 802.1Q range, trace modules and LED ports without a table entry, and
// interface indexes that name no counter entry. Each must be refused or passed on as the command
// defines, and never read or written outside the library's tables (ASan and UBSan watch that).
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "tests/common/driver_test.h"
#include "tests/reliability/catalog.h"

namespace {

using esw_catalog::Arg;
using esw_test::DriverTest;
using esw_test::ErrorFrom;
using testing::Contains;
using testing::Each;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

testing::Matcher<const sim::LogRecord&> from_library() {
    std::vector<testing::Matcher<const sim::LogRecord&>> any;
    for (std::string_view s : esw_catalog::kSources) any.push_back(ErrorFrom(std::string(s)));
    return testing::AnyOfArray(any);
}

std::vector<std::string> names_of(const std::vector<sim::Call>& calls) {
    std::vector<std::string> names;
    for (const sim::Call& c : calls) names.push_back(c.name);
    return names;
}

// Runs `cmd` with its typical input, the request in a heap block of exactly its size.
int32_t run_typical(EswFrameworkHandle* handle, uint32_t cmd) {
    const esw_catalog::Shape shape = esw_catalog::shape_of(cmd);
    if (shape.arg == Arg::value || shape.arg == Arg::unused || shape.arg == Arg::callback)
        return mrvl_esw_ioctl(handle, cmd, reinterpret_cast<void*>(esw_catalog::typical_value(cmd)));
    if (shape.arg == Arg::cpu_tx) {
        std::vector<uint8_t> block(sizeof(EswCpuTxRequest) + 64);
        auto* tx = reinterpret_cast<EswCpuTxRequest*>(block.data());
        tx->ifIndex = sim::if_index(1, 3);
        tx->length = 64;
        return mrvl_esw_ioctl(handle, cmd, block.data());
    }
    const std::vector<uint8_t> request = esw_catalog::typical_request(cmd);
    std::unique_ptr<uint8_t[]> block(new uint8_t[request.size()]);
    std::memcpy(block.get(), request.data(), request.size());
    return mrvl_esw_ioctl(handle, cmd, block.get());
}

class BadInputTest : public DriverTest {
protected:
    static void SetUpTestSuite() {
        uc_mac_acl_handle_p[0] = sim::acl_handle(255);
        mc_mac_acl_handle_p[0] = sim::acl_handle(254);
    }
};

// ---- null buffers --------------------------------------------------------------------------------
// Commands whose handler refuses a null buffer without a record; every other command that reads a
// buffer logs the refusal.
constexpr std::array kSilentOnNull{IOCTL_GET_EEE_STATUS,      IOCTL_SET_EEE_MODE,    IOCTL_SET_PORT_SECURITY,
                                   IOCTL_SET_MAC_LEARNING,    IOCTL_SET_MAX_NUM_MAC, IOCTL_SET_AGE_TIME,
                                   IOCTL_POPULATE_VLAN_MAC_DB};

class NullBuffer : public BadInputTest, public testing::WithParamInterface<uint32_t> {};

TEST_P(NullBuffer, IsRefusedWithoutTouchingTheChipOrTheCounters) {
    const uint32_t cmd = GetParam();
    EswFrameworkHandle* handle = open_port(3);
    esw_catalog::add_typical_vlans();
    sim::plug(3);
    // Counts from earlier traffic that a refused command must leave alone.
    for (uint32_t entry = 0; entry < 25; ++entry) eswCpuStats[entry] = {entry, 1, 2, 3, 4, 5, 6};
    std::array<EswCpuPortStats, 25> expected;
    std::memcpy(expected.data(), eswCpuStats, sizeof eswCpuStats);
    // A transmit request that is not there counts as a drop that names no port.
    if (cmd == IOCTL_SW_CPU_TX) ++expected[0].txDrops;

    const int32_t result = ioctl(handle, cmd, nullptr);

    const bool answersZero = cmd == NIC_STATS || cmd == NIC_LINK;
    EXPECT_EQ(result, answersZero ? 0 : -1);
    EXPECT_THAT(journal(), IsEmpty());
    const bool silent = std::find(kSilentOnNull.begin(), kSilentOnNull.end(), cmd) != kSilentOnNull.end();
    if (silent) {
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_THAT(logs(), Not(IsEmpty()));
        EXPECT_THAT(logs(), Each(from_library()));
    }
    EXPECT_EQ(std::memcmp(expected.data(), eswCpuStats, sizeof eswCpuStats), 0) << "the CPU counters changed";
    mrvl_cpu_clear_stats();
}

std::vector<uint32_t> buffer_commands() {
    std::vector<uint32_t> cmds;
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd)
        if (esw_catalog::reads_buffer(cmd)) cmds.push_back(cmd);
    return cmds;
}

std::string command_name(const testing::TestParamInfo<uint32_t>& info) { return std::to_string(info.param); }

INSTANTIATE_TEST_SUITE_P(EveryBufferCommand, NullBuffer, testing::ValuesIn(buffer_commands()), command_name);

// ---- ports the switch does not have ---------------------------------------------------------------
// Every port number a byte holds beyond the switch's 0..10, and a few wider ones whose low byte
// names a real port.
const std::vector<uint32_t> kForeignPorts = [] {
    std::vector<uint32_t> ports;
    for (uint32_t p = 11; p <= 255; ++p) ports.push_back(p);
    for (uint32_t p : {256u + 3, 256u + 9, 256u + 10, 0x10000u + 5, 0xFFFFFFFFu}) ports.push_back(p);
    return ports;
}();

class ForeignPort : public BadInputTest, public testing::WithParamInterface<uint32_t> {};

// The chip layer judges a port the switch does not have: the command takes the path it takes for a
// real port and stops where the chip refuses, and a failure is reported and logged.
TEST_P(ForeignPort, FollowsTheRealPortsPathUntilTheChipRefuses) {
    const uint32_t cmd = GetParam();
    EswFrameworkHandle* reference = open_port(3);
    esw_catalog::add_typical_vlans();
    run_typical(reference, cmd);
    const std::vector<std::string> realPath = names_of(sim::calls());

    for (uint32_t port : kForeignPorts) {
        SCOPED_TRACE("port " + std::to_string(port));
        sim::reset();
        EswFrameworkHandle* handle = open_port(port);
        esw_catalog::add_typical_vlans();
        const int32_t result = run_typical(handle, cmd);
        const std::vector<std::string> path = names_of(sim::calls());
        ASSERT_LE(path.size(), realPath.size());
        EXPECT_THAT(path,
                    ElementsAreArray(realPath.begin(), realPath.begin() + static_cast<long>(path.size())));
        EXPECT_THAT(logs(), Each(from_library()));
        if (result != 0) {
            EXPECT_EQ(result, -1);
            EXPECT_THAT(logs(), Not(IsEmpty()));
        }
    }
}

std::vector<uint32_t> all_commands() {
    std::vector<uint32_t> cmds;
    for (uint32_t cmd = ESW_FIRST_COMMAND; cmd <= ESW_LAST_COMMAND; ++cmd) cmds.push_back(cmd);
    return cmds;
}

INSTANTIATE_TEST_SUITE_P(EveryCommand, ForeignPort, testing::ValuesIn(all_commands()), command_name);

TEST_F(BadInputTest, LinkQueryOfAForeignPortIsAZeroRecordAndAMessage) {
    for (uint32_t port : kForeignPorts) {
        EswFrameworkHandle* handle = open_port(port);
        EswLinkInfo info;
        std::memset(&info, 0xA5, sizeof info);
        testing::internal::CaptureStdout();
        EXPECT_EQ(ioctl(handle, NIC_LINK, &info), 0) << port;
        std::fflush(stdout);
        EXPECT_THAT(
            testing::internal::GetCapturedStdout(),
            HasSubstr("mrvl_esw_get_link_state(portNum " + std::to_string(port) + ") index=11 FAILURE!!!!!"));
        const auto* bytes = reinterpret_cast<const uint8_t*>(&info);
        EXPECT_THAT(std::vector<uint8_t>(bytes, bytes + sizeof info), Each(0)) << port;
        EXPECT_THAT(journal(), IsEmpty()) << port;
        forget();
    }
}

TEST_F(BadInputTest, CountersOfAForeignPortAreRefusedWithoutAChipCall) {
    for (uint32_t port : kForeignPorts) {
        EswFrameworkHandle* handle = open_port(port);
        EswNicStats stats;
        std::memset(&stats, 0xA5, sizeof stats);
        EXPECT_EQ(ioctl(handle, NIC_STATS, &stats), 0) << port;
        const auto* bytes = reinterpret_cast<const uint8_t*>(&stats);
        EXPECT_THAT(std::vector<uint8_t>(bytes, bytes + sizeof stats), Each(0)) << port;
        EXPECT_EQ(ioctl(handle, NIC_CLR_STATS, nullptr), -1) << port;
        EXPECT_EQ(mrvl_esw_clear_counters(0, port), 1u) << port;
        uint32_t up = 7;
        EXPECT_EQ(mrvl_esw_get_link_state(0, port, &up), 1u) << port;
        EXPECT_EQ(up, 0u) << port;
        EXPECT_THAT(journal(), IsEmpty()) << port;
        EXPECT_THAT(logs(), Contains(ErrorFrom("mrvl_periodot_init"))) << port;
        forget();
    }
}

// ---- VLAN ids outside 1..4094 -----------------------------------------------------------------------
struct VlanCase {
    std::string name;
    uint32_t cmd;
    std::function<std::vector<uint8_t>(uint32_t vlan)> request;
    bool vlanPresent;  // whether the model holds the VLAN before the command
    std::function<std::vector<std::string>(const std::string& v, const std::string& v16)> expected;
};

void PrintTo(const VlanCase& c, std::ostream* os) { *os << c.name; }

template <class R>
std::vector<uint8_t> bytes_of(const R& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    return {p, p + sizeof record};
}

std::vector<uint8_t> vlan_request(uint32_t v) { return bytes_of(EswVlanRequest{v}); }

std::vector<uint8_t> mac_request(uint32_t v) {
    EswStaticMacRequest r{};
    const uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::memcpy(r.mac, mac, sizeof mac);
    r.vlanId = v;
    return bytes_of(r);
}

std::vector<VlanCase> vlan_cases() {
    using L = std::vector<std::string>;
    return {
        {"AddVlan", IOCTL_SW_ADD_NEW_VLAN, vlan_request, false,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "asic_create_vlan(0, " + v + ")",
                      "peridot_set_port_allowed_vlan(0, 9, " + v + ", 1)",
                      "peridot_set_tagging_on_port(0, 9, " + v + ", 1)"};
         }},
        {"RemoveVlan", IOCTL_SW_REMOVE_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "asic_delete_vlan(0, " + v + ")"};
         }},
        {"AccessPortVlan", IOCTL_SW_APORT_ADD_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_default_source_vlan_id(0, 3, " + v + ")",
                      "peridot_set_port_allowed_vlan(0, 3, " + v + ", 1)",
                      "peridot_set_tagging_on_port(0, 3, " + v + ", 0)"};
         }},
        {"AccessPortVlanRemove", IOCTL_SW_APORT_REMOVE_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_port_allowed_vlan(0, 3, " + v + ", 0)"};
         }},
        {"TrunkPortVlan", IOCTL_SW_TPORT_ADD_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_tagging_on_port(0, 3, " + v + ", 1)"};
         }},
        {"TrunkPortVlanRemove", IOCTL_SW_TPORT_REMOVE_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"peridot_set_port_allowed_vlan(0, 3, " + v + ", 0)"};
         }},
        {"NativeVlan", IOCTL_SW_TPORT_ADD_NATIVE_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_tagging_on_port(0, 3, " + v + ", 0)",
                      "peridot_set_allow_native(0, 3, 1)",
                      "peridot_set_default_source_vlan_id(0, 3, " + v + ")"};
         }},
        {"NativeVlanRemove", IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_port_allowed_vlan(0, 3, " + v + ", 0)",
                      "peridot_set_allow_native(0, 3, 0)"};
         }},
        {"FlushVlanMacs", IOCTL_SW_FLUSH_VLAN_MACS, vlan_request, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "asic_delete_all_mac_addresses_vlan(0, " + v + ")"};
         }},
        {"EgressTagRemove", NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE,
         [](uint32_t v) { return bytes_of(EswEgressTagRequest{static_cast<int64_t>(v)}); }, true,
         [](const std::string& v, const std::string&) {
             return L{"asic_vlan_exists(0, " + v + ")", "peridot_set_port_allowed_vlan(0, 3, " + v + ", 0)"};
         }},
        // The add command reads the id as a signed number: 0xFFFFFFFF is -1, which on a user port
        // is double-tagged as it is.
        {"EgressTagAdd", NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE,
         [](uint32_t v) { return bytes_of(EswEgressTagRequest{static_cast<int64_t>(v)}); }, false,
         [](const std::string& v, const std::string&) {
             return L{"asic_peridot_double_tagging(0, " + v + ", 3, 9)", "peridot_disable_8021q_mode(0, 3)"};
         }},
        // Static entries name the VLAN to the chip in 16 bits.
        {"DataPlaneMacAdd", IOCTL_SW_ADD_DATAPLANE_MAC, mac_request, true,
         [](const std::string& v, const std::string& v16) {
             return L{"asic_vlan_exists(0, " + v + ")",
                      "asic_vlan_install_mac_addr(0, " + v16 +
                          ", 00:11:22:33:44:55, {ports=[(0,9)] group=none flag=0}, 1, 0, 0, 0)"};
         }},
        {"PortMacAdd", IOCTL_SW_ADD_PORT_MAC, mac_request, true,
         [](const std::string& v, const std::string& v16) {
             return L{"asic_vlan_exists(0, " + v + ")",
                      "asic_vlan_install_mac_addr(0, " + v16 +
                          ", 00:11:22:33:44:55, {ports=[(0,3)] group=none flag=0}, 1, 0, 0, 0)"};
         }},
        {"DataPlaneMacRemove", IOCTL_SW_DEL_DATAPLANE_MAC, mac_request, true,
         [](const std::string& v, const std::string& v16) {
             return L{"asic_vlan_exists(0, " + v + ")",
                      "asic_vlan_uninstall_mac_addr(0, " + v16 + ", 00:11:22:33:44:55, 0)"};
         }},
    };
}

class VlanId : public BadInputTest, public testing::WithParamInterface<VlanCase> {};

TEST_P(VlanId, ReachesTheChipUnchanged) {
    const VlanCase& c = GetParam();
    for (uint32_t vlan : {0u, 4095u, 4096u, 0xFFFFFFFFu}) {
        SCOPED_TRACE("VLAN " + std::to_string(vlan));
        sim::reset();
        EswFrameworkHandle* handle = open_port(3);
        const uint32_t vlan16 = vlan & 0xFFFF;
        if (c.vlanPresent) {
            sim::chip().device.vlans[vlan];
            sim::chip().device.vlans[vlan16];
            sim::chip().device.staticMacs[vlan16]["00:11:22:33:44:55"];
        }
        const std::vector<uint8_t> request = c.request(vlan);
        std::unique_ptr<uint8_t[]> block(new uint8_t[request.size()]);
        std::memcpy(block.get(), request.data(), request.size());

        EXPECT_EQ(ioctl(handle, c.cmd, block.get()), 0);
        EXPECT_EQ(journal(), c.expected(std::to_string(vlan), std::to_string(vlan16)));
        EXPECT_THAT(logs(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(VlanCommands, VlanId, testing::ValuesIn(vlan_cases()),
                         [](const testing::TestParamInfo<VlanCase>& info) { return info.param.name; });

// The L2-mode sequences carry the port's own VLAN to the chip as given, next to VLAN 1.
TEST_F(BadInputTest, L2ModeCarriesAnyVlanIdToTheChip) {
    for (uint32_t vlan : {4095u, 4096u, 0xFFFFFFFFu}) {
        sim::reset();
        EswFrameworkHandle* handle = open_port(3);
        esw_catalog::add_typical_vlans();
        sim::chip().device.vlans[vlan];
        const std::string v = std::to_string(vlan);
        EswVlanRequest request{vlan};
        EXPECT_EQ(ioctl(handle, IOCTL_SET_PORT_L2_MODE, &request), 0) << v;
        EXPECT_THAT(journal(), Contains("peridot_set_port_allowed_vlan(0, 3, " + v + ", 0)")) << v;
        forget();
        EXPECT_EQ(ioctl(handle, IOCTL_REMOVE_PORT_L2_MODE, &request), 0) << v;
        EXPECT_THAT(journal(), Contains("asic_peridot_double_tagging(0, " + v + ", 3, 9)")) << v;
        EXPECT_THAT(journal(), Contains("peridot_set_tagging_on_port(0, 3, " + v + ", 0)")) << v;
    }
}

// ---- trace modules, LED ports and interface indexes without a table entry ---------------------------
TEST(TraceModules, OutsideTheTableAreRefusedAndPrintNothing) {
    for (uint32_t id : {7u, 8u, 255u, 0xFFFFFFFFu}) {
        EXPECT_EQ(kpmdTraceSetModule(id, 1, 7), 1u) << id;
        EXPECT_EQ(kpmdTraceIsEnable(id, 0), 0u) << id;
        EXPECT_EQ(kpmdTraceIsEnable(id, 3), 0u) << id;
        testing::internal::CaptureStdout();
        kpmdTrace(id, 3, "module %u", id);
        kpmdTrace(id, 0, "module %u", id);
        std::fflush(stdout);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), Not(HasSubstr("module " + std::to_string(id))))
            << id;
    }
}

TEST_F(BadInputTest, LedPortsWithoutAFieldLeaveTheRegisterAlone) {
    constexpr uint32_t kSpeedRegister = 0x334;
    for (int32_t port : {0, 11, 12, -1, 255, INT32_MIN}) {
        sim::reset();
        sim::fpga()[kSpeedRegister] = 0x12345678;
        EXPECT_NE(set_speed_led_based_on_link_state(0, port, 1, 3), 0) << port;
        EXPECT_NE(set_speed_led_based_on_link_state(0, port, 0, 3), 0) << port;
        const int32_t single = mrvl_set_port_speed_led(port);
        if (port != 0) {
            EXPECT_NE(single, 0) << port;
        }
        EXPECT_EQ(sim::fpga()[kSpeedRegister], 0x12345678u) << port;
        EXPECT_THAT(sim::journal_of({"lib_fpga_reg_write"}), IsEmpty()) << port;
        EXPECT_THAT(logs(), Each(from_library())) << port;
    }
}

// Interface indexes whose slot and port give no entry of the CPU counters (slot 0; slot 2 with a
// port above 8; slot 1 with a port above 24; slots above 2).
constexpr std::array<uint32_t, 7> kIndexesWithoutAnEntry{sim::if_index(0, 5),
                                                         sim::if_index(2, 9),
                                                         sim::if_index(2, 999),
                                                         sim::if_index(1, 25),
                                                         sim::if_index(3, 1),
                                                         sim::if_index(0, 0) + 1,
                                                         0xFFFFFFFF};

int32_t count_frame(uint32_t, uint16_t, uint8_t*) { return 0; }

TEST_F(BadInputTest, ReceivedFramesWithoutACounterEntryAreNotCountedOutsideTheTable) {
    EswFrameworkHandle* cpu = open_path("mrvl_switch/cpu/10");
    sim::set_cpu_channel(cpu);
    ASSERT_EQ(ioctl(cpu, IOCTL_SW_REG_CPU_RX_CALLBACK, reinterpret_cast<void*>(&count_frame)), 0);
    uint8_t frame[64] = {};
    for (uint32_t ifIndex : kIndexesWithoutAnEntry) {
        std::array<EswCpuPortStats, 25> before;
        std::memcpy(before.data(), eswCpuStats, sizeof eswCpuStats);
        EXPECT_EQ(mrvl_esw_cpu_rx_callback(ifIndex, sizeof frame, frame), 0) << ifIndex;
        EXPECT_EQ(std::memcmp(before.data() + 1, eswCpuStats + 1, 24 * sizeof(EswCpuPortStats)), 0)
            << ifIndex;
        // Whether such a frame is delivered or dropped is the library's choice; it is accounted
        // once, in the entry of frames that name no port.
        EXPECT_EQ(eswCpuStats[0].rxDrops - before[0].rxDrops + eswCpuStats[0].rxPackets - before[0].rxPackets,
                  1u)
            << ifIndex;
    }
}

TEST_F(BadInputTest, TransmitToAnIndexWithoutACounterEntryIsNotCountedOutsideTheTable) {
    EswFrameworkHandle* handle = open_port(3);
    std::vector<uint8_t> block(sizeof(EswCpuTxRequest) + 64);
    auto* tx = reinterpret_cast<EswCpuTxRequest*>(block.data());
    tx->length = 64;
    for (uint32_t ifIndex : kIndexesWithoutAnEntry) {
        std::array<EswCpuPortStats, 25> before;
        std::memcpy(before.data(), eswCpuStats, sizeof eswCpuStats);
        tx->ifIndex = ifIndex;
        EXPECT_EQ(ioctl(handle, IOCTL_SW_CPU_TX, block.data()), -1) << ifIndex;
        EXPECT_EQ(std::memcmp(before.data() + 1, eswCpuStats + 1, 24 * sizeof(EswCpuPortStats)), 0)
            << ifIndex;
        EXPECT_LE(eswCpuStats[0].txDrops - before[0].txDrops, 1u) << ifIndex;
        EXPECT_THAT(logs(), Not(IsEmpty())) << ifIndex;
        forget();
    }
}

}  // namespace
