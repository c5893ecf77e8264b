// The chip's VLAN table and each port's membership, tagging, default VLAN and native admission.
// The library keeps no VLAN state: the chip's table is the only record and asic_vlan_exists the
// only question asked of it.
#include "vlan/sequence.h"

namespace {

using esw::vlan::Exists;
using esw::vlan::Sequence;
using R = esw::vlan::Report;
namespace call = esw::vlan;

// Every VLAN the host creates is carried tagged to the data plane.
constexpr Sequence kAllowOnDataPlane{"mrvl_esw_allow_vlan_on_dataplane_port",
                                     Exists::none,
                                     {{{&call::kJoin, R::port_status}, {&call::kTagged, R::port_status}}}};

// Adding a VLAN that is already there is a success and leaves the data-plane port alone, also
// when an earlier add created the VLAN and then failed on the data-plane port.
constexpr Sequence kAddVlan{"mrvl_esw_ioctl_add_vlan",
                            Exists::present_succeeds,
                            {{{&call::kCreateVlan, R::vlan_status}, {&call::kAllowOnDataPlane, R::status}}}};

// One chip call drops the VLAN with every port's membership in it.
constexpr Sequence kRemoveVlan{
    "mrvl_esw_ioctl_remove_vlan", Exists::not_exactly_one_fails, {{{&call::kDeleteVlan, R::vlan_status}}}};

// The access port's former VLAN stays until the host removes it with its own command.
constexpr Sequence kAccessPortVlan{"mrvl_esw_ioctl_set_vlan_to_aport",
                                   Exists::absent_fails,
                                   {{{&call::kDefaultVlan, R::port_status},
                                     {&call::kJoin, R::port_status},
                                     {&call::kUntagged, R::port_status}}}};

constexpr Sequence kResetAccessPortVlan{
    "mrvl_esw_ioctl_reset_vlan_of_aport", Exists::absent_fails, {{{&call::kLeave, R::port_status}}}};

// Tagging makes the port a member as well; no separate membership call.
constexpr Sequence kAllowOnTrunk{
    "mrvl_esw_ioctl_add_port_to_vlan", Exists::absent_fails, {{{&call::kTagged, R::port_status}}}};

// The port leaves the VLAN whether or not the table still holds it.
constexpr Sequence kDisallowOnTrunk{
    "mrvl_esw_ioctl_remove_port_from_vlan", Exists::none, {{{&call::kLeave, R::port_status}}}};

constexpr Sequence kAddNative{"mrvl_esw_ioctl_tport_add_native_vlan",
                              Exists::absent_fails,
                              {{{&call::kUntagged, R::line_port_status_vlan},
                                {&call::kNativeOn, R::line_port_status},
                                {&call::kDefaultVlan, R::line_port_status_vlan}}}};

// The port leaves the VLAN altogether; its default VLAN stays as it was.
constexpr Sequence kRemoveNative{
    "mrvl_esw_ioctl_tport_remove_native_vlan",
    Exists::absent_fails,
    {{{&call::kLeave, R::line_port_status_vlan}, {&call::kNativeOff, R::line_port_status}}}};

}  // namespace

using esw::vlan::run;
using esw::vlan::run_request;

extern "C" {

ESW_EXPORT uint32_t mrvl_esw_allow_vlan_on_dataplane_port(uint32_t dev, uint32_t vlan) {
    return run(kAllowOnDataPlane, dev, DataPlanePort, vlan);
}

// The table commands act on the whole device; no port takes part.
ESW_EXPORT uint32_t mrvl_esw_ioctl_add_vlan(uint32_t dev, void* arg) {
    return run_request(kAddVlan, dev, 0, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_vlan(uint32_t dev, void* arg) {
    return run_request(kRemoveVlan, dev, 0, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_to_aport(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kAccessPortVlan, dev, port, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_reset_vlan_of_aport(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kResetAccessPortVlan, dev, port, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_add_port_to_vlan(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kAllowOnTrunk, dev, port, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_port_from_vlan(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kDisallowOnTrunk, dev, port, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_add_native_vlan(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kAddNative, dev, port, arg);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_remove_native_vlan(uint32_t dev, uint32_t port, void* arg) {
    return run_request(kRemoveNative, dev, port, arg);
}

}  // extern "C"
