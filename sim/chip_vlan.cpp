// Chip-access calls of VLAN membership, port VLAN modes and the ACL port lists.
#include "sim/host_call.h"

using sim::Chip;
using sim::PortState;
using sim::detail::Host;
using sim::detail::valid_port;

namespace {

// Adding needs the VLAN; removing from a VLAN that does not exist succeeds (nothing to remove).
template <typename R>
R allowed_vlan(const char* name, uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag) {
    return Host<R>(name, dev, port, vlan, flag).port(port).run([&](Chip& c) {
        if (!valid_port(port)) return false;
        auto it = c.device.vlans.find(vlan);
        if (it == c.device.vlans.end()) return flag == 0;
        if (flag) {
            it->second.members.insert(port);
        } else {
            it->second.members.erase(port);
            it->second.tagged.erase(port);
        }
        return true;
    });
}

// The handle slot must hold a handle asic_get_acl_handle gives.
int32_t acl_port(const char* name, uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result,
                 bool add) {
    return Host<int32_t>(name, dev, handleSlot, port, result).port(port).run([&](Chip& c) {
        if (!valid_port(port) || !handleSlot || (*handleSlot & ~uint64_t{0xff}) != sim::kAclHandleBase)
            return false;
        std::set<uint8_t>& members = c.device.aclMembers[static_cast<uint8_t>(*handleSlot & 0xff)];
        if (add)
            members.insert(port);
        else
            members.erase(port);
        if (result) *result = 0;
        return true;
    });
}

}  // namespace

extern "C" {

int32_t asic_set_port_allowed_vlan(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag) {
    return allowed_vlan<int32_t>("asic_set_port_allowed_vlan", dev, port, vlan, flag);
}

uint8_t peridot_set_port_allowed_vlan(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag) {
    return allowed_vlan<uint8_t>("peridot_set_port_allowed_vlan", dev, port, vlan, flag);
}

// Tagging makes the port a member either way: flag 1 tagged, flag 0 untagged.
uint8_t peridot_set_tagging_on_port(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag) {
    return Host<uint8_t>("peridot_set_tagging_on_port", dev, port, vlan, flag).port(port).run([&](Chip& c) {
        auto it = c.device.vlans.find(vlan);
        if (!valid_port(port) || it == c.device.vlans.end()) return false;
        it->second.members.insert(port);
        if (flag)
            it->second.tagged.insert(port);
        else
            it->second.tagged.erase(port);
        return true;
    });
}

uint8_t peridot_set_default_source_vlan_id(uint8_t dev, uint8_t port, uint32_t vlan) {
    return Host<uint8_t>("peridot_set_default_source_vlan_id", dev, port, vlan)
        .on_port(port, [&](PortState& p) { p.defaultVlan = vlan; });
}

uint8_t peridot_set_allow_native(uint8_t dev, uint8_t port, uint8_t flag) {
    return Host<uint8_t>("peridot_set_allow_native", dev, port, flag).on_port(port, [&](PortState& p) {
        p.allowNative = flag != 0;
    });
}

uint8_t peridot_allow_priority_tagged(uint8_t dev, uint8_t port, uint8_t flag) {
    return Host<uint8_t>("peridot_allow_priority_tagged", dev, port, flag).on_port(port, [&](PortState& p) {
        p.priorityTagged = flag != 0;
    });
}

uint8_t peridot_enable_8021q_mode(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_enable_8021q_mode", dev, port).on_port(port, [&](PortState& p) {
        p.dot1q = true;
    });
}

uint8_t peridot_disable_8021q_mode(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_disable_8021q_mode", dev, port).on_port(port, [&](PortState& p) {
        p.dot1q = false;
    });
}

int32_t asic_enable_protected_port(uint8_t dev, uint32_t protectValue) {
    return Host<int32_t>("asic_enable_protected_port", dev, protectValue).run([&](Chip& c) {
        c.device.protectValue = protectValue;
        return true;
    });
}

uint8_t peridot_dsamode_enable(uint8_t dev, uint8_t port, uint8_t mode) {
    return Host<uint8_t>("peridot_dsamode_enable", dev, port, mode).on_port(port, [&](PortState& p) {
        p.dsaMode = mode;
    });
}

int32_t asic_peridot_set_ethertype(uint8_t dev, uint32_t port, uint32_t ethertype) {
    return Host<int32_t>("asic_peridot_set_ethertype", dev, port, ethertype)
        .zero_ok()
        .on_port(port, [&](PortState& p) { p.ethertype = ethertype; });
}

int32_t asic_peridot_double_tagging(uint8_t dev, uint32_t vlan, uint32_t port, uint8_t dataPlanePort) {
    return Host<int32_t>("asic_peridot_double_tagging", dev, vlan, port, dataPlanePort)
        .on_port(port, [&](PortState& p) {
            p.doubleTagVlan = vlan;
            p.doubleTagTarget = dataPlanePort;
        });
}

int32_t peridot_port_vlan_map(uint32_t dev, uint32_t port, uint32_t portSet) {
    return Host<int32_t>("peridot_port_vlan_map", dev, port, portSet).on_port(port, [&](PortState& p) {
        p.vlanMap = portSet;
    });
}

int32_t asic_allow_priority_tagged(uint8_t dev, uint8_t port, uint8_t flag) {
    return Host<int32_t>("asic_allow_priority_tagged", dev, port, flag).on_port(port, [&](PortState& p) {
        p.priorityTagged = flag != 0;
    });
}

int32_t asic_acl_add_port(uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result) {
    return acl_port("asic_acl_add_port", dev, handleSlot, port, result, true);
}

int32_t asic_acl_remove_port(uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result) {
    return acl_port("asic_acl_remove_port", dev, handleSlot, port, result, false);
}

// The mode is one setting of the device; the port argument is only checked.
int32_t asic_set_vlan_forwarding_mode(uint8_t dev, uint8_t port, uint32_t modeValue, uint8_t modeFlag) {
    return Host<int32_t>("asic_set_vlan_forwarding_mode", dev, port, modeValue, modeFlag)
        .port(port)
        .run([&](Chip& c) {
            if (!valid_port(port)) return false;
            c.device.vlanForwardingMode = std::make_pair(modeValue, modeFlag);
            return true;
        });
}

}  // extern "C"
