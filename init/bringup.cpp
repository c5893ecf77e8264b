// initKPMD: the one-time bring-up of the switch chip and of the library's own resources (capture
// interfaces, receive thread, access-control handles), run by the module entry before the device
// is registered.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"
#include "init/bringup_hooks.h"
#include "platform/host_abi.h"

extern "C" {
ESW_EXPORT EswDeviceInfo kpmdDeviceInfo = {};
// Zero until the last step of a successful bring-up; the forwarding filter adds ports to them.
ESW_EXPORT uint64_t uc_mac_acl_handle_p[1] = {};
ESW_EXPORT uint64_t mc_mac_acl_handle_p[1] = {};
}

namespace {

using Log = esw::Log<esw::Src::init>;
using esw::Expect;

constexpr uint8_t kDevice = 0;
constexpr int32_t kRmuDeviceId = 161;
constexpr uint8_t kUnicastAclList = 255;
constexpr uint8_t kMulticastAclList = 254;
// Chip ports reach the chip-access layer as 8-bit numbers; a larger count from the chip driver
// could only repeat ports.
constexpr uint32_t kMaxChipPorts = 256;

// The two-bit field at bit 14 of register 4 of every chip port but 0 gets the value 2.
struct RegField {
    uint8_t reg, offset, length;
    uint16_t value;
};
constexpr RegField kPortRegField{4, 14, 2, 2};

// Storm control off on every user port for unicast, multicast and broadcast, and the span storm
// port set up, all in the order the chip expects them.
using StormCall = int32_t (*)(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate, uint32_t arg5,
                              uint8_t enable);
struct StormDefault {
    const char* name;
    StormCall call;
    uint8_t mode;
    uint32_t rate;
    uint32_t arg5;
    uint8_t enable;
};
constexpr std::array<StormDefault, 4> kStormDefaults{{
    {"asic_set_storm_control_unicast", &asic_set_storm_control_unicast, 2, 100, 0, 0},
    {"asic_set_storm_control_multicast", &asic_set_storm_control_multicast, 2, 100, 0, 0},
    {"asic_set_storm_control_broadcast", &asic_set_storm_control_broadcast, 2, 100, 0, 0},
    {"asic_enable_span_storm_port", &asic_enable_span_storm_port, 2, 100, 0, 1},
}};

// The VLANs the library keeps for itself. LLDP (4094) reaches the CPU from ports 7 and 8, LACP
// (4093) from every user port; 4092 holds the user ports with no CPU path.
using DsaCall = uint8_t (*)(uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort, uint8_t flag);
enum class DsaOrder : uint8_t {
    none,
    after_members,  // every port joins first, then each gets its DSA set-up
    per_port,       // each port joins and gets its DSA set-up before the next port
};
struct ReservedVlan {
    uint32_t vlan;
    uint8_t firstPort, lastPort;
    const char* dsaName;
    DsaCall dsa;
    DsaOrder order;
};
constexpr std::array<ReservedVlan, 3> kReservedVlans{{
    {4094, 7, 8, "peridot_add_vlan_forlldp_dsa", &peridot_add_vlan_forlldp_dsa, DsaOrder::after_members},
    {4093, 1, 8, "peridot_add_vlan_forlacp_dsa", &peridot_add_vlan_forlacp_dsa, DsaOrder::per_port},
    {4092, 1, 8, nullptr, nullptr, DsaOrder::none},
}};

esw::ThreadStarter threadStarter = nullptr;  // set by tests before a bring-up only

// The tests read standard output as soon as the bring-up returns, whichever way it returns.
struct FlushStdoutOnReturn {
    FlushStdoutOnReturn() = default;
    FlushStdoutOnReturn(const FlushStdoutOnReturn&) = delete;
    FlushStdoutOnReturn& operator=(const FlushStdoutOnReturn&) = delete;
    ~FlushStdoutOnReturn() { std::fflush(stdout); }
};

void load_chip_driver() { std::puts(qdInit() == 0 ? "QD Load Success" : "QD Load Failed"); }

// A port whose output drive cannot be set still works; the bring-up goes on.
void set_vod_on_user_ports() {
    for (const uint32_t port : userPorts)
        (void)Log::ok(peridot_vodSet(kDevice, static_cast<uint8_t>(port)),
                      "%s: peridot_vodSet port %u, status %d", "initKPMD", port);
}

bool disable_learning_on_user_ports() {
    for (const uint32_t port : userPorts)
        if (!Log::ok(peridot_disable_atu_learning(kDevice, static_cast<uint8_t>(port)),
                     "%s: peridot_disable_atu_learning port %u, status %d", "initKPMD", port))
            return false;
    return true;
}

// The port count and hwSetAnyRegField both need the chip driver's record; when qdInit left none,
// 802.1Q cannot be set up and the bring-up stops here rather than reading through a null record.
bool enable_8021q_on_chip_ports() {
    QdDevice* const dev = qddev;
    if (dev == nullptr) {
        Log::error("%s: no chip driver record, 802.1Q mode not set", "initKPMD");
        return false;
    }
    const uint32_t count = std::min(dev->numOfPorts, kMaxChipPorts);
    for (uint32_t p = 0; p < count; ++p) {
        const auto port = static_cast<uint8_t>(p);
        if (!Log::ok(asic_enable_8021q_mode(kDevice, port), "%s: asic_enable_8021q_mode port %u, status %d",
                     "initKPMD", p))
            return false;
        if (p == 0) continue;  // the register write starts at chip device address 1
        if (!Log::ok(Expect::zero,
                     hwSetAnyRegField(dev, port, kPortRegField.reg, kPortRegField.offset,
                                      kPortRegField.length, kPortRegField.value),
                     "%s: hwSetAnyRegField port %u, status %d", "initKPMD", p))
            return false;
    }
    return true;
}

bool apply_storm_defaults() {
    for (const uint32_t port : userPorts)
        for (const StormDefault& s : kStormDefaults)
            if (!Log::ok(Expect::low_byte_one,
                         s.call(kDevice, static_cast<uint8_t>(port), s.mode, s.rate, s.arg5, s.enable),
                         "%s: %s port %u, status %d", "initKPMD", s.name, port))
                return false;
    return true;
}

bool allow_on_port(uint32_t vlan, uint32_t port) {
    return Log::ok(asic_set_port_allowed_vlan(kDevice, static_cast<uint8_t>(port), vlan, 1),
                   "%s: asic_set_port_allowed_vlan port %u vlan %u, status %d", "initKPMD", port, vlan);
}

bool dsa_on_port(const ReservedVlan& v, uint32_t port) {
    return Log::ok(v.dsa(kDevice, v.vlan, static_cast<uint8_t>(port), ControlPlanePort, 1),
                   "%s: %s port %u vlan %u, status %d", "initKPMD", v.dsaName, port, v.vlan);
}

bool create_reserved_vlan(const ReservedVlan& v) {
    if (!Log::ok(asic_create_vlan(kDevice, v.vlan), "%s: asic_create_vlan vlan %u, status %d", "initKPMD",
                 v.vlan))
        return false;
    for (uint32_t port = v.firstPort; port <= v.lastPort; ++port) {
        if (!allow_on_port(v.vlan, port)) return false;
        if (v.order == DsaOrder::per_port && !dsa_on_port(v, port)) return false;
    }
    if (v.order == DsaOrder::after_members)
        for (uint32_t port = v.firstPort; port <= v.lastPort; ++port)
            if (!dsa_on_port(v, port)) return false;
    return true;
}

// The thread runs for the life of the process; its identifier is not kept.
bool start_receive_thread() {
    pthread_t thread{};
    const esw::ThreadStarter start = threadStarter != nullptr ? threadStarter : &pthread_create;
    return Log::ok(Expect::zero, start(&thread, nullptr, &rx_poll_task, nullptr),
                   "%s: receive thread not started, status %d", "initKPMD");
}

}  // namespace

