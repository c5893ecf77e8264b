// The command table of the shell and the handlers that map each command onto mrvl_esw_ioctl with
// its request record, or onto the simulated host's controls.
#include <chrono>
#include <cstddef>
#include <cstring>
#include <thread>

#include "driver/esw_commands.h"
#include "driver/esw_records.h"
#include "sim/sim.h"
#include "tools/eswctl/shell.h"
#include "tools/eswctl/views.h"
#include "tools/eswctl/vocabulary.h"

namespace eswctl {
namespace {

using nlohmann::json;
constexpr Outcome kOk{};

// The far side of every cable: a partner system with locally administered addresses, one per
// port; and the switch's own system as it speaks LACP from the CPU.
constexpr lacp::Mac kFarSystem = {0x02, 0x1b, 0x00, 0x00, 0x00, 0x00};
constexpr lacp::Mac kSwitchSystem = {0x02, 0xe5, 0x00, 0x00, 0x00, 0x00};
constexpr uint16_t kDefaultPriority = 32768;
constexpr std::chrono::milliseconds kRxWait{2000};
constexpr std::chrono::milliseconds kFarSideWait{500};
constexpr uint32_t kCapturePorts = 8;  // lacp-swp1..8

lacp::Mac port_mac(const lacp::Mac& system, uint32_t port) {
    lacp::Mac mac = system;
    mac[5] = static_cast<uint8_t>(port);
    return mac;
}

std::string port_name(uint32_t port) { return "port " + std::to_string(port); }

// Runs `step` for each port of PORTS, stopping at the first that does not succeed.
template <typename Step>
Outcome each_port(const Args& args, Step&& step) {
    for (uint32_t port : args.list("PORTS")) {
        Outcome o = step(port);
        if (o.kind != Outcome::ok) return o;
    }
    return kOk;
}

// A command whose argument is a value carried in the pointer itself.
Outcome value_command(Shell& sh, uint32_t port, uint32_t cmd, uintptr_t value) {
    Outcome o;
    sh.request(port, cmd, reinterpret_cast<void*>(value), &o);
    return o;
}

// A command whose argument is a request record.
template <typename Record>
Outcome record_command(Shell& sh, uint32_t port, uint32_t cmd, Record* record) {
    Outcome o;
    sh.request(port, cmd, record, &o);
    return o;
}

Outcome vlan_command(Shell& sh, uint32_t port, uint32_t cmd, uint32_t vlan) {
    EswVlanRequest req{vlan};
    return record_command(sh, port, cmd, &req);
}

// ---- port: admin, MRU, link ----------------------------------------------------------------------
Outcome port_up(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, NIC_STATUS, 1); });
}

Outcome port_down(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, NIC_STATUS, 0); });
}

Outcome port_mru(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) -> Outcome {
        if (a.has("BYTES"))
            return value_command(sh, p, NIC_SET_MAX_FRM_LEN,
                                 static_cast<uint32_t>(static_cast<int32_t>(a.signed_number("BYTES"))));
        uint32_t mru = 0;
        Outcome o = record_command(sh, p, NIC_GET_MAX_FRM_LEN, &mru);
        if (o.kind != Outcome::ok) return o;
        sh.say(port_name(p) + " mru " +
               (mru == 0xFFFFFFFFu ? std::string("above 10240 (0xffffffff)") : std::to_string(mru)));
        return kOk;
    });
}

Outcome port_speed(Shell& sh, const Args& a, const Flags&) {
    const auto code = static_cast<uint32_t>(a.number("SPEED"));
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, NIC_LNK_TYPE, code); });
}

Outcome port_capability(Shell& sh, const Args& a, const Flags&) {
    uint32_t value = static_cast<uint32_t>(a.number("N"));
    return each_port(a, [&](uint32_t p) { return record_command(sh, p, NIC_SET_MAX_CAP, &value); });
}

Outcome port_link(Shell& sh, const Args& a, const Flags& f) {
    json all = json::array();
    Outcome o = each_port(a, [&](uint32_t p) -> Outcome {
        EswLinkInfo info{};
        Outcome r = record_command(sh, p, NIC_LINK, &info);
        if (r.kind != Outcome::ok) return r;
        if (f.json) {
            all.push_back({{"port", p},
                           {"link", info.linkUp ? "up" : "down"},
                           {"speedType", info.speedType},
                           {"speed", link_type_text(info.speedType)},
                           {"mediaType", info.mediaType}});
        } else {
            sh.say(port_name(p) + " link " +
                   (info.linkUp ? "up, " + link_type_text(info.speedType) : "down") + ", media type " +
                   std::to_string(info.mediaType));
        }
        return kOk;
    });
    if (o.kind == Outcome::ok && f.json) sh.say_json(all);
    return o;
}

