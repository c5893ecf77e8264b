#include "tools/eswctl/lacp.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace eswctl::lacp {
namespace {

constexpr size_t kEthHeader = 14;
constexpr uint16_t kVlanTag = 0x8100;

// TLV types and lengths of a version-1 LACPDU, in the order they must appear.
constexpr uint8_t kTlvActor = 1, kTlvPartner = 2, kTlvCollector = 3, kTlvTerminator = 0;
constexpr uint8_t kInfoLength = 20, kCollectorLength = 16;
// Offsets inside the LACPDU (after the EtherType).
constexpr size_t kActorAt = 2, kPartnerAt = 22, kCollectorAt = 42, kTerminatorAt = 58;
constexpr size_t kBodyUntilTerminator = 60;

struct StateName {
    uint8_t bit;
    const char* name;
};
constexpr std::array<StateName, 8> kStateNames = {{
    {kActivity, "activity"},
    {kShortTimeout, "short-timeout"},
    {kAggregation, "aggregation"},
    {kSynchronization, "synchronization"},
    {kCollecting, "collecting"},
    {kDistributing, "distributing"},
    {kDefaulted, "defaulted"},
    {kExpired, "expired"},
}};

struct TypeName {
    uint16_t type;
    const char* name;
};
constexpr std::array<TypeName, 9> kEtherTypes = {{
    {0x0800, "IPv4"},
    {0x0806, "ARP"},
    {0x86dd, "IPv6"},
    {0x8100, "802.1Q"},
    {0x88a8, "802.1ad"},
    {0x8809, "slow protocols"},
    {0x88cc, "LLDP"},
    {0x8863, "PPPoE discovery"},
    {0x8864, "PPPoE session"},
}};

void put16(std::vector<uint8_t>& out, size_t at, uint16_t v) {
    out[at] = static_cast<uint8_t>(v >> 8);
    out[at + 1] = static_cast<uint8_t>(v & 0xff);
}

uint16_t get16(std::span<const uint8_t> in, size_t at) {
    return static_cast<uint16_t>(in[at] << 8 | in[at + 1]);
}

void put_info(std::vector<uint8_t>& out, size_t at, uint8_t type, const PortInfo& info) {
    out[at] = type;
    out[at + 1] = kInfoLength;
    put16(out, at + 2, info.systemPriority);
    std::copy(info.system.begin(), info.system.end(), out.begin() + static_cast<long>(at + 4));
    put16(out, at + 10, info.key);
    put16(out, at + 12, info.portPriority);
    put16(out, at + 14, info.port);
    out[at + 16] = info.state;
    // at + 17 .. at + 19: reserved, zero
}

PortInfo get_info(std::span<const uint8_t> in, size_t at) {
    PortInfo info;
    info.systemPriority = get16(in, at + 2);
    std::copy_n(in.begin() + static_cast<long>(at + 4), 6, info.system.begin());
    info.key = get16(in, at + 10);
    info.portPriority = get16(in, at + 12);
    info.port = get16(in, at + 14);
    info.state = in[at + 16];
    return info;
}

bool fail(std::string* why, std::string text) {
    if (why) *why = std::move(text);
    return false;
}

// Where the EtherType/length field of the frame sits, skipping one 802.1Q tag.
size_t type_offset(std::span<const uint8_t> frame) {
    if (frame.size() >= 18 && get16(frame, 12) == kVlanTag) return 16;
    return 12;
}

std::string hex16(uint16_t v) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", v);
    return text;
}

std::string info_line(const char* who, const PortInfo& info) {
    std::ostringstream out;
    out << "  " << who << " system " << info.systemPriority << "/" << mac_text(info.system) << " key "
        << info.key << " port " << info.portPriority << "/" << info.port << " state "
        << state_names(info.state);
    return out.str();
}

}  // namespace

