// Chip-access calls of storm control, EEE and the address table.
#include <algorithm>
#include <cstring>

#include "sim/host_call.h"

using sim::Chip;
using sim::PortState;
using sim::detail::Host;
using sim::detail::Mac;
using sim::detail::valid_port;

namespace {

uint8_t port_storm(const char* name, uint8_t dev, uint8_t port, size_t kind, uint8_t mode, uint8_t rate,
                   uint8_t arg5, uint8_t arg6, uint8_t enable) {
    return Host<uint8_t>(name, dev, port, mode, rate, arg5, arg6, enable).on_port(port, [&](PortState& p) {
        sim::StormSetting& s = p.storm[kind];
        s.mode = mode;
        s.rate = rate;
        s.arg5 = arg5;
        s.arg6 = arg6;
        s.enable = enable != 0;
    });
}

}  // namespace

extern "C" {

uint8_t peridot_set_storm_control_unicast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate, uint8_t arg5,
                                          uint8_t arg6, uint8_t enable) {
    return port_storm("peridot_set_storm_control_unicast", dev, port, 0, mode, rate, arg5, arg6, enable);
}

uint8_t peridot_set_storm_control_multicast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate,
                                            uint8_t arg5, uint8_t arg6, uint8_t enable) {
    return port_storm("peridot_set_storm_control_multicast", dev, port, 1, mode, rate, arg5, arg6, enable);
}

uint8_t peridot_set_storm_control_broadcast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate,
                                            uint8_t arg5, uint8_t arg6, uint8_t enable) {
    return port_storm("peridot_set_storm_control_broadcast", dev, port, 2, mode, rate, arg5, arg6, enable);
}

// A kind above 2 succeeds and resets nothing.
uint8_t peridot_reset_storm_counters(uint8_t dev, uint8_t port, uint8_t kind) {
    return Host<uint8_t>("peridot_reset_storm_counters", dev, port, kind).on_port(port, [&](PortState& p) {
        if (kind < p.storm.size()) p.storm[kind].counter = 0;
    });
}

// first is the kind's counter (0 for a kind above 2), second is always 0.
uint8_t peridot_storm_control_check(uint8_t dev, uint8_t port, uint32_t kind, uint32_t* first,
                                    uint32_t* second, uint32_t* status) {
    return Host<uint8_t>("peridot_storm_control_check", dev, port, kind, first, second, status)
        .out(status)
        .on_port(port, [&](PortState& p) {
            if (!first || !second || !status) return false;
            *first = kind < p.storm.size() ? p.storm[kind].counter : 0;
            *second = 0;
            *status = p.stormStatus;
            return true;
        });
}

// A fault's outValue fills first with its low 16 bits and second with the next 16.
int32_t peridot_get_force_eee(uint8_t dev, uint8_t port, uint16_t* first, uint16_t* second) {
    return Host<int32_t>("peridot_get_force_eee", dev, port, first, second)
        .out([&](uint64_t v) {
            if (first) *first = static_cast<uint16_t>(v);
            if (second) *second = static_cast<uint16_t>(v >> 16);
        })
        .on_port(port, [&](PortState& p) {
            if (!first || !second) return false;
            *first = p.eeeFirst;
            *second = p.eeeSecond;
            return true;
        });
}

int32_t peridot_set_force_eee(uint8_t dev, uint8_t port, uint8_t mode) {
    return Host<int32_t>("peridot_set_force_eee", dev, port, mode).on_port(port, [&](PortState& p) {
        p.forceEee = mode;
    });
}

// Installing over an existing entry replaces it; a, b, c and d are not modelled.
int32_t asic_vlan_install_mac_addr(uint8_t dev, uint16_t vlan, const uint8_t* mac, EswMacDestination* dest,
                                   uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return Host<int32_t>("asic_vlan_install_mac_addr", dev, vlan, Mac{mac}, dest, a, b, c, d)
        .run([&](Chip& chip) {
            if (!mac || !dest || (dest->portCount && !dest->ports) || !chip.device.vlans.count(vlan))
                return false;
            sim::StaticMac entry{{dest->ports, dest->ports + dest->portCount}, std::nullopt};
            if (dest->groupFlag && dest->groupWord) entry.groupWord = *dest->groupWord;
            chip.device.staticMacs[vlan][sim::detail::mac_text(mac)] = std::move(entry);
            return true;
        });
}

int32_t asic_vlan_uninstall_mac_addr(uint8_t dev, uint16_t vlan, const uint8_t* mac, uint32_t arg4) {
    return Host<int32_t>("asic_vlan_uninstall_mac_addr", dev, vlan, Mac{mac}, arg4).run([&](Chip& chip) {
        auto it = chip.device.staticMacs.find(vlan);
        if (!mac || it == chip.device.staticMacs.end() || !it->second.erase(sim::detail::mac_text(mac)))
            return false;
        if (it->second.empty()) chip.device.staticMacs.erase(it);
        return true;
    });
}

// Succeeds whether or not the VLAN exists.
int32_t asic_delete_all_mac_addresses_vlan(uint8_t dev, uint32_t vlan) {
    return Host<int32_t>("asic_delete_all_mac_addresses_vlan", dev, vlan).run([&](Chip& chip) {
        chip.device.staticMacs.erase(vlan);
        for (PortState& p : chip.ports)
            std::erase_if(p.dynamicMacs, [&](const PortState::DynamicMac& m) { return m.vlan == vlan; });
        return true;
    });
}

uint8_t peridot_set_SA_filtering(uint8_t dev, uint8_t port, uint8_t on) {
    return Host<uint8_t>("peridot_set_SA_filtering", dev, port, on).on_port(port, [&](PortState& p) {
        p.saFiltering = on != 0;
    });
}

uint8_t peridot_set_mac_learning(uint8_t dev, uint8_t port, uint8_t on) {
    return Host<uint8_t>("peridot_set_mac_learning", dev, port, on).on_port(port, [&](PortState& p) {
        p.learning = on != 0;
    });
}

uint8_t peridot_set_port_maximum_num_mac(uint8_t dev, uint8_t port, uint16_t limit) {
    return Host<uint8_t>("peridot_set_port_maximum_num_mac", dev, port, limit)
        .on_port(port, [&](PortState& p) { p.macLimit = limit; });
}

uint8_t peridot_set_global_age(uint8_t dev, uint16_t ageTime) {
    return Host<uint8_t>("peridot_set_global_age", dev, ageTime).run([&](Chip& chip) {
        chip.device.ageTime = ageTime;
        return true;
    });
}

// Fills a DynamicMacBuffer with the first 64 learned addresses of the port.
uint8_t peridot_get_dynamic_mac_addresses_port(uint8_t dev, uint8_t port, void* buffer) {
    return Host<uint8_t>("peridot_get_dynamic_mac_addresses_port", dev, port, buffer)
        .on_port(port, [&](PortState& p) {
            if (!buffer) return false;
            sim::DynamicMacBuffer out{};
            out.count = static_cast<uint32_t>(std::min<size_t>(p.dynamicMacs.size(), std::size(out.entries)));
            for (uint32_t i = 0; i < out.count; ++i) {
                std::memcpy(out.entries[i].mac, p.dynamicMacs[i].mac.data(), 6);
                out.entries[i].vlan = p.dynamicMacs[i].vlan;
            }
            std::memcpy(buffer, &out, sizeof out);
            return true;
        });
}

}  // extern "C"