// ---- port: counters --------------------------------------------------------------------------------
struct StatField {
    const char* name;
    const char* from;  // chip counter words the field is made of
    size_t offset;
    bool wide;
};
#define ESWCTL_STAT(field, from, wide) \
    StatField { #field, from, offsetof(EswNicStats, field), wide }
constexpr std::array<StatField, 21> kStatFields = {{
    ESWCTL_STAT(sumW0W1W2, "w0+w1+w2", true),
    ESWCTL_STAT(joinW23W27PlusW28, "(w23:w27)+w28", true),
    ESWCTL_STAT(w65, "w65", true),
    ESWCTL_STAT(w32, "w32", true),
    ESWCTL_STAT(w2, "w2", true),
    ESWCTL_STAT(w31, "w31", true),
    ESWCTL_STAT(w1, "w1", true),
    ESWCTL_STAT(w61, "w61", true),
    ESWCTL_STAT(w12, "w12", true),
    ESWCTL_STAT(w53, "w53", true),
    ESWCTL_STAT(w62, "w62", true),
    ESWCTL_STAT(w29, "w29", true),
    ESWCTL_STAT(w41, "w41", true),
    ESWCTL_STAT(sumW30W31W32, "w30+w31+w32", true),
    ESWCTL_STAT(joinW67W26, "(w67:w26)", true),
    ESWCTL_STAT(w56, "w56", true),
    ESWCTL_STAT(w13, "w13", false),
    ESWCTL_STAT(w14, "w14", false),
    ESWCTL_STAT(w11, "w11", false),
    ESWCTL_STAT(w45, "w45", false),
    ESWCTL_STAT(w47, "w47", false),
}};
#undef ESWCTL_STAT

uint64_t stat_value(const EswNicStats& s, const StatField& f) {
    const auto* base = reinterpret_cast<const uint8_t*>(&s) + f.offset;
    if (f.wide) {
        uint64_t v;
        std::memcpy(&v, base, sizeof v);
        return v;
    }
    uint32_t v;
    std::memcpy(&v, base, sizeof v);
    return v;
}

Outcome port_stats(Shell& sh, const Args& a, const Flags& f) {
    json all = json::array();
    Outcome o = each_port(a, [&](uint32_t p) -> Outcome {
        EswNicStats stats{};
        Outcome r = record_command(sh, p, NIC_STATS, &stats);
        if (r.kind != Outcome::ok) return r;
        if (f.json) {
            json fields = json::object();
            for (const StatField& field : kStatFields) fields[field.name] = stat_value(stats, field);
            all.push_back({{"port", p}, {"counters", fields}});
            return kOk;
        }
        std::string text = port_name(p) + " counters:";
        for (const StatField& field : kStatFields) {
            char line[96];
            std::snprintf(line, sizeof line, "\n  %-18s %-14s %llu", field.name, field.from,
                          static_cast<unsigned long long>(stat_value(stats, field)));
            text += line;
        }
        sh.say(text);
        return kOk;
    });
    if (o.kind == Outcome::ok && f.json) sh.say_json(all);
    return o;
}

Outcome port_stats_clear(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, NIC_CLR_STATS, 0); });
}

// ---- port: VLAN roles ----------------------------------------------------------------------------
Outcome mode_access(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, IOCTL_SW_PORT_MODE_ACCESS, 0); });
}

Outcome mode_trunk(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) { return value_command(sh, p, IOCTL_SW_PORT_MODE_TRUNK, 0); });
}

Outcome mode_protected(Shell& sh, const Args& a, const Flags&) {
    EswProtectedPortRequest req{static_cast<uint32_t>(a.number("N"))};
    return each_port(a,
                     [&](uint32_t p) { return record_command(sh, p, IOCTL_SW_PORT_MODE_PROTECTED, &req); });
}

template <uint32_t Cmd>
Outcome port_vlan(Shell& sh, const Args& a, const Flags&) {
    const auto vlan = static_cast<uint32_t>(a.number("VID"));
    return each_port(a, [&](uint32_t p) { return vlan_command(sh, p, Cmd, vlan); });
}

template <uint32_t Cmd>
Outcome port_vlans(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) -> Outcome {
        for (uint32_t vlan : a.list("VIDS")) {
            Outcome o = vlan_command(sh, p, Cmd, vlan);
            if (o.kind != Outcome::ok) return o;
        }
        return kOk;
    });
}

// L2 mode names the port's own data-plane VLAN; the host numbers it 100 + port by default.
template <uint32_t Cmd>
Outcome port_l2(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) {
        return vlan_command(sh, p, Cmd, static_cast<uint32_t>(a.number_or("VID", 100 + p)));
    });
}

template <uint32_t Cmd>
Outcome port_egress_tag(Shell& sh, const Args& a, const Flags&) {
    EswEgressTagRequest req{a.signed_number("TAGVID")};
    return each_port(a, [&](uint32_t p) { return record_command(sh, p, Cmd, &req); });
}

constexpr std::array<uint32_t, 2> kFilterModes = {ESW_FILTER_INDIVIDUAL, ESW_FILTER_PROMISCUOUS};

template <uint32_t Cmd>
Outcome port_filter(Shell& sh, const Args& a, const Flags&) {
    EswFilterModeRequest req{kFilterModes[a.number("FILTER")]};
    return each_port(a, [&](uint32_t p) { return record_command(sh, p, Cmd, &req); });
}

Outcome vlan_create(Shell& sh, const Args& a, const Flags&) {
    for (uint32_t vlan : a.list("VIDS")) {
        Outcome o = vlan_command(sh, Shell::kCpuChannel, IOCTL_SW_ADD_NEW_VLAN, vlan);
        if (o.kind != Outcome::ok) return o;
    }
    return kOk;
}