std::string mac_text(const Mac& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

std::vector<uint8_t> build(const Pdu& pdu) {
    std::vector<uint8_t> out(kFrameSize, 0);
    std::copy(kSlowProtocolsGroup.begin(), kSlowProtocolsGroup.end(), out.begin());
    std::copy(pdu.source.begin(), pdu.source.end(), out.begin() + 6);
    put16(out, 12, kSlowProtocolsType);
    const size_t body = kEthHeader;
    out[body] = kSubtypeLacp;
    out[body + 1] = kVersion;
    put_info(out, body + kActorAt, kTlvActor, pdu.actor);
    put_info(out, body + kPartnerAt, kTlvPartner, pdu.partner);
    out[body + kCollectorAt] = kTlvCollector;
    out[body + kCollectorAt + 1] = kCollectorLength;
    put16(out, body + kCollectorAt + 2, pdu.collectorMaxDelay);
    out[body + kTerminatorAt] = kTlvTerminator;
    out[body + kTerminatorAt + 1] = 0;
    return out;
}

std::optional<Pdu> parse(std::span<const uint8_t> frame, std::string* why) {
    if (frame.size() < kEthHeader) {
        fail(why, "frame of " + std::to_string(frame.size()) + " bytes has no Ethernet header");
        return std::nullopt;
    }
    const size_t typeAt = type_offset(frame);
    const uint16_t type = get16(frame, typeAt);
    if (type != kSlowProtocolsType) {
        fail(why, "ethertype " + hex16(type) + " is not slow protocols");
        return std::nullopt;
    }
    const size_t body = typeAt + 2;
    if (frame.size() < body + kBodyUntilTerminator) {
        fail(why, "LACPDU cut short at " + std::to_string(frame.size()) + " bytes");
        return std::nullopt;
    }
    const std::span<const uint8_t> in = frame.subspan(body);
    if (in[0] != kSubtypeLacp) {
        fail(why, "slow-protocols subtype " + std::to_string(in[0]) + " is not LACP");
        return std::nullopt;
    }
    if (in[1] != kVersion) {
        fail(why, "LACP version " + std::to_string(in[1]) + " is not 1");
        return std::nullopt;
    }
    struct Expected {
        size_t at;
        uint8_t type, length;
        const char* name;
    };
    constexpr std::array<Expected, 4> kTlvs = {{
        {kActorAt, kTlvActor, kInfoLength, "actor"},
        {kPartnerAt, kTlvPartner, kInfoLength, "partner"},
        {kCollectorAt, kTlvCollector, kCollectorLength, "collector"},
        {kTerminatorAt, kTlvTerminator, 0, "terminator"},
    }};
    for (const Expected& tlv : kTlvs) {
        if (in[tlv.at] != tlv.type || in[tlv.at + 1] != tlv.length) {
            fail(why, std::string(tlv.name) + " TLV: type " + std::to_string(in[tlv.at]) + " length " +
                          std::to_string(in[tlv.at + 1]) + ", expected type " + std::to_string(tlv.type) +
                          " length " + std::to_string(tlv.length));
            return std::nullopt;
        }
    }
    Pdu pdu;
    std::copy_n(frame.begin() + 6, 6, pdu.source.begin());
    pdu.actor = get_info(in, kActorAt);
    pdu.partner = get_info(in, kPartnerAt);
    pdu.collectorMaxDelay = get16(in, kCollectorAt + 2);
    return pdu;
}

std::string state_names(uint8_t state) {
    std::string text;
    for (const StateName& s : kStateNames) {
        if (!(state & s.bit)) continue;
        if (!text.empty()) text += ",";
        text += s.name;
    }
    return text.empty() ? "none" : text;
}

std::optional<uint8_t> parse_state(const std::string& text) {
    if (text.empty()) return std::nullopt;
    if (text[0] >= '0' && text[0] <= '9') {
        char* end = nullptr;
        const unsigned long v = std::strtoul(text.c_str(), &end, 0);
        if (*end != '\0' || v > 0xff) return std::nullopt;
        return static_cast<uint8_t>(v);
    }
    if (text == "none") return uint8_t{0};
    uint8_t state = 0;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        const std::string word =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        bool known = false;
        for (const StateName& s : kStateNames) {
            if (word == s.name) {
                state |= s.bit;
                known = true;
            }
        }
        if (!known) return std::nullopt;
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return state;
}

std::string describe(const Pdu& pdu) {
    return "LACPDU from " + mac_text(pdu.source) + "\n" + info_line("actor  ", pdu.actor) + "\n" +
           info_line("partner", pdu.partner) + "\n  collector max delay " +
           std::to_string(pdu.collectorMaxDelay);
}

std::string summary(std::span<const uint8_t> frame) {
    if (frame.size() < kEthHeader) return "runt frame of " + std::to_string(frame.size()) + " bytes";
    Mac dst, src;
    std::copy_n(frame.begin(), 6, dst.begin());
    std::copy_n(frame.begin() + 6, 6, src.begin());
    std::string text = mac_text(src) + " > " + mac_text(dst);
    size_t typeAt = 12;
    if (type_offset(frame) == 16) {
        text += " vlan " + std::to_string(get16(frame, 14) & 0x0fff);
        typeAt = 16;
    }
    const uint16_t type = get16(frame, typeAt);
    if (type < 0x0600) {
        // 802.3 length field followed by LLC (and SNAP when both SAPs are 0xaa).
        text += " 802.3 length " + std::to_string(type);
        const size_t llc = typeAt + 2;
        if (frame.size() >= llc + 8 && frame[llc] == 0xaa && frame[llc + 1] == 0xaa) {
            char snap[48];
            const uint16_t pid = get16(frame, llc + 6);
            std::snprintf(snap, sizeof snap, " snap %02x:%02x:%02x/0x%04x", frame[llc + 3], frame[llc + 4],
                          frame[llc + 5], pid);
            text += snap;
            if (frame[llc + 3] == 0x00 && frame[llc + 4] == 0x00 && frame[llc + 5] == 0x0c && pid == 0x2000)
                text += " (CDP)";
        } else if (frame.size() >= llc + 2) {
            char saps[32];
            std::snprintf(saps, sizeof saps, " llc 0x%02x>0x%02x", frame[llc], frame[llc + 1]);
            text += saps;
        }
    } else {
        text += " ethertype " + hex16(type);
        for (const TypeName& t : kEtherTypes) {
            if (t.type != type) continue;
            text += std::string(" (") + t.name;
            if (type == kSlowProtocolsType && frame.size() > typeAt + 2)
                text += frame[typeAt + 2] == kSubtypeLacp ? ", LACP"
                        : frame[typeAt + 2] == 2          ? ", marker"
                                                          : ", subtype " + std::to_string(frame[typeAt + 2]);
            text += ")";
        }
    }
    return text + ", " + std::to_string(frame.size()) + " bytes";
}

}  // namespace eswctl::lacp
