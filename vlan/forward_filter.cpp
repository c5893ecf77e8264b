// Unicast and multicast forwarding filters, and the VLAN forwarding mode of the data-plane port.
// A port in individual mode is a member of the device's access-control list, a port in
// promiscuous mode is not; list membership in the chip is the only record.
#include <array>
#include <iterator>

#include "vlan/request.h"
#include "vlan/sequence.h"

namespace {

using esw::vlan::Log;

struct FilterList {
    uint32_t cmd;
    const char* name;
    uint64_t* handles;  // one slot per device, filled by the bring-up
};
constexpr std::array<FilterList, 2> kFilterLists{{
    {NIC_MODE, "UC_MODE", uc_mac_acl_handle_p},
    {NIC_MC_MODE, "MC_MODE", mc_mac_acl_handle_p},
}};
// Named in the record of a command number that has no list.
constexpr const FilterList& kFallbackList = kFilterLists[1];

// The lists have slots for device 0 only.
constexpr std::size_t kAclDevices = std::size(uc_mac_acl_handle_p);
static_assert(std::size(mc_mac_acl_handle_p) == kAclDevices);

struct FilterAction {
    const char* name;
    int32_t (*apply)(uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result);
};
constexpr FilterAction kIndividual{"INDIVIDUAL", asic_acl_add_port};
// Every mode other than individual acts as promiscuous.
constexpr FilterAction kPromiscuous{"PROMISCUOUS", asic_acl_remove_port};

const FilterList* find_list(uint32_t cmd) {
    for (const FilterList& list : kFilterLists)
        if (list.cmd == cmd) return &list;
    return nullptr;
}

}  // namespace

extern "C" {

ESW_EXPORT uint32_t mrvl_esw_ioctl_forward_filter_cfg(uint32_t dev, uint32_t port, void* arg, uint32_t cmd) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_forward_filter_cfg: port %u, no request", port);
        return 1;
    }
    // Any other device would index past the one-slot handle arrays.
    if (dev >= kAclDevices) {
        Log::error("mrvl_esw_ioctl_forward_filter_cfg: port %u, device %u has no access-control lists", port,
                   dev);
        return 1;
    }
    const auto mode = esw::vlan::request_field<uint32_t>(arg, offsetof(EswFilterModeRequest, filterMode));
    const FilterAction& action = mode == ESW_FILTER_INDIVIDUAL ? kIndividual : kPromiscuous;
    const FilterList* list = find_list(cmd);
    if (list != nullptr) {
        uint32_t result = 0;  // the chip layer's to write; not read back
        if (action.apply(static_cast<uint8_t>(dev), &list->handles[dev], static_cast<uint8_t>(port),
                         &result) != 0)
            return 0;
    }
    const FilterList& named = list != nullptr ? *list : kFallbackList;
    Log::error("mrvl_esw_ioctl_forward_filter_cfg: port %u not set %s on %s list, handle 0x%llx", port,
               action.name, named.name, static_cast<unsigned long long>(named.handles[dev]));
    return 1;
}

// The handle's port plays no part: the mode is always the data-plane port's.
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_forwarding_mode(uint32_t dev, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_set_vlan_forwarding_mode: no request");
        return 1;
    }
    const auto modeValue = esw::vlan::request_field<uint32_t>(arg, offsetof(EswVlanModeRequest, modeValue));
    const auto modeFlag = esw::vlan::request_field<uint8_t>(arg, offsetof(EswVlanModeRequest, modeFlag));
    if (asic_set_vlan_forwarding_mode(static_cast<uint8_t>(dev), DataPlanePort, modeValue, modeFlag) == 1)
        return 0;
    Log::error("mrvl_esw_ioctl_set_vlan_forwarding_mode: mode %u flag %u not set on the data-plane port",
               modeValue, static_cast<unsigned>(modeFlag));
    return 1;
}

}  // extern "C"