Outcome vlan_delete(Shell& sh, const Args& a, const Flags&) {
    for (uint32_t vlan : a.list("VIDS")) {
        Outcome o = vlan_command(sh, Shell::kCpuChannel, IOCTL_SW_REMOVE_VLAN, vlan);
        if (o.kind != Outcome::ok) return o;
    }
    return kOk;
}

Outcome vlan_forwarding_mode(Shell& sh, const Args& a, const Flags&) {
    EswVlanModeRequest req{};
    req.modeValue = static_cast<uint32_t>(a.number("N"));
    req.modeFlag = static_cast<uint8_t>(a.number("FLAG"));
    return record_command(sh, Shell::kCpuChannel, IOCTL_SET_VLAN_MODE, &req);
}

// ---- port: mirroring, storm control, EEE ----------------------------------------------------------
template <uint32_t Op>
Outcome port_monitor(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) {
        EswPortMonitorRequest req{Op};
        return record_command(sh, p, IOCTL_SW_PORT_MONITOR, &req);
    });
}

// Source modes 2, 1, 0 are monitor operations 3, 4, 5.
Outcome port_monitor_source(Shell& sh, const Args& a, const Flags&) {
    const uint32_t op = 3 + (2 - static_cast<uint32_t>(a.number_or("MODE", 2)));
    return each_port(a, [&](uint32_t p) {
        EswPortMonitorRequest req{op};
        return record_command(sh, p, IOCTL_SW_PORT_MONITOR, &req);
    });
}

constexpr std::array<const char*, 3> kKinds = {"unicast", "multicast", "broadcast"};

Outcome port_storm(Shell& sh, const Args& a, const Flags&) {
    EswStormRequest req{static_cast<uint8_t>(a.number("KIND")), static_cast<uint8_t>(a.number("RATE"))};
    return each_port(a, [&](uint32_t p) { return record_command(sh, p, IOCTL_SW_CONFIG_STORM_CTRL, &req); });
}

Outcome port_storm_status(Shell& sh, const Args& a, const Flags& f) {
    json all = json::array();
    Outcome o = each_port(a, [&](uint32_t p) -> Outcome {
        for (uint8_t kind = 0; kind < kKinds.size(); ++kind) {
            if (a.has("KIND") && a.number("KIND") != kind) continue;
            EswStormStatusRequest req{};
            req.kind = kind;
            Outcome r = record_command(sh, p, IOCTL_GET_STORM_CTRL_STATUS, &req);
            if (r.kind != Outcome::ok) return r;
            if (f.json)
                all.push_back({{"port", p}, {"kind", kKinds[kind]}, {"status", req.status}});
            else
                sh.say(port_name(p) + " storm " + kKinds[kind] + " status " + std::to_string(req.status));
        }
        return kOk;
    });
    if (o.kind == Outcome::ok && f.json) sh.say_json(all);
    return o;
}

Outcome port_eee(Shell& sh, const Args& a, const Flags& f) {
    json all = json::array();
    Outcome o = each_port(a, [&](uint32_t p) -> Outcome {
        EswEeeRequest req{};
        if (a.has("EEE")) {
            req.eeeValue = static_cast<uint16_t>(a.number("EEE"));
            return record_command(sh, p, IOCTL_SET_EEE_MODE, &req);
        }
        Outcome r = record_command(sh, p, IOCTL_GET_EEE_STATUS, &req);
        if (r.kind != Outcome::ok) return r;
        if (f.json)
            all.push_back({{"port", p}, {"eee", req.eeeValue}});
        else
            sh.say(port_name(p) + " eee " + std::to_string(req.eeeValue));
        return kOk;
    });
    if (o.kind == Outcome::ok && f.json && !a.has("EEE")) sh.say_json(all);
    return o;
}

// ---- addresses -------------------------------------------------------------------------------------
template <uint32_t Cmd>
Outcome port_onoff(Shell& sh, const Args& a, const Flags&) {
    const uint8_t on = a.number("ONOFF") == 0 ? 1 : 0;  // choices are on|off
    return each_port(a, [&](uint32_t p) {
        uint8_t req = on;
        return record_command(sh, p, Cmd, &req);
    });
}

Outcome port_mac_limit(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) {
        uint16_t req = static_cast<uint16_t>(a.number("LIMIT"));
        return record_command(sh, p, IOCTL_SET_MAX_NUM_MAC, &req);
    });
}

Outcome port_mac_dynamic(Shell& sh, const Args& a, const Flags& f) {
    json all = json::array();
    Outcome o = each_port(a, [&](uint32_t p) -> Outcome {
        sim::DynamicMacBuffer buffer{};
        Outcome r = record_command(sh, p, IOCTL_POPULATE_VLAN_MAC_DB, &buffer);
        if (r.kind != Outcome::ok) return r;
        const uint32_t count = std::min<uint32_t>(buffer.count, std::size(buffer.entries));
        json entries = json::array();
        std::string text = port_name(p) + " dynamic addresses: " + std::to_string(count);
        for (uint32_t i = 0; i < count; ++i) {
            lacp::Mac mac;
            std::copy_n(buffer.entries[i].mac, 6, mac.begin());
            entries.push_back({{"mac", lacp::mac_text(mac)}, {"vlan", buffer.entries[i].vlan}});
            text += "\n  " + lacp::mac_text(mac) + " vlan " + std::to_string(buffer.entries[i].vlan);
        }
        if (f.json)
            all.push_back({{"port", p}, {"addresses", entries}});
        else
            sh.say(text);
        return kOk;
    });
    if (o.kind == Outcome::ok && f.json) sh.say_json(all);
    return o;
}

