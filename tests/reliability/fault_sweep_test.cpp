// Every chip call of every command and of the exported sequences, made to fail in turn: the
// sequence must stop right there (or go on, where a step is deliberately not fatal), report the
// failure to the caller and the log, leave no memory behind, and run whole again once the fault is
// gone. The table below is the only per-operation knowledge; the checks live in sweep.cpp.
#include <array>
#include <cstring>

#include "tests/common/driver_test.h"
#include "tests/reliability/sweep.h"

namespace {

using esw_sweep::bytes_of;
using esw_sweep::command_row;
using esw_sweep::Outcome;
using esw_sweep::Row;
using esw_sweep::value_row;

constexpr const char* kPortSrc = "mrvl_periodot_init";
constexpr const char* kIoctlSrc = "peridot_ioctl";
constexpr const char* kTrunkSrc = "peridot_trunk";

const std::array<uint8_t, 6> kMulticastMac{0x01, 0x00, 0x5E, 0x00, 0x00, 0x01};
const std::array<uint8_t, 6> kUnicastMac{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

// ---- model set-ups -------------------------------------------------------------------------------
void add_vlans(std::initializer_list<uint32_t> vlans) {
    for (uint32_t v : vlans) sim::chip().device.vlans[v];
}

std::function<void(EswFrameworkHandle*)> with_vlans(std::initializer_list<uint32_t> vlans) {
    std::vector<uint32_t> list(vlans);
    return [list](EswFrameworkHandle*) {
        for (uint32_t v : list) sim::chip().device.vlans[v];
    };
}

std::function<void(EswFrameworkHandle*)> plugged(uint8_t port, uint32_t speed = 2, uint32_t duplex = 1) {
    return [=](EswFrameworkHandle*) { sim::plug(port, speed, duplex); };
}

EswStaticMacRequest mac_request(const std::array<uint8_t, 6>& mac, uint32_t vlan, uint32_t group = 0) {
    EswStaticMacRequest r{};
    std::memcpy(r.mac, mac.data(), 6);
    r.vlanId = vlan;
    r.groupWord = group;
    return r;
}

std::function<void(EswFrameworkHandle*)> with_static_mac(const std::array<uint8_t, 6>& mac, uint32_t vlan) {
    return [=](EswFrameworkHandle*) {
        add_vlans({vlan});
        char text[18];
        std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                      mac[4], mac[5]);
        sim::chip().device.staticMacs[vlan][text];
    };
}

// ---- rows ----------------------------------------------------------------------------------------
Row on_port(Row row, uint32_t port) {
    row.port = port;
    return row;
}
Row with_setup(Row row, std::function<void(EswFrameworkHandle*)> setup) {
    row.setup = std::move(setup);
    return row;
}
Row with_exceptions(Row row, std::vector<esw_sweep::Exception> exceptions) {
    row.exceptions = std::move(exceptions);
    return row;
}
Row failing(Row row, std::string call, int64_t value) {
    row.failing.emplace_back(std::move(call), value);
    return row;
}
// A query whose dispatcher answer is always 0: failure shows only as an all-zero record.
Row query(Row row) {
    row.failResult = 0;
    row.zeroedOnFailure = true;
    return row;
}
// An exported function called directly.
Row exported(std::string name, std::string source, std::function<int64_t()> call,
             std::optional<int64_t> failResult = 1) {
    Row row;
    row.name = std::move(name);
    row.source = std::move(source);
    row.failResult = failResult;
    row.invoke = [call = std::move(call)](EswFrameworkHandle*, std::vector<uint8_t>&) { return call(); };
    return row;
}

template <class T>
std::vector<uint8_t> u32(T v) {
    return bytes_of(static_cast<uint32_t>(v));
}

std::vector<uint8_t> vlan_req(uint32_t v) { return bytes_of(EswVlanRequest{v}); }

const esw_sweep::Exception kVlanAbsentIsSilent{"asic_vlan_exists", 0, Outcome::stops_silently};
const esw_sweep::Exception kVlanAnswerSelectsPath{"asic_vlan_exists", 0, Outcome::other_branch};

std::vector<Row> port_rows() {
    return {
        value_row("LinkTypeAutoGigabit", NIC_LNK_TYPE, 11, kPortSrc),
        value_row("LinkTypeNoNegotiation", NIC_LNK_TYPE, 12, kPortSrc),
        with_exceptions(value_row("LinkType2500", NIC_LNK_TYPE, 17, kPortSrc),
                        {{"peridot_set_cmode_2p5G", 1, Outcome::continues_silent}}),
        command_row("MaxCapability", NIC_SET_MAX_CAP, u32(1), kPortSrc),
        query(with_setup(
            command_row("Counters", NIC_STATS, std::vector<uint8_t>(sizeof(EswNicStats)), kPortSrc),
            [](EswFrameworkHandle*) { sim::port(3).counters.word[0] = 1; })),
        query(with_setup(command_row("LinkUp", NIC_LINK, std::vector<uint8_t>(sizeof(EswLinkInfo)), kPortSrc),
                         plugged(3, 1, 1))),
        query(command_row("LinkDown", NIC_LINK, std::vector<uint8_t>(sizeof(EswLinkInfo)), kPortSrc)),
        value_row("ClearCounters", NIC_CLR_STATS, 0, kPortSrc),
        value_row("AdminUp", NIC_STATUS, 1, kPortSrc),
        value_row("AdminDown", NIC_STATUS, 0, kPortSrc),
        command_row("GetMru", NIC_GET_MAX_FRM_LEN, u32(0), kPortSrc),
        value_row("SetMru", NIC_SET_MAX_FRM_LEN, 9000, kPortSrc),
        exported("LinkStateQuery", kPortSrc,
                 [] {
                     uint32_t up = 7;
                     return mrvl_esw_get_link_state(0, 3, &up);
                 }),
        with_setup(exported("SpeedTypeQuery", kPortSrc,
                            [] {
                                uint32_t type = 0;
                                return mrvl_esw_get_speed_type(0, 3, &type);
                            }),
                   plugged(3, 0, 1)),
        exported("ClearCountersExported", kPortSrc, [] { return mrvl_esw_clear_counters(0, 3); }),
        with_exceptions(with_setup(exported(
                                       "SpeedLedLinkUp", kPortSrc, [] { return mrvl_set_port_speed_led(5); },
                                       std::nullopt),
                                   plugged(5, 1)),
                        {{"peridot_get_link_state", 0, Outcome::other_branch}}),
        with_exceptions(
            exported(
                "SpeedLedLinkDown", kPortSrc, [] { return mrvl_set_port_speed_led(5); }, std::nullopt),
            {{"peridot_get_link_state", 0, Outcome::continues_logged}}),
        exported(
            "SpeedLedRegister", kPortSrc, [] { return set_speed_led_based_on_link_state(0, 3, 1, 3); },
            std::nullopt),
        [] {
            Row row = exported(
                "AllSpeedLeds", kPortSrc, [] { return mrvl_set_link_speed_led(); }, std::nullopt);
            row.whenFaulted = Outcome::continues_logged;  // no failure stops the loop over the ports
            return row;
        }(),
    };
}

std::vector<Row> trunk_rows() {
    return {
        command_row("TrunkRemoveChannel", IOCTL_SW_TRUNK_MEMBERS_SET, bytes_of(EswTrunkRequest{2, 0, 0, 0}),
                    kTrunkSrc),
        command_row("TrunkAddMember", IOCTL_SW_TRUNK_MEMBER_CFG, bytes_of(EswTrunkRequest{2, 0, 1, 4}),
                    kTrunkSrc),
        command_row("TrunkAddMemberAlias", IOCTL_SW_TRUNK_MEMBER_CFG, bytes_of(EswTrunkRequest{2, 0, 3, 4}),
                    kTrunkSrc),
        command_row("TrunkRemoveMember", IOCTL_SW_TRUNK_MEMBER_CFG, bytes_of(EswTrunkRequest{2, 0, 4, 4}),
                    kTrunkSrc),
    };
}

std::vector<Row> vlan_rows() {
    EswVlanModeRequest vlanMode{};
    vlanMode.modeValue = 3;
    vlanMode.modeFlag = 1;
    return {
        // "Present" ends the add at once and successfully.
        with_exceptions(failing(command_row("AddVlan", IOCTL_SW_ADD_NEW_VLAN, vlan_req(100), kIoctlSrc),
                                "asic_vlan_exists", 1),
                        {kVlanAnswerSelectsPath}),
        with_exceptions(with_setup(command_row("RemoveVlan", IOCTL_SW_REMOVE_VLAN, vlan_req(100), kIoctlSrc),
                                   with_vlans({100})),
                        {kVlanAbsentIsSilent}),
        with_exceptions(
            with_setup(command_row("AccessPortVlan", IOCTL_SW_APORT_ADD_VLAN, vlan_req(100), kIoctlSrc),
                       with_vlans({100})),
            {kVlanAbsentIsSilent}),
        with_exceptions(with_setup(command_row("AccessPortVlanRemove", IOCTL_SW_APORT_REMOVE_VLAN,
                                               vlan_req(100), kIoctlSrc),
                                   with_vlans({100})),
                        {kVlanAbsentIsSilent}),
        with_exceptions(
            with_setup(command_row("TrunkPortVlan", IOCTL_SW_TPORT_ADD_VLAN, vlan_req(100), kIoctlSrc),
                       with_vlans({100})),
            {kVlanAbsentIsSilent}),
        command_row("TrunkPortVlanRemove", IOCTL_SW_TPORT_REMOVE_VLAN, vlan_req(100), kIoctlSrc),
        with_exceptions(
            with_setup(command_row("NativeVlan", IOCTL_SW_TPORT_ADD_NATIVE_VLAN, vlan_req(100), kIoctlSrc),
                       with_vlans({100})),
            {kVlanAbsentIsSilent}),
        with_exceptions(with_setup(command_row("NativeVlanRemove", IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN,
                                               vlan_req(100), kIoctlSrc),
                                   with_vlans({100})),
                        {kVlanAbsentIsSilent}),
        with_exceptions(failing(command_row("AccessMode", IOCTL_SW_PORT_MODE_ACCESS, {}, kIoctlSrc),
                                "asic_vlan_exists", 1),
                        {kVlanAnswerSelectsPath}),
        with_exceptions(
            with_setup(command_row("AccessModeVlan1Present", IOCTL_SW_PORT_MODE_ACCESS, {}, kIoctlSrc),
                       with_vlans({1})),
            {kVlanAnswerSelectsPath}),
        command_row("TrunkMode", IOCTL_SW_PORT_MODE_TRUNK, {}, kIoctlSrc),
        command_row("ProtectedMode", IOCTL_SW_PORT_MODE_PROTECTED, u32(7), kIoctlSrc),
        command_row("EgressTagUserPort", NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE,
                    bytes_of(EswEgressTagRequest{103}), kIoctlSrc),
        with_exceptions(failing(on_port(command_row("EgressTagDataPlane", NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE,
                                                    bytes_of(EswEgressTagRequest{-1}), kIoctlSrc),
                                        9),
                                "asic_vlan_exists", 1),
                        {kVlanAnswerSelectsPath}),
        on_port(command_row("EgressTagControlPlane", NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE,
                            bytes_of(EswEgressTagRequest{-1}), kIoctlSrc),
                10),
        with_exceptions(with_setup(command_row("EgressTagRemove", NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE,
                                               bytes_of(EswEgressTagRequest{100}), kIoctlSrc),
                                   with_vlans({100})),
                        {kVlanAbsentIsSilent}),
        with_setup(exported("AllowVlanOnDataPlane", kIoctlSrc,
                            [] { return mrvl_esw_allow_vlan_on_dataplane_port(0, 100); }),
                   with_vlans({100})),
        command_row("UnicastIndividual", NIC_MODE, u32(ESW_FILTER_INDIVIDUAL), kIoctlSrc),
        command_row("MulticastPromiscuous", NIC_MC_MODE, u32(ESW_FILTER_PROMISCUOUS), kIoctlSrc),
        command_row("VlanForwardingMode", IOCTL_SET_VLAN_MODE, bytes_of(vlanMode), kIoctlSrc),
        with_exceptions(with_setup(command_row("L2ModeSet", IOCTL_SET_PORT_L2_MODE, vlan_req(101), kIoctlSrc),
                                   with_vlans({1})),
                        {kVlanAnswerSelectsPath}),
        with_exceptions(
            with_setup(command_row("L2ModeRemove", IOCTL_REMOVE_PORT_L2_MODE, vlan_req(1001), kIoctlSrc),
                       with_vlans({1, 4079})),
            {kVlanAnswerSelectsPath}),
    };
}

std::vector<Row> l2_rows() {
    std::vector<Row> rows;
    for (uint32_t op = 0; op <= 5; ++op)
        rows.push_back(
            command_row("Monitor" + std::to_string(op), IOCTL_SW_PORT_MONITOR, u32(op), kIoctlSrc));
    EswStormStatusRequest status{};
    status.kind = 1;
    const std::vector<Row> more{
        with_setup(command_row("EeeGet", IOCTL_GET_EEE_STATUS, bytes_of(EswEeeRequest{0}), kIoctlSrc),
                   [](EswFrameworkHandle*) { sim::port(3).eeeSecond = 1; }),
        command_row("EeeSet", IOCTL_SET_EEE_MODE, bytes_of(EswEeeRequest{4}), kIoctlSrc),
        with_exceptions(
            command_row("StormOff", IOCTL_SW_CONFIG_STORM_CTRL, bytes_of(EswStormRequest{2, 100}), kIoctlSrc),
            {{"peridot_reset_storm_counters", 0, Outcome::continues_logged}}),
        command_row("StormRate", IOCTL_SW_CONFIG_STORM_CTRL, bytes_of(EswStormRequest{0, 20}), kIoctlSrc),
        command_row("StormStatus", IOCTL_GET_STORM_CTRL_STATUS, bytes_of(status), kIoctlSrc),
        command_row("PortSecurity", IOCTL_SET_PORT_SECURITY, {1}, kIoctlSrc),
        command_row("MacLearning", IOCTL_SET_MAC_LEARNING, {0}, kIoctlSrc),
        command_row("MaxNumMac", IOCTL_SET_MAX_NUM_MAC, bytes_of(uint16_t{4095}), kIoctlSrc),
        command_row("AgeTime", IOCTL_SET_AGE_TIME, bytes_of(uint16_t{956}), kIoctlSrc),
        command_row("DynamicMacs", IOCTL_POPULATE_VLAN_MAC_DB,
                    std::vector<uint8_t>(sizeof(sim::DynamicMacBuffer)), kIoctlSrc),
        with_setup(command_row("FlushVlanMacs", IOCTL_SW_FLUSH_VLAN_MACS, vlan_req(100), kIoctlSrc),
                   with_vlans({100})),
        with_setup(command_row("StaticMulticastToPort", NIC_REG_MC_HW,
                               bytes_of(mac_request(kMulticastMac, 105)), kIoctlSrc),
                   with_vlans({4075})),
        with_setup(command_row("StaticMulticastGroup", NIC_REG_MC_HW,
                               bytes_of(mac_request(kMulticastMac, 105, 7)), kIoctlSrc),
                   with_vlans({4075})),
        with_setup(
            command_row("StaticUnicast", NIC_REG_MC_HW, bytes_of(mac_request(kUnicastMac, 100)), kIoctlSrc),
            with_vlans({100})),
        with_setup(command_row("StaticRemoveTranslated", NIC_UNREG_MC_HW,
                               bytes_of(mac_request(kMulticastMac, 105)), kIoctlSrc),
                   with_static_mac(kMulticastMac, 4075)),
        with_setup(command_row("DataPlaneMacRemove", IOCTL_SW_DEL_DATAPLANE_MAC,
                               bytes_of(mac_request(kUnicastMac, 100)), kIoctlSrc),
                   with_static_mac(kUnicastMac, 100)),
        with_setup(command_row("DataPlaneMacAdd", IOCTL_SW_ADD_DATAPLANE_MAC,
                               bytes_of(mac_request(kUnicastMac, 100)), kIoctlSrc),
                   with_vlans({100})),
        with_setup(command_row("PortMacAdd", IOCTL_SW_ADD_PORT_MAC, bytes_of(mac_request(kUnicastMac, 100)),
                               kIoctlSrc),
                   with_vlans({100})),
        with_setup(command_row("PortMacRemove", IOCTL_SW_DEL_PORT_MAC,
                               bytes_of(mac_request(kUnicastMac, 100)), kIoctlSrc),
                   with_static_mac(kUnicastMac, 100)),
    };
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}

class FaultSweep : public esw_test::DriverTest, public testing::WithParamInterface<Row> {
protected:
    static void SetUpTestSuite() {
        // What the bring-up obtains for the forwarding filter; these tests do not run it.
        uc_mac_acl_handle_p[0] = sim::acl_handle(255);
        mc_mac_acl_handle_p[0] = sim::acl_handle(254);
    }
};

TEST_P(FaultSweep, EveryChipCallFailureIsHandled) {
    const Row& row = GetParam();
    EswFrameworkHandle* handle = open_port(row.port);
    esw_sweep::sweep(row, handle);
}

std::string row_name(const testing::TestParamInfo<Row>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Port, FaultSweep, testing::ValuesIn(port_rows()), row_name);
INSTANTIATE_TEST_SUITE_P(Trunk, FaultSweep, testing::ValuesIn(trunk_rows()), row_name);
INSTANTIATE_TEST_SUITE_P(Vlan, FaultSweep, testing::ValuesIn(vlan_rows()), row_name);
INSTANTIATE_TEST_SUITE_P(L2, FaultSweep, testing::ValuesIn(l2_rows()), row_name);

}  // namespace
