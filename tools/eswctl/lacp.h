// LACPDUs as they travel on a front-panel cable, and the one-line view of any other frame the
// capture interfaces may see. Pure functions over bytes: no driver, no sockets.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace eswctl::lacp {

using Mac = std::array<uint8_t, 6>;

inline constexpr Mac kSlowProtocolsGroup = {0x01, 0x80, 0xc2, 0x00, 0x00, 0x02};
inline constexpr uint16_t kSlowProtocolsType = 0x8809;
inline constexpr uint8_t kSubtypeLacp = 1;
inline constexpr uint8_t kVersion = 1;
// 14-byte Ethernet header + 110-byte LACPDU; real frames are sent at exactly this size.
inline constexpr size_t kFrameSize = 124;

// Actor_State / Partner_State bits, least significant first.
enum StateBit : uint8_t {
    kActivity = 0x01,
    kShortTimeout = 0x02,
    kAggregation = 0x04,
    kSynchronization = 0x08,
    kCollecting = 0x10,
    kDistributing = 0x20,
    kDefaulted = 0x40,
    kExpired = 0x80,
};

// One side's information: the body of the actor TLV or of the partner TLV.
struct PortInfo {
    uint16_t systemPriority = 0;
    Mac system{};
    uint16_t key = 0;
    uint16_t portPriority = 0;
    uint16_t port = 0;
    uint8_t state = 0;
    bool operator==(const PortInfo&) const = default;
};

struct Pdu {
    Mac source{};  // the sending port's own address (Ethernet source)
    PortInfo actor;
    PortInfo partner;
    uint16_t collectorMaxDelay = 0;
    bool operator==(const Pdu&) const = default;
};

// The full 124-byte frame: header, version-1 TLVs in order, terminator, zero padding.
std::vector<uint8_t> build(const Pdu& pdu);

// Decodes an LACPDU (an 802.1Q tag in front of the EtherType is skipped). Returns nullopt and
// says why for anything else: other EtherType or subtype, unknown version, a TLV out of place or
// of the wrong length, a frame cut short.
std::optional<Pdu> parse(std::span<const uint8_t> frame, std::string* why = nullptr);

// "activity,aggregation,expired"; "none" when no bit is set.
std::string state_names(uint8_t state);
// Accepts a comma-separated list of the names above, or a number (0x3d, 61).
std::optional<uint8_t> parse_state(const std::string& text);

std::string mac_text(const Mac& mac);

// Multi-line decoded view of an LACPDU (no trailing newline).
std::string describe(const Pdu& pdu);

// One line for any frame: "00:13:c4:12:0f:0d > 01:80:c2:00:00:02 ethertype 0x8809 (slow protocols)".
std::string summary(std::span<const uint8_t> frame);

}  // namespace eswctl::lacp
