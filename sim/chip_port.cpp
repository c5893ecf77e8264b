// Chip-access calls of port management, link, counters, port channels and mirroring.
#include "sim/host_call.h"

using sim::Chip;
using sim::PortState;
using sim::detail::Host;

namespace {

// A getter of one u32 the model reports; a fault's outValue goes to the same out-parameter.
uint8_t get_u32(const char* name, uint8_t dev, uint8_t port, uint32_t* out, uint32_t PortState::*field) {
    return Host<uint8_t>(name, dev, port, out).out(out).on_port(port, [&](PortState& p) {
        if (!out) return false;
        *out = p.*field;
        return true;
    });
}

}  // namespace

extern "C" {

int32_t asic_allow_unicast(uint8_t dev, uint8_t port, uint8_t enable) {
    return Host<int32_t>("asic_allow_unicast", dev, port, enable).on_port(port, [&](PortState& p) {
        p.allowUnicast = enable != 0;
    });
}

int32_t asic_allow_multicast(uint8_t dev, uint8_t port, uint8_t enable) {
    return Host<int32_t>("asic_allow_multicast", dev, port, enable).on_port(port, [&](PortState& p) {
        p.allowMulticast = enable != 0;
    });
}

int32_t asic_allow_broadcast(uint8_t dev, uint8_t port, uint8_t enable) {
    return Host<int32_t>("asic_allow_broadcast", dev, port, enable).on_port(port, [&](PortState& p) {
        p.allowBroadcast = enable != 0;
    });
}

int32_t asic_enable_receive(uint8_t dev, uint8_t port, uint8_t enable) {
    return Host<int32_t>("asic_enable_receive", dev, port, enable).on_port(port, [&](PortState& p) {
        p.rxEnable = enable != 0;
    });
}

int32_t asic_enable_transmit(uint8_t dev, uint8_t port, uint8_t enable) {
    return Host<int32_t>("asic_enable_transmit", dev, port, enable).on_port(port, [&](PortState& p) {
        p.txEnable = enable != 0;
    });
}

uint8_t peridot_port_power_down(uint8_t dev, uint8_t port, uint8_t powerDown) {
    return Host<uint8_t>("peridot_port_power_down", dev, port, powerDown).on_port(port, [&](PortState& p) {
        p.powerDown = powerDown != 0;
    });
}

uint8_t peridot_set_port_portstate(uint8_t dev, uint8_t port, uint8_t state) {
    return Host<uint8_t>("peridot_set_port_portstate", dev, port, state).on_port(port, [&](PortState& p) {
        p.portState = state;
    });
}

uint8_t peridot_set_port_mtu(uint8_t dev, uint8_t port, uint32_t mtu) {
    return Host<uint8_t>("peridot_set_port_mtu", dev, port, mtu).on_port(port, [&](PortState& p) {
        p.mtu = mtu;
    });
}

uint8_t peridot_get_port_mtu(uint8_t dev, uint8_t port, uint32_t* mtu) {
    return get_u32("peridot_get_port_mtu", dev, port, mtu, &PortState::mtu);
}

uint8_t peridot_set_port_auto_mode(uint8_t dev, uint8_t port, uint8_t mode) {
    return Host<uint8_t>("peridot_set_port_auto_mode", dev, port, mode).on_port(port, [&](PortState& p) {
        p.autoMode = mode;
    });
}

uint8_t peridot_set_port_phy_speed(uint8_t dev, uint8_t port, uint8_t speed) {
    return Host<uint8_t>("peridot_set_port_phy_speed", dev, port, speed).on_port(port, [&](PortState& p) {
        p.phySpeed = speed;
    });
}

uint8_t peridot_set_port_speed(uint8_t dev, uint8_t port, uint32_t speed) {
    return Host<uint8_t>("peridot_set_port_speed", dev, port, speed).on_port(port, [&](PortState& p) {
        p.speed = speed;
    });
}

uint8_t peridot_set_duplex_mode(uint8_t dev, uint8_t port, uint8_t duplex) {
    return Host<uint8_t>("peridot_set_duplex_mode", dev, port, duplex).on_port(port, [&](PortState& p) {
        p.duplex = duplex;
    });
}

uint8_t peridot_set_cmode_2p5G(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_set_cmode_2p5G", dev, port).on_port(port, [&](PortState& p) {
        p.cmode2p5G = true;
        ++p.cmode2p5GCalls;
    });
}