EswStaticMacRequest static_request(const Args& a) {
    EswStaticMacRequest req{};
    const auto& mac = a.at("MAC").mac;
    std::copy(mac.begin(), mac.end(), req.mac);
    req.vlanId = static_cast<uint32_t>(a.number("VID"));
    req.groupWord = static_cast<uint32_t>(a.number_or("group", 0));
    return req;
}

// Static entries toward the data plane go through the CPU channel; the handle's port plays no
// part in them.
template <uint32_t Cmd, bool ToPort>
Outcome mac_static(Shell& sh, const Args& a, const Flags&) {
    EswStaticMacRequest req = static_request(a);
    const uint32_t port = ToPort ? static_cast<uint32_t>(a.number("PORT")) : Shell::kCpuChannel;
    return record_command(sh, port, Cmd, &req);
}

Outcome mac_flush(Shell& sh, const Args& a, const Flags&) {
    uint32_t vlan = static_cast<uint32_t>(a.number("VID"));
    return record_command(sh, Shell::kCpuChannel, IOCTL_SW_FLUSH_VLAN_MACS, &vlan);
}

Outcome mac_age(Shell& sh, const Args& a, const Flags&) {
    uint16_t age = static_cast<uint16_t>(a.number("SECONDS"));
    return record_command(sh, Shell::kCpuChannel, IOCTL_SET_AGE_TIME, &age);
}

// ---- port channels ---------------------------------------------------------------------------------
template <uint32_t Operation>
Outcome channel_member(Shell& sh, const Args& a, const Flags&) {
    return each_port(a, [&](uint32_t p) {
        EswTrunkRequest req{};
        req.channelId = static_cast<uint16_t>(a.number("CHANNEL"));
        req.operation = Operation;
        req.memberPort = p;
        return record_command(sh, p, IOCTL_SW_TRUNK_MEMBER_CFG, &req);
    });
}

Outcome channel_delete(Shell& sh, const Args& a, const Flags&) {
    EswTrunkRequest req{};
    req.channelId = static_cast<uint16_t>(a.number("CHANNEL"));
    return record_command(sh, Shell::kCpuChannel, IOCTL_SW_TRUNK_MEMBERS_SET, &req);
}

// ---- CPU path and LACP -----------------------------------------------------------------------------
Outcome cpu_stats_clear(Shell& sh, const Args&, const Flags&) {
    EswCpuPortStats* slot = nullptr;
    return record_command(sh, Shell::kCpuChannel, IOCTL_SW_CLR_CPU_STATS, &slot);
}

std::string far_side_text(const std::vector<uint8_t>& frame) {
    std::string why;
    if (auto pdu = lacp::parse(frame, &why))
        return std::to_string(frame.size()) + " bytes, " + lacp::describe(*pdu);
    return lacp::summary(frame);
}

lacp::Pdu switch_pdu(Shell& sh, uint32_t port) {
    lacp::Pdu pdu;
    pdu.source = port_mac(kSwitchSystem, port);
    pdu.actor = {kDefaultPriority, kSwitchSystem, 1, kDefaultPriority, static_cast<uint16_t>(port), 0};
    if (auto partner = sh.last_peer_actor(port)) {
        pdu.partner = *partner;
        pdu.actor.state = lacp::kActivity | lacp::kAggregation | lacp::kSynchronization | lacp::kCollecting |
                          lacp::kDistributing;
    } else {
        pdu.actor.state = lacp::kActivity | lacp::kAggregation | lacp::kDefaulted;
    }
    return pdu;
}

Outcome cpu_tx(Shell& sh, uint32_t port, const std::vector<uint8_t>& frame) {
    if (frame.size() > 0xFFFF)
        return Outcome::bad("frame of " + std::to_string(frame.size()) + " bytes is too long");
    std::vector<uint8_t> buffer(sizeof(EswCpuTxRequest) + frame.size());
    auto* req = reinterpret_cast<EswCpuTxRequest*>(buffer.data());
    req->ifIndex = sim::if_index(1, port);
    req->length = static_cast<uint16_t>(frame.size());
    std::memcpy(buffer.data() + sizeof(EswCpuTxRequest), frame.data(), frame.size());
    Capture* cap = port <= kCapturePorts ? sh.capture() : nullptr;
    if (cap) cap->drain_peer(static_cast<int>(port));
    Outcome o;
    if (!sh.request(Shell::kCpuChannel, IOCTL_SW_CPU_TX, buffer.data(), &o)) return o;
    sh.say("cpu tx " + port_name(port) + ": " + std::to_string(frame.size()) + " bytes to ifindex " +
           std::to_string(req->ifIndex));
    if (!cap) {
        sh.say("far side of " + port_name(port) + ": not observable (" +
               (port > kCapturePorts ? std::string("no capture interface") : sh.capture_why()) + ")");
        return kOk;
    }
    auto received = cap->receive_on_peer(static_cast<int>(port), kFarSideWait);
    if (!received) {
        sh.say("far side of " + port_name(port) + " received nothing within " +
               std::to_string(kFarSideWait.count()) + " ms");
        return kOk;
    }
    if (auto pdu = lacp::parse(*received)) sh.far_side_heard(port, pdu->actor);
    sh.say("far side of " + port_name(port) + " received " + far_side_text(*received));
    return kOk;
}

