// Chip driver and the chip-access calls of the bring-up. The dev argument of the chip-access layer
// is not checked: the model is one device.
#include "sim/host_call.h"

using sim::Chip;
using sim::PortState;
using sim::detail::Host;
using sim::detail::valid_port;

namespace {

QdDevice loadedDevice{sim::kPortCount};

// The asic_* storm calls of the bring-up leave arg6 and the counter alone.
int32_t bringup_storm(const char* name, uint8_t dev, uint8_t port, size_t kind, uint8_t mode, uint32_t rate,
                      uint32_t arg5, uint8_t enable) {
    return Host<int32_t>(name, dev, port, mode, rate, arg5, enable).on_port(port, [&](PortState& p) {
        sim::StormSetting& s = kind < p.storm.size() ? p.storm[kind] : p.spanStorm;
        s.mode = mode;
        s.rate = rate;
        s.arg5 = arg5;
        s.enable = enable != 0;
    });
}

// Membership of the ports the bring-up gives the CPU's LLDP/LACP DSA path; the VLAN must exist.
uint8_t dsa_vlan(const char* name, uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort, uint8_t flag,
                 std::set<uint8_t> sim::VlanEntry::*set) {
    return Host<uint8_t>(name, dev, vlan, port, cpuPort, flag).port(port).run([&](Chip& c) {
        auto it = c.device.vlans.find(vlan);
        if (!valid_port(port) || it == c.device.vlans.end()) return false;
        (it->second.*set).insert(port);
        return true;
    });
}

}  // namespace

extern "C" {

QdDevice* qddev = nullptr;

int32_t qdInit(void) {
    return Host<int32_t>("qdInit").zero_ok().run([&](Chip& c) {
        c.device.qdLoaded = true;
        qddev = &loadedDevice;
        return true;
    });
}

// Only register 4, offset 14, length 2 is modelled; any other field is accepted and not kept.
int32_t hwSetAnyRegField(QdDevice* dev, uint8_t port, uint8_t regAddr, uint8_t fieldOffset,
                         uint8_t fieldLength, uint16_t data) {
    return Host<int32_t>("hwSetAnyRegField", dev, port, regAddr, fieldOffset, fieldLength, data)
        .zero_ok()
        .port(port)
        .run([&](Chip& c) {
            if (!dev || dev != qddev || !valid_port(port)) return false;
            if (regAddr == 4 && fieldOffset == 14 && fieldLength == 2) c.ports[port].regField4_14 = data;
            return true;
        });
}

// Any id opens the management channel: the model does not know other devices.
int32_t pcap_rmuOpenEthDevice(int32_t id) {
    return Host<int32_t>("pcap_rmuOpenEthDevice", id).zero_ok().run([&](Chip& c) {
        c.device.rmuOpened = true;
        return true;
    });
}

uint8_t peridot_init_reg(uint8_t dev, uint8_t a, uint8_t b) {
    return Host<uint8_t>("peridot_init_reg", dev, a, b).run([&](Chip& c) { return c.device.initReg = true; });
}

uint8_t peridot_vodSet(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_vodSet", dev, port).on_port(port, [&](PortState& p) { p.vodSet = true; });
}

uint8_t peridot_set_rmu_mode(uint8_t dev, uint8_t a, uint8_t b, uint8_t c) {
    return Host<uint8_t>("peridot_set_rmu_mode", dev, a, b, c).run([&](Chip& chip) {
        chip.device.rmuMode = std::array<uint8_t, 3>{a, b, c};
        return true;
    });
}

uint8_t peridot_set_learning(uint8_t dev, uint8_t enable) {
    return Host<uint8_t>("peridot_set_learning", dev, enable).run([&](Chip& c) {
        c.device.globalLearning = enable != 0;
        return true;
    });
}

uint8_t peridot_disable_atu_learning(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_disable_atu_learning", dev, port).on_port(port, [&](PortState& p) {
        p.learning = false;
    });
}

uint8_t peridot_enable_atu_learning(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_enable_atu_learning", dev, port).on_port(port, [&](PortState& p) {
        p.learning = true;
    });
}

int32_t asic_enable_8021q_mode(uint8_t dev, uint8_t port) {
    return Host<int32_t>("asic_enable_8021q_mode", dev, port).on_port(port, [&](PortState& p) {
        p.dot1q = true;
    });
}

int32_t asic_set_storm_control_unicast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate, uint32_t arg5,
                                       uint8_t enable) {
    return bringup_storm("asic_set_storm_control_unicast", dev, port, 0, mode, rate, arg5, enable);
}

int32_t asic_set_storm_control_multicast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                         uint32_t arg5, uint8_t enable) {
    return bringup_storm("asic_set_storm_control_multicast", dev, port, 1, mode, rate, arg5, enable);
}

int32_t asic_set_storm_control_broadcast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                         uint32_t arg5, uint8_t enable) {
    return bringup_storm("asic_set_storm_control_broadcast", dev, port, 2, mode, rate, arg5, enable);
}

int32_t asic_enable_span_storm_port(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate, uint32_t arg5,
                                    uint8_t enable) {
    return bringup_storm("asic_enable_span_storm_port", dev, port, 3, mode, rate, arg5, enable);
}

// Creating a VLAN that exists succeeds and keeps its members; any id is accepted.
int32_t asic_create_vlan(uint8_t dev, uint32_t vlan) {
    return Host<int32_t>("asic_create_vlan", dev, vlan).run([&](Chip& c) {
        c.device.vlans.try_emplace(vlan);
        return true;
    });
}

int32_t asic_delete_vlan(uint8_t dev, uint32_t vlan) {
    return Host<int32_t>("asic_delete_vlan", dev, vlan).run([&](Chip& c) {
        return c.device.vlans.erase(vlan) == 1;
    });
}

int32_t asic_vlan_exists(uint8_t dev, uint32_t vlan) {
    return Host<int32_t>("asic_vlan_exists", dev, vlan).run([&](Chip& c) {
        return c.device.vlans.count(vlan) == 1;
    });
}

uint8_t peridot_add_vlan_forlldp_dsa(uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort,
                                     uint8_t flag) {
    return dsa_vlan("peridot_add_vlan_forlldp_dsa", dev, vlan, port, cpuPort, flag, &sim::VlanEntry::lldpDsa);
}

uint8_t peridot_add_vlan_forlacp_dsa(uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort,
                                     uint8_t flag) {
    return dsa_vlan("peridot_add_vlan_forlacp_dsa", dev, vlan, port, cpuPort, flag, &sim::VlanEntry::lacpDsa);
}

uint8_t peridot_set_ARPwoBC_reg(uint8_t dev) {
    return Host<uint8_t>("peridot_set_ARPwoBC_reg", dev).run([&](Chip& c) {
        return c.device.arpWoBc = true;
    });
}

uint64_t asic_get_acl_handle(uint8_t dev, uint8_t listId) {
    return Host<uint64_t>("asic_get_acl_handle", dev, listId).run([&](Chip&) {
        return sim::acl_handle(listId);
    });
}

}  // extern "C"
