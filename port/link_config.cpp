// How a port's link comes up: NIC_LNK_TYPE (speed and duplex by the host's speed-type code) and
// NIC_SET_MAX_CAP (the port's maximum capability).
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::init>;

enum class LinkKind : uint8_t {
    chip,      // auto mode (when given), phy speed, port speed and duplex
    cmode2p5,  // the 2.5 Gbit/s port mode and nothing else
    rejected,  // a speed this switch cannot run: result 4, the chip is not touched
};

// Chip encodings: speed 0 = 10, 1 = 100, 2 = 1000 Mb/s, 15 = left to negotiation; duplex 1 = full.
struct LinkRow {
    std::optional<uint8_t> autoMode;
    uint8_t speed;
    uint8_t duplex;
    LinkKind kind;
};

inline constexpr uint32_t kNotSupported = 4;
inline constexpr uint32_t kCapabilityRefused = 17;

// One row per EswSpeedType code. The rows of 6, 7 and 15 force speed 2 whatever their names say:
// only their auto mode tells them apart from code 8.
inline constexpr LinkRow kReject{std::nullopt, 0, 0, LinkKind::rejected};
inline constexpr std::array<LinkRow, 19> kLinkTypes{{
    {7, 2, 0, LinkKind::chip},                 //  0 Unknown
    {11, 0, 0, LinkKind::chip},                //  1 10 Mbps / Half
    {9, 1, 0, LinkKind::chip},                 //  2 100 Mbps / Half
    {10, 0, 1, LinkKind::chip},                //  3 10 Mbps / Full
    {8, 1, 1, LinkKind::chip},                 //  4 100 Mbps / Full
    {0, 15, 1, LinkKind::chip},                //  5 Auto / Auto
    {3, 2, 1, LinkKind::chip},                 //  6 10 Mbps / Auto
    {2, 2, 1, LinkKind::chip},                 //  7 100 Mbps / Auto
    {1, 2, 1, LinkKind::chip},                 //  8 1000 Mbps / Auto
    {4, 15, 1, LinkKind::chip},                //  9 Auto / Full
    {5, 15, 0, LinkKind::chip},                // 10 Auto / Half
    {6, 2, 1, LinkKind::chip},                 // 11 1000 Mbps / Full
    {std::nullopt, 2, 1, LinkKind::chip},      // 12 1000 Mbps Nonegotiate / Full
    kReject,                                   // 13 10000 Mbps / Full
    kReject,                                   // 14 12000 Mbps / Full
    {4, 2, 1, LinkKind::chip},                 // 15 NoSpeed
    kReject,                                   // 16 40000 Mbps / Full
    {std::nullopt, 0, 0, LinkKind::cmode2p5},  // 17 2500 Mbps / Full
    kReject,                                   // 18, and every code above
}};
static_assert(kLinkTypes.size() == ESW_SPEED_2500_FULL + 2);

constexpr const LinkRow& link_row(uint32_t code) {
    return kLinkTypes[std::min<uint32_t>(code, kLinkTypes.size() - 1)];
}

// NIC_SET_MAX_CAP: only "1000 Mbps / Full" is acted on, with that code's auto mode. Values 0, 3
// and 4 are refused with their own result so the host can tell them from unknown values.
struct CapabilityRow {
    uint32_t value;
    std::optional<uint8_t> autoMode;
    uint32_t refusal;  // result when autoMode is empty
};
inline constexpr std::array<CapabilityRow, 4> kCapabilities{{
    {1, kLinkTypes[ESW_SPEED_1000_FULL].autoMode, 0},
    {0, std::nullopt, kCapabilityRefused},
    {3, std::nullopt, kCapabilityRefused},
    {4, std::nullopt, kCapabilityRefused},
}};
static_assert(kCapabilities[0].autoMode == 6);

constexpr const CapabilityRow* capability_row(uint32_t value) {
    for (const CapabilityRow& row : kCapabilities)
        if (row.value == value) return &row;
    return nullptr;
}

uint32_t apply_link_row(uint8_t d, uint8_t p, const LinkRow& row) {
    const unsigned pn = p;
    if (row.autoMode &&
        !Log::ok(peridot_set_port_auto_mode(d, p, *row.autoMode),
                 "mrvl_esw_set_link_type: peridot_set_port_auto_mode port %u mode %u, status %d", pn,
                 static_cast<unsigned>(*row.autoMode)))
        return 1;
    if (!Log::ok(peridot_set_port_phy_speed(d, p, row.speed),
                 "mrvl_esw_set_link_type: peridot_set_port_phy_speed port %u speed %u, status %d", pn,
                 static_cast<unsigned>(row.speed)))
        return 1;
    if (!Log::ok(peridot_set_port_speed(d, p, row.speed),
                 "mrvl_esw_set_link_type: peridot_set_port_speed port %u speed %u, status %d", pn,
                 static_cast<unsigned>(row.speed)))
        return 1;
    if (!Log::ok(peridot_set_duplex_mode(d, p, row.duplex),
                 "mrvl_esw_set_link_type: peridot_set_duplex_mode port %u duplex %u, status %d", pn,
                 static_cast<unsigned>(row.duplex)))
        return 1;
    return 0;
}

}  // namespace

extern "C" {

ESW_EXPORT uint32_t mrvl_esw_set_link_type(uint32_t dev, uint32_t port, uint32_t linkType) {
    const LinkRow& row = link_row(linkType);
    const auto d = static_cast<uint8_t>(dev);
    const auto p = static_cast<uint8_t>(port);
    switch (row.kind) {
        case LinkKind::rejected:
            return kNotSupported;
        case LinkKind::chip:
            return apply_link_row(d, p, row);
        case LinkKind::cmode2p5:
            // The port mode is written twice; the first answer is not examined.
            static_cast<void>(peridot_set_cmode_2p5G(d, p));
            if (!Log::ok(peridot_set_cmode_2p5G(d, p),
                         "mrvl_esw_set_link_type: peridot_set_cmode_2p5G port %u, status %d",
                         static_cast<unsigned>(p)))
                return 1;
            return 0;
    }
    return kNotSupported;
}

// A null request is refused before it is read.
ESW_EXPORT uint32_t mrvl_esw_set_nic_max_cap(EswFrameworkHandle* handle, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_set_nic_max_cap: handle holds no open port");
        return 1;
    }
    const auto* request = static_cast<const uint32_t*>(arg);
    if (request == nullptr) {
        Log::error("mrvl_esw_set_nic_max_cap: port %u, null request", record->portNum);
        return 1;
    }
    const CapabilityRow* row = capability_row(*request);
    if (row == nullptr) return kNotSupported;
    if (!row->autoMode) return row->refusal;
    const auto p = static_cast<uint8_t>(record->portNum);
    if (!Log::ok(peridot_set_port_auto_mode(static_cast<uint8_t>(record->devNum), p, *row->autoMode),
                 "mrvl_esw_set_nic_max_cap: peridot_set_port_auto_mode port %u, status %d",
                 static_cast<unsigned>(p)))
        return 1;
    return 0;
}

}  // extern "C"