namespace esw {
void set_thread_starter(ThreadStarter starter) { threadStarter = starter; }
}  // namespace esw

extern "C" {

// Only device 0 exists: another device number has no record to fill.
ESW_EXPORT void initKpmdPcl(uint8_t device) {
    if (device != kDevice) {
        Log::error("%s: no device %u", "initKpmdPcl", static_cast<unsigned>(device));
        return;
    }
    kpmdDeviceInfo.ports = userPorts;
    kpmdDeviceInfo.count = static_cast<uint8_t>(numOfUserPortsCns);
    kpmdDeviceInfo.flag = 1;
}

ESW_EXPORT int32_t initKPMD(void) {
    const FlushStdoutOnReturn flush;
    kpmdTraceInit();
    std::memset(&kpmdDeviceInfo, 0, sizeof kpmdDeviceInfo);
    initKpmdPcl(kDevice);
    load_chip_driver();
    if (!Log::ok(Expect::nonzero, peridot_init_reg(kDevice, 1, 0), "%s: peridot_init_reg, status %d",
                 "initKPMD"))
        return 1;
    set_vod_on_user_ports();
    std::printf("\nSetting RMU mode");
    if (!Log::ok(Expect::zero, pcap_rmuOpenEthDevice(kRmuDeviceId), "%s: pcap_rmuOpenEthDevice, status %d",
                 "initKPMD"))
        return 1;
    if (!Log::ok(peridot_set_rmu_mode(kDevice, 3, 1, 0), "%s: peridot_set_rmu_mode, status %d", "initKPMD"))
        return 1;
    if (!Log::ok(peridot_set_learning(kDevice, 0), "%s: peridot_set_learning, status %d", "initKPMD"))
        return 1;
    if (!Log::ok(peridot_disable_atu_learning(kDevice, DataPlanePort),
                 "%s: peridot_disable_atu_learning port %u, status %d", "initKPMD",
                 static_cast<unsigned>(DataPlanePort)))
        return 1;
    if (!disable_learning_on_user_ports()) return 1;
    if (!enable_8021q_on_chip_ports()) return 1;
    if (!apply_storm_defaults()) return 1;
    for (const ReservedVlan& vlan : kReservedVlans)
        if (!create_reserved_vlan(vlan)) return 1;
    init_lacp_interfaces();
    if (open_all_lacp_interfaces() == 1) {
        Log::error("%s: LACP capture interfaces not opened", "initKPMD");
        return 1;
    }
    if (!start_receive_thread()) return 1;
    peridot_set_ARPwoBC_reg(kDevice);
    if (mrvl_set_link_speed_led() != 0) Log::error("%s: port speed LEDs not set", "initKPMD");
    uc_mac_acl_handle_p[kDevice] = asic_get_acl_handle(kDevice, kUnicastAclList);
    mc_mac_acl_handle_p[kDevice] = asic_get_acl_handle(kDevice, kMulticastAclList);
    return 0;
}

}  // extern "C"