Outcome cpu_tx_lacp(Shell& sh, const Args& a, const Flags&) {
    const auto port = static_cast<uint32_t>(a.number("PORT"));
    return cpu_tx(sh, port, lacp::build(switch_pdu(sh, port)));
}

Outcome cpu_tx_hex(Shell& sh, const Args& a, const Flags&) {
    return cpu_tx(sh, static_cast<uint32_t>(a.number("PORT")), a.at("HEX").bytes);
}

Outcome lacp_send(Shell& sh, const Args& a, const Flags&) {
    Capture* cap = sh.capture();
    if (!cap) return Outcome::fail("no capture interfaces: " + sh.capture_why());
    for (uint32_t p : a.list("PORTS"))
        if (p > kCapturePorts) return Outcome::bad(port_name(p) + " has no cable (LACP runs on ports 1-8)");
    return each_port(a, [&](uint32_t p) -> Outcome {
        lacp::Pdu pdu;
        pdu.source = port_mac(kFarSystem, p);
        pdu.actor.systemPriority = kDefaultPriority;
        pdu.actor.system = a.has("system") ? a.at("system").mac : kFarSystem;
        pdu.actor.key = static_cast<uint16_t>(a.number_or("key", 1));
        pdu.actor.portPriority = kDefaultPriority;
        pdu.actor.port = static_cast<uint16_t>(p);
        pdu.actor.state = static_cast<uint8_t>(a.number_or("state", lacp::kActivity | lacp::kAggregation));
        if (auto heard = sh.far_side_partner(p)) pdu.partner = *heard;
        const std::vector<uint8_t> frame = lacp::build(pdu);
        const uint64_t before = sh.received(p);
        sh.say("far side of " + port_name(p) + " sends " + std::to_string(frame.size()) + " bytes, " +
               lacp::describe(pdu));
        if (!cap->send_from_peer(static_cast<int>(p), frame))
            return Outcome::fail("could not send on lacp-peer" + std::to_string(p));
        if (!sh.callback_registered()) return Outcome::fail("sent, but no receive callback is registered");
        if (!sh.wait_received(p, before + 1, kRxWait))
            return Outcome::fail("the frame on " + port_name(p) +
                                 " did not reach the receive callback within " +
                                 std::to_string(kRxWait.count()) + " ms");
        return kOk;
    });
}

Outcome leds_refresh(Shell& sh, const Args& a, const Flags&) {
    const Driver& d = sh.driver();
    std::string call;
    int32_t result;
    if (a.has("PORT")) {
        if (!d.setPortSpeedLed) return Outcome::fail("the driver exports no mrvl_set_port_speed_led");
        const auto port = static_cast<int32_t>(a.number("PORT"));
        call = "mrvl_set_port_speed_led(" + std::to_string(port) + ")";
        result = d.setPortSpeedLed(port);
    } else {
        if (!d.setLinkSpeedLeds) return Outcome::fail("the driver exports no mrvl_set_link_speed_led");
        call = "mrvl_set_link_speed_led()";
        result = d.setLinkSpeedLeds();
    }
    if (result != 0) return Outcome::fail(call + " returned " + std::to_string(result));
    char text[64];
    const auto& fpga = sim::fpga();
    std::snprintf(text, sizeof text, "leds: register 0x334 = 0x%08x",
                  fpga.count(0x334) ? fpga.at(0x334) : 0u);
    sh.say(text);
    return kOk;
}

// ---- raw form --------------------------------------------------------------------------------------
// Request buffers are generous and zeroed: a raw command may name a record larger than the bytes
// typed, and its handler must still read and write inside memory of ours.
constexpr size_t kRawBuffer = 2048;

const CommandName* raw_command(const std::string& word, uint32_t* number) {
    if (const CommandName* c = command_by_name(word)) {
        *number = c->number;
        return c;
    }
    auto n = parse_unsigned(word, UINT32_MAX);
    if (!n) return nullptr;
    *number = static_cast<uint32_t>(*n);
    static const CommandName unnamed{0, "", ArgForm::buffer};
    const CommandName* c = command_by_number(*number);
    return c ? c : &unnamed;
}