uint8_t peridot_get_link_state(uint8_t dev, uint8_t port, uint32_t* state) {
    return Host<uint8_t>("peridot_get_link_state", dev, port, state)
        .out(state)
        .on_port(port, [&](PortState& p) {
            if (!state) return false;
            *state = p.linkUp ? 1 : 0;
            return true;
        });
}

// Speed and duplex answer from the cable whether or not the link is up.
uint8_t peridot_get_speed(uint8_t dev, uint8_t port, uint32_t* speed) {
    return get_u32("peridot_get_speed", dev, port, speed, &PortState::linkSpeed);
}

uint8_t peridot_get_duplex_mode(uint8_t dev, uint8_t port, uint32_t* duplex) {
    return get_u32("peridot_get_duplex_mode", dev, port, duplex, &PortState::linkDuplex);
}

uint8_t peridot_get_port_counters(uint8_t dev, uint8_t port, EswChipCounters* record) {
    return Host<uint8_t>("peridot_get_port_counters", dev, port, record).on_port(port, [&](PortState& p) {
        if (!record) return false;
        *record = p.counters;
        return true;
    });
}

uint8_t peridot_flush_port_counters(uint8_t dev, uint8_t port) {
    return Host<uint8_t>("peridot_flush_port_counters", dev, port).on_port(port, [&](PortState& p) {
        p.counters = EswChipCounters{};
    });
}

int32_t peridot_port_led1_set(uint8_t dev, uint8_t port, uint8_t mode) {
    return Host<int32_t>("peridot_port_led1_set", dev, port, mode).on_port(port, [&](PortState& p) {
        p.led1Mode = mode;
    });
}

int32_t asic_remove_ether_channel(uint8_t dev, uint16_t channel) {
    return Host<int32_t>("asic_remove_ether_channel", dev, channel).run([&](Chip& c) {
        for (PortState& p : c.ports)
            if (p.channel == channel) p.channel.reset();
        return true;
    });
}

int32_t asic_set_port_ether_channel(uint8_t dev, uint8_t port, uint16_t channel) {
    return Host<int32_t>("asic_set_port_ether_channel", dev, port, channel).on_port(port, [&](PortState& p) {
        p.channel = channel;
    });
}

// Clears the port's channel whichever channel it was in.
int32_t asic_remove_port_ether_channel(uint8_t dev, uint8_t port, uint16_t channel) {
    return Host<int32_t>("asic_remove_port_ether_channel", dev, port, channel)
        .on_port(port, [&](PortState& p) { p.channel.reset(); });
}

// Mirroring keeps one flag per port; the session is not modelled.
int32_t asic_delete_span_dest_port(uint8_t dev, uint8_t session, uint8_t port) {
    return Host<int32_t>("asic_delete_span_dest_port", dev, session, port).on_port(port, [&](PortState& p) {
        p.mirrorDest = false;
    });
}

int32_t asic_add_span_dest_ports(uint8_t dev, uint8_t session, uint8_t port, uint8_t arg4) {
    return Host<int32_t>("asic_add_span_dest_ports", dev, session, port, arg4)
        .on_port(port, [&](PortState& p) { p.mirrorDest = true; });
}

int32_t asic_delete_span_source_port(uint8_t dev, uint8_t session, uint8_t arg3, uint8_t arg4, uint8_t port,
                                     uint8_t mode) {
    return Host<int32_t>("asic_delete_span_source_port", dev, session, arg3, arg4, port, mode)
        .on_port(port, [&](PortState& p) { p.mirrorSourceMode.reset(); });
}

int32_t asic_add_span_source_port(uint8_t dev, uint8_t session, uint8_t arg3, uint8_t arg4, uint8_t port,
                                  uint8_t mode) {
    return Host<int32_t>("asic_add_span_source_port", dev, session, arg3, arg4, port, mode)
        .on_port(port, [&](PortState& p) { p.mirrorSourceMode = mode; });
}

}  // extern "C"
