// Access, trunk and protected port modes. The chip's port settings are the only record of a
// port's mode; a mode lasts until another command rewrites it.
#include "vlan/request.h"
#include "vlan/sequence.h"

namespace {

using esw::vlan::Exists;
using esw::vlan::Log;
using esw::vlan::Sequence;
using R = esw::vlan::Report;
namespace call = esw::vlan;

// Both modes run on VLAN 1, the default VLAN of every port.
constexpr uint32_t kDefaultVlan = 1;

// An untagged member of VLAN 1, created here when missing (but not carried to the data plane).
constexpr Sequence kAccessMode{"mrvl_esw_ioctl_set_port_to_access_mode",
                               Exists::none,
                               {{{&call::kCreateVlanIfAbsent, R::port_status},
                                 {&call::kDefaultVlan, R::port_status},
                                 {&call::kPriorityTaggedOff, R::port_status},
                                 {&call::kNativeOn, R::port_status},
                                 {&call::kDot1qOn, R::port_status},
                                 {&call::kJoin, R::port_status},
                                 {&call::kUntagged, R::port_status}}}};

// Rewrites only the four settings both modes share: a former access port stays an untagged
// member of its VLAN until the host removes it.
constexpr Sequence kTrunkMode{"mrvl_esw_ioctl_set_port_to_trunk_mode",
                              Exists::none,
                              {{{&call::kDefaultVlan, R::port_status},
                                {&call::kPriorityTaggedOn, R::port_status},
                                {&call::kNativeOff, R::port_status},
                                {&call::kDot1qOn, R::port_status}}}};

}  // namespace

extern "C" {

ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_access_mode(uint32_t dev, uint32_t port) {
    return esw::vlan::run(kAccessMode, dev, port, kDefaultVlan);
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_trunk_mode(uint32_t dev, uint32_t port) {
    return esw::vlan::run(kTrunkMode, dev, port, kDefaultVlan);
}

// The chip layer is given the request's value alone; the handle's port only names the record.
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_protected_mode(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_set_port_to_protected_mode: port %u, no request", port);
        return 1;
    }
    const auto protectValue =
        esw::vlan::request_field<uint32_t>(arg, offsetof(EswProtectedPortRequest, protectValue));
    if (asic_enable_protected_port(static_cast<uint8_t>(dev), protectValue) == 1) return 0;
    const esw::Where where{"%s:%d: cannot protect device %u port %u with value %u"};
    Log::error(where, __func__, static_cast<int>(where.loc.line()), dev, port, protectValue);
    return 1;
}

}  // extern "C"