Outcome raw_ioctl(Shell& sh, const Args& a, bool bytes) {
    uint32_t number = 0;
    const CommandName* c = raw_command(a.text("NAME"), &number);
    if (!c)
        return Outcome::bad("unknown command '" + a.text("NAME") +
                            "': expected a number or a name like NIC_LINK");
    if (c->form == ArgForm::callback)
        return Outcome::bad(
            "IOCTL_SW_REG_CPU_RX_CALLBACK takes a function; the shell registers its own at start");
    const uint32_t port = a.has("port") ? static_cast<uint32_t>(a.number("port")) : Shell::kCpuChannel;
    EswFrameworkHandle* handle = sh.port_handle(port);
    if (!handle) return Outcome::fail("no open handle for that port");
    int32_t result;
    std::vector<uint8_t> buffer;
    if (c->form == ArgForm::value) {
        if (bytes) return Outcome::bad(std::string(c->name) + " takes a value, not bytes");
        result = sh.raw_request(handle, number,
                                reinterpret_cast<void*>(static_cast<uintptr_t>(a.number_or("N", 0))));
    } else {
        buffer.assign(kRawBuffer, 0);
        size_t given = 0;
        if (bytes) {
            const auto& in = a.at("HEX").bytes;
            if (in.size() > kRawBuffer)
                return Outcome::bad("more than " + std::to_string(kRawBuffer) + " bytes");
            std::copy(in.begin(), in.end(), buffer.begin());
            given = in.size();
        } else if (a.has("N")) {
            const auto v = static_cast<uint32_t>(a.number("N"));
            std::memcpy(buffer.data(), &v, sizeof v);
            given = sizeof v;
        }
        const std::vector<uint8_t> before = buffer;
        result = sh.raw_request(handle, number, buffer.data());
        // Show the request as the driver left it: what was given and whatever it wrote beyond.
        size_t shown = given;
        for (size_t i = 0; i < buffer.size(); ++i)
            if (buffer[i] != before[i]) shown = std::max(shown, i + 1);
        shown = std::min(buffer.size(), (shown + 3) / 4 * 4);  // whole 32-bit words
        if (shown > 0) {
            std::string hex;
            for (size_t i = 0; i < shown; ++i) {
                char b[4];
                std::snprintf(b, sizeof b, "%02x", buffer[i]);
                hex += (i ? (i % 16 == 0 ? "\n  " : " ") : "") + std::string(b);
            }
            sh.say("buffer: " + hex);
        }
    }
    sh.say("ioctl " + command_label(number) + " (" + std::to_string(number) + "): result " +
           std::to_string(result));
    if (result != 0) return Outcome::fail("driver answered " + std::to_string(result));
    return kOk;
}

Outcome ioctl_value(Shell& sh, const Args& a, const Flags&) { return raw_ioctl(sh, a, false); }
Outcome ioctl_bytes(Shell& sh, const Args& a, const Flags&) { return raw_ioctl(sh, a, true); }

// ---- simulated host --------------------------------------------------------------------------------
Outcome sim_plug(Shell&, const Args& a, const Flags&) {
    const std::vector<uint32_t> rate = a.has("CABLE") ? a.at("CABLE").list : std::vector<uint32_t>{2, 1};
    for (uint32_t p : a.list("PORTS")) sim::plug(static_cast<uint8_t>(p), rate[0], rate[1]);
    return kOk;
}

Outcome sim_unplug(Shell&, const Args& a, const Flags&) {
    for (uint32_t p : a.list("PORTS")) sim::unplug(static_cast<uint8_t>(p));
    return kOk;
}

Outcome sim_counter(Shell&, const Args& a, const Flags&) {
    sim::port(static_cast<uint8_t>(a.number("PORT"))).counters.word[a.number("WORD")] =
        static_cast<uint32_t>(a.number("N"));
    return kOk;
}

Outcome sim_mac(Shell&, const Args& a, const Flags&) {
    auto& macs = sim::port(static_cast<uint8_t>(a.number("PORT"))).dynamicMacs;
    macs.push_back({a.at("MAC").mac, static_cast<uint16_t>(a.number("VID"))});
    return kOk;
}

Outcome sim_fault(Shell&, const Args& a, const Flags&) {
    sim::Fault fault;
    fault.call = a.text("NAME");
    fault.result = a.has("result") ? a.signed_number("result") : 0;
    fault.nth = static_cast<unsigned>(a.number_or("nth", 0));
    if (a.has("port")) fault.port = static_cast<uint32_t>(a.number("port"));
    if (a.has("out")) fault.outValue = a.number("out");
    sim::inject(fault);
    return kOk;
}

Outcome sim_faults_clear(Shell&, const Args&, const Flags&) {
    sim::clear_faults();
    return kOk;
}

Outcome reset_host(Shell& sh, const Args&, const Flags&) {
    sh.reset_host(false);
    return kOk;
}

Outcome reset_chip(Shell& sh, const Args&, const Flags&) {
    sh.reset_host(true);
    sh.say("reset: chip model at power-on; the bring-up is not run again");
    return kOk;
}

// ---- the shell itself ------------------------------------------------------------------------------
Outcome trace(Shell& sh, const Args& a, const Flags&) {
    sh.set_trace(a.number("ONOFF") == 0);
    return kOk;
}

Outcome echo(Shell& sh, const Args& a, const Flags&) {
    sh.say(a.has("TEXT") ? a.text("TEXT") : "");
    return kOk;
}

Outcome sleep_ms(Shell&, const Args& a, const Flags&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(a.number("MS")));
    return kOk;
}

Outcome source(Shell& sh, const Args& a, const Flags&) {
    const int status = sh.source_file(a.text("NAME"));
    if (status == 0) return kOk;
    return {status == 2 ? Outcome::bad_input : Outcome::failed,
            "sourced file " + a.text("NAME") + " stopped"};
}

Outcome quit(Shell& sh, const Args&, const Flags&) {
    sh.request_quit();
    return kOk;
}

