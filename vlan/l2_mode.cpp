// Switchport L2 mode. In it a front-panel port is an ordinary access port of VLAN 1 that learns
// and may forward to every other port; out of it the port is tied to the data plane: it forwards
// only to the data-plane and control-plane ports, does not learn, and its frames are double-tagged
// toward the data plane with a VLAN of its own. The chip's settings are the only record of which
// role a port has.
#include <array>

#include "driver/internal.h"
#include "vlan/request.h"
#include "vlan/sequence.h"

namespace {

using esw::Expect;
using esw::vlan::Log;

// The host numbers each front-panel port's own VLAN 101..108 or 1001..1008; the chip knows them
// near the top of the VLAN range.
struct PortVlanRange {
    uint32_t first;
    uint32_t last;  // inclusive
    uint32_t chipFirst;
};
constexpr std::array<PortVlanRange, 2> kPortVlanRanges{{{101, 108, 4071}, {1001, 1008, 4079}}};
static_assert(kPortVlanRanges[0].last - kPortVlanRanges[0].first + 1 == esw::kUserPortCount);
static_assert(kPortVlanRanges[1].last - kPortVlanRanges[1].first + 1 == esw::kUserPortCount);

constexpr uint32_t kDefaultVlan = 1;
constexpr uint32_t kAllPortsSet = 0x7ff;    // ports 0..10
constexpr uint32_t kPlanePortsSet = 0x600;  // DataPlanePort and ControlPlanePort

uint32_t filter_both_lists(uint32_t dev, uint32_t port, uint32_t mode) {
    EswFilterModeRequest filter{mode};
    if (!Log::ok(Expect::zero, mrvl_esw_ioctl_forward_filter_cfg(dev, port, &filter, NIC_MODE),
                 "mrvl_esw_ioctl_port_l2_mode: port %u, unicast filter not set, status %d", port))
        return 1;
    if (!Log::ok(Expect::zero, mrvl_esw_ioctl_forward_filter_cfg(dev, port, &filter, NIC_MC_MODE),
                 "mrvl_esw_ioctl_port_l2_mode: port %u, multicast filter not set, status %d", port))
        return 1;
    return 0;
}

uint32_t set_l2_mode(uint32_t dev, uint32_t port, uint32_t chipVlan) {
    // The forwarding set has a bit for ports 0..10 only: a larger port number has no set to build
    // and is refused before any chip call (a shift by it would also be undefined).
    if (port >= esw::kPortCount) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: port %u has no place in the port vlan map", port);
        return 1;
    }
    const auto dev8 = static_cast<uint8_t>(dev);
    const auto port8 = static_cast<uint8_t>(port);
    if (peridot_port_vlan_map(dev, port, kAllPortsSet & ~(1u << port)) != 1) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: cannot open the port vlan map to every port");
        return 1;
    }
    if (!Log::ok(peridot_set_port_allowed_vlan(dev8, port8, chipVlan, 0),
                 "mrvl_esw_ioctl_port_l2_mode: port %u cannot leave its own vlan, status %d", port))
        return 1;
    if (!Log::ok(Expect::zero, mrvl_esw_ioctl_set_port_to_access_mode(dev, port),
                 "mrvl_esw_ioctl_port_l2_mode: port %u cannot become an access port, status %d", port))
        return 1;
    if (!Log::ok(Expect::zero, mrvl_esw_allow_vlan_on_dataplane_port(dev, kDefaultVlan),
                 "mrvl_esw_ioctl_port_l2_mode: vlan 1 not allowed on data-plane port %u, status %d",
                 static_cast<unsigned>(DataPlanePort)))
        return 1;
    if (!Log::ok(peridot_enable_atu_learning(dev8, port8),
                 "mrvl_esw_ioctl_port_l2_mode: port %u, learning not enabled, status %d", port))
        return 1;
    return filter_both_lists(dev, port, ESW_FILTER_PROMISCUOUS);
}

// Not the mirror image of set: set undoes neither the double tagging nor the priority-tagged
// admission, and the 802.1Q mode turned off here comes back inside access mode.
uint32_t remove_l2_mode(uint32_t dev, uint32_t port, uint32_t vlanId, uint32_t chipVlan) {
    const auto dev8 = static_cast<uint8_t>(dev);
    const auto port8 = static_cast<uint8_t>(port);
    if (asic_vlan_exists(dev8, kDefaultVlan) != 0 &&
        peridot_set_port_allowed_vlan(dev8, port8, kDefaultVlan, 0) != 1) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: the port cannot leave vlan 1");
        return 1;
    }
    if (vlanId != 0) {
        const int32_t status = asic_peridot_double_tagging(dev8, chipVlan, port, DataPlanePort);
        if (status != 1) {
            Log::error("mrvl_esw_ioctl_port_l2_mode: port %u, double tagging not set, status %d, vlan %u",
                       port, status, vlanId);
            return 1;
        }
    }
    if (!Log::ok(peridot_disable_8021q_mode(dev8, port8),
                 "mrvl_esw_ioctl_port_l2_mode: port %u, 802.1q mode not disabled, status %d", port))
        return 1;
    if (peridot_port_vlan_map(dev, port, kPlanePortsSet) != 1) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: cannot narrow the port vlan map to the plane ports");
        return 1;
    }
    if (peridot_set_tagging_on_port(dev8, port8, chipVlan, 0) != 1) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: vlan %u not set untagged", vlanId);
        return 1;
    }
    if (asic_allow_priority_tagged(dev8, port8, 1) != 1) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: port %u, priority-tagged frames not allowed", port);
        return 1;
    }
    if (!Log::ok(peridot_disable_atu_learning(dev8, port8),
                 "mrvl_esw_ioctl_port_l2_mode: port %u, learning not disabled, status %d", port))
        return 1;
    return filter_both_lists(dev, port, ESW_FILTER_INDIVIDUAL);
}

}  // namespace

extern "C" {

uint32_t mrvl_esw_translate_vlan_id(uint32_t vlanId) {
    for (const PortVlanRange& range : kPortVlanRanges)
        if (vlanId >= range.first && vlanId <= range.last) return range.chipFirst + (vlanId - range.first);
    return vlanId;
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_port_l2_mode(uint32_t dev, uint32_t port, void* arg, uint32_t cmd) {
    if (cmd != IOCTL_SET_PORT_L2_MODE && cmd != IOCTL_REMOVE_PORT_L2_MODE) return 1;
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_port_l2_mode: port %u, no request", port);
        return 1;
    }
    const auto vlanId = esw::vlan::request_field<uint32_t>(arg, offsetof(EswVlanRequest, vlanId));
    const uint32_t chipVlan = mrvl_esw_translate_vlan_id(vlanId);
    if (cmd == IOCTL_SET_PORT_L2_MODE) return set_l2_mode(dev, port, chipVlan);
    return remove_l2_mode(dev, port, vlanId, chipVlan);
}

}  // extern "C"