Outcome help(Shell& sh, const Args& a, const Flags&);

const std::vector<CommandRow> kTable = {
    // ports
    {"port PORTS up", "admin up: traffic allowed, receive and transmit on, PHY powered (NIC_STATUS 1)",
     port_up, false},
    {"port PORTS down", "admin down (NIC_STATUS 0)", port_down, false},
    {"port PORTS mru [BYTES]", "show the MRU, or set it (classes 1522, 2048, 10240)", port_mru, false},
    {"port PORTS speed SPEED", "set speed and duplex by link type (NIC_LNK_TYPE)", port_speed, false},
    {"port PORTS capability N", "set the maximum capability (NIC_SET_MAX_CAP; 1 = 1000/full)",
     port_capability, false},
    {"port PORTS link", "link state, speed/duplex and media type (NIC_LINK)", port_link, true},
    {"port PORTS stats", "traffic counters (NIC_STATS)", port_stats, true},
    {"port PORTS stats clear", "clear the counters (NIC_CLR_STATS)", port_stats_clear, false},
    {"port PORTS mode access", "access port of VLAN 1", mode_access, false},
    {"port PORTS mode trunk", "trunk port", mode_trunk, false},
    {"port PORTS mode protected N", "protected mode with the given value", mode_protected, false},
    {"port PORTS access vlan VID", "the VLAN of an access port (untagged member, default VLAN)",
     port_vlan<IOCTL_SW_APORT_ADD_VLAN>, false},
    {"port PORTS access vlan remove VID", "take an access port out of a VLAN",
     port_vlan<IOCTL_SW_APORT_REMOVE_VLAN>, false},
    {"port PORTS trunk allow VIDS", "allow VLANs tagged on a trunk port", port_vlans<IOCTL_SW_TPORT_ADD_VLAN>,
     false},
    {"port PORTS trunk disallow VIDS", "take VLANs off a trunk port", port_vlans<IOCTL_SW_TPORT_REMOVE_VLAN>,
     false},
    {"port PORTS native vlan set VID", "native (untagged, default) VLAN of a trunk port",
     port_vlan<IOCTL_SW_TPORT_ADD_NATIVE_VLAN>, false},
    {"port PORTS native vlan clear VID", "remove the native VLAN of a trunk port",
     port_vlan<IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN>, false},
    {"port PORTS l2 on [VID]", "switchport L2 mode; VID is the port's data-plane VLAN (default 100 + port)",
     port_l2<IOCTL_SET_PORT_L2_MODE>, false},
    {"port PORTS l2 off [VID]", "leave L2 mode: tied to the data plane through VID (default 100 + port)",
     port_l2<IOCTL_REMOVE_PORT_L2_MODE>, false},
    {"port PORTS egress-tag add TAGVID", "double-tag toward the data plane (negative: prepare ports 9/10)",
     port_egress_tag<NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE>, false},
    {"port PORTS egress-tag remove TAGVID", "take the port out of the VLAN again",
     port_egress_tag<NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE>, false},
    {"port PORTS unicast FILTER", "unicast filter: individual or promiscuous (NIC_MODE)",
     port_filter<NIC_MODE>, false},
    {"port PORTS multicast FILTER", "multicast filter: individual or promiscuous (NIC_MC_MODE)",
     port_filter<NIC_MC_MODE>, false},
    {"port PORTS mirror destination", "make the port a mirror destination", port_monitor<1>, false},
    {"port PORTS mirror destination off", "stop being a mirror destination", port_monitor<0>, false},
    {"port PORTS mirror source [MODE]", "mirror the port with source mode 2 (default), 1 or 0",
     port_monitor_source, false},
    {"port PORTS mirror source off", "stop mirroring the port", port_monitor<2>, false},
    {"port PORTS storm KIND RATE", "storm-control rate for a traffic kind; off lifts it", port_storm, false},
    {"port PORTS storm status [KIND]", "storm-control status, per kind", port_storm_status, true},
    {"port PORTS eee [EEE]", "show the EEE value, or set it (1, 2 or 4)", port_eee, true},
    {"port PORTS mac learning ONOFF", "address learning on the port", port_onoff<IOCTL_SET_MAC_LEARNING>,
     false},
    {"port PORTS mac security ONOFF", "source-address filtering on the port",
     port_onoff<IOCTL_SET_PORT_SECURITY>, false},
    {"port PORTS mac limit LIMIT", "most addresses the port may learn (0 = no limit)", port_mac_limit, false},
    {"port PORTS mac dynamic", "the port's learned addresses (IOCTL_POPULATE_VLAN_MAC_DB)", port_mac_dynamic,
     true},
    // VLAN table
    {"vlan create VIDS", "create VLANs (also tagged toward the data plane)", vlan_create, false},
    {"vlan delete VIDS", "delete VLANs", vlan_delete, false},
    {"vlan forwarding-mode N FLAG", "VLAN forwarding mode of the data-plane port", vlan_forwarding_mode,
     false},
    // address table
    {"mac static add MAC vlan VID port PORT", "static entry toward a port",
     mac_static<IOCTL_SW_ADD_PORT_MAC, true>, false},
    {"mac static add MAC vlan VID dataplane", "static entry toward the data plane",
     mac_static<IOCTL_SW_ADD_DATAPLANE_MAC, false>, false},
    {"mac static del MAC vlan VID port PORT", "remove a static entry",
     mac_static<IOCTL_SW_DEL_PORT_MAC, true>, false},
    {"mac static del MAC vlan VID dataplane", "remove a static data-plane entry",
     mac_static<IOCTL_SW_DEL_DATAPLANE_MAC, false>, false},
    {"mac mc add MAC vlan VID port PORT [group N]", "multicast (or unicast) entry (NIC_REG_MC_HW)",
     mac_static<NIC_REG_MC_HW, true>, false},
    {"mac mc del MAC vlan VID port PORT", "remove it (NIC_UNREG_MC_HW)", mac_static<NIC_UNREG_MC_HW, true>,
     false},
    {"mac flush vlan VID", "delete every address of a VLAN", mac_flush, false},
    {"mac age SECONDS", "age time of learned addresses", mac_age, false},
    // port channels
    {"port-channel CHANNEL add PORTS", "add member ports", channel_member<1>, false},
    {"port-channel CHANNEL remove PORTS", "remove member ports", channel_member<2>, false},
    {"port-channel CHANNEL delete", "remove the whole channel", channel_delete, false},
    // CPU path and LACP
    {"cpu stats", "CPU path counters (as show cpu-stats)", views::cpu_stats, true},
    {"cpu stats clear", "clear the CPU path counters", cpu_stats_clear, false},
    {"cpu tx PORT lacp", "send an LACPDU of the switch out of a port and read it at the far side",
     cpu_tx_lacp, false},
    {"cpu tx PORT HEX...", "send a frame given in hex out of a port", cpu_tx_hex, false},
    {"lacp send PORTS [system MAC] [key N] [state STATE]",
     "the far side of each cable sends an LACPDU; the receive callback shows it", lacp_send, false},
    {"leds refresh [PORT]", "run the speed-LED update for all ports or one", leds_refresh, false},
    // raw form
    {"ioctl NAME [port PORT] [N]",
     "any command by name or number, with a value (default handle: CPU channel)", ioctl_value, false},
    {"ioctl NAME [port PORT] HEX...", "any command with a request buffer given in hex", ioctl_bytes, false},
    // simulated host
    {"sim plug PORTS [CABLE]", "plug a cable; negotiated rate 10, 100 or 1000 (default 1000/full)", sim_plug,
     false},
    {"sim unplug PORTS", "pull the cable", sim_unplug, false},
    {"sim counter PORT WORD N", "set chip counter word WORD of a port", sim_counter, false},
    {"sim mac PORT MAC vlan VID", "the chip learns an address on a port", sim_mac, false},
    {"sim fault NAME [result INT] [nth N] [port N] [out N]", "make a host call fail (result 0 by default)",
     sim_fault, false},
    {"sim faults clear", "remove all injected faults", sim_faults_clear, false},
    {"reset", "clear injected faults, the call journal and the log", reset_host, false},
    {"reset chip", "also return the chip model to power-on (the bring-up is not run again)", reset_chip,
     false},
    // views
    {"show ports", "one row per port", views::ports, true},
    {"show vlans", "VLAN membership: U untagged, T tagged", views::vlans, true},
    {"show fdb", "static and learned addresses", views::fdb, true},
    {"show acl", "unicast and multicast filter lists", views::acl, true},
    {"show lag", "port channels", views::lag, true},
    {"show mirror", "mirror destinations and sources", views::mirror, true},
    {"show storm", "storm-control settings", views::storm, true},
    {"show cpu-stats", "CPU path counters", views::cpu_stats, true},
    {"show log", "the driver's log records", views::log, true},
    {"show journal [COUNT]", "the last host calls (default 20)", views::journal, true},
    {"show status", "driver, network namespace, handles, callback", views::status, true},
    // the shell
    {"trace ONOFF", "print every host call as it happens, to stderr", trace, false},
    {"echo [TEXT...]", "print a line", echo, false},
    {"sleep MS", "wait", sleep_ms, false},
    {"source NAME", "run the commands of a file", source, false},
    {"help [TEXT...]", "the commands, or those starting with the given words", help, false},
    {"quit", "leave (also: end of input)", quit, false},
};

Outcome help(Shell& sh, const Args& a, const Flags&) {
    Words topic;
    if (a.has("TEXT")) topic = split_line(a.text("TEXT")).statements.at(0);
    std::string text;
    size_t shown = 0;
    for (size_t r = 0; r < kTable.size(); ++r) {
        if (!sh.grammar().about(r, topic)) continue;
        char line[200];
        std::snprintf(line, sizeof line, "%-52s %s\n", kTable[r].syntax, kTable[r].help);
        text += line;
        ++shown;
    }
    if (shown == 0) return Outcome::bad("no command starts with '" + a.text("TEXT") + "'");
    if (topic.empty()) {
        text += "\nValues:\n";
        for (const std::string& line : placeholder_help()) text += line + "\n";
        text += "\nViews take --json. Commands on PORTS stop at the first port that fails.";
    }
    sh.say(text);
    return kOk;
}

}  // namespace

const std::vector<CommandRow>& command_table() { return kTable; }

}  // namespace eswctl
