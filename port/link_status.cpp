// Link status: NIC_LINK and the three queries it is built from, which the CPU transmit path and
// the speed LEDs also use.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::init>;

// The host's record keeps a separate flag for "media is not type 1"; the shipped port map holds
// no type-1 port, so the flag is 1 on every successful query.
inline constexpr uint32_t kFlaggedMedia = 1;
// Reported for a port that the port map does not list.
inline constexpr uint32_t kMediaUnlisted = 4;

// Chip speed (0 = 10, 1 = 100, 2 = 1000 Mb/s) with full or half duplex, as EswSpeedType. At
// 1000 Mb/s the host knows only full duplex; any other chip speed is "Unknown".
struct SpeedRow {
    EswSpeedType full;
    EswSpeedType half;
};
inline constexpr std::array<SpeedRow, 3> kSpeedTypes{{
    {ESW_SPEED_10_FULL, ESW_SPEED_10_HALF},
    {ESW_SPEED_100_FULL, ESW_SPEED_100_HALF},
    {ESW_SPEED_1000_FULL, ESW_SPEED_1000_FULL},
}};
inline constexpr uint32_t kChipFullDuplex = 1;

constexpr EswSpeedType speed_type(uint32_t chipSpeed, uint32_t chipDuplex) {
    if (chipSpeed >= kSpeedTypes.size()) return ESW_SPEED_UNKNOWN;
    const SpeedRow& row = kSpeedTypes[chipSpeed];
    return chipDuplex == kChipFullDuplex ? row.full : row.half;
}
static_assert(speed_type(2, 0) == ESW_SPEED_1000_FULL && speed_type(3, 1) == ESW_SPEED_UNKNOWN);

// Every failure leaves the host nothing but zeros.
uint32_t link_failed(EswLinkInfo* out) {
    std::memset(out, 0, sizeof *out);
    return 1;
}

}  // namespace

extern "C" {

// The dispatcher reports success for NIC_LINK whatever happens here; a null record is refused
// before anything is written.
ESW_EXPORT uint32_t mrvl_get_nic_link_ioctl(uint32_t dev, uint32_t port, void* arg) {
    auto* out = static_cast<EswLinkInfo*>(arg);
    if (out == nullptr) {
        Log::error("mrvl_get_nic_link_ioctl: port %u, null link record", port);
        return 1;
    }
    std::memset(out, 0, sizeof *out);
    uint32_t up = 0;
    const uint32_t linkResult = mrvl_esw_get_link_state(dev, port, &up);
    if (linkResult != 0) {
        Log::error("mrvl_get_nic_link_ioctl: link state of port %u, result %u", port, linkResult);
        return link_failed(out);
    }
    uint32_t media = 0;
    const uint32_t mediaResult = mrvl_esw_get_media_type(static_cast<uint8_t>(dev), port, &media);
    if (mediaResult != 0) {
        Log::error("mrvl_get_nic_link_ioctl: media type of port %u, result %u", port, mediaResult);
        return link_failed(out);
    }
    out->linkUp = up != 0 ? 1 : 0;
    if (up != 0) {
        const uint32_t speedResult = mrvl_esw_get_speed_type(dev, port, &out->speedType);
        if (speedResult != 0) {
            Log::error("mrvl_get_nic_link_ioctl: speed type of port %u, result %u", port, speedResult);
            return link_failed(out);
        }
    }
    out->mediaNotOne = media != kFlaggedMedia ? 1 : 0;
    out->mediaType = media;
    return 0;
}

// A null out-value is refused before the port is looked up, so that nothing is written through it.
ESW_EXPORT uint32_t mrvl_esw_get_link_state(uint32_t dev, uint32_t port, uint32_t* linkUp) {
    if (linkUp == nullptr) {
        Log::error("mrvl_esw_get_link_state: port %u, null link word", port);
        return 1;
    }
    const uint32_t index = esw::port_index(port);
    if (index >= static_cast<uint32_t>(numOfAllThePortsCns)) {
        std::printf("%s(portNum %u) index=%d FAILURE!!!!!\n", "mrvl_esw_get_link_state", port,
                    static_cast<int>(index));
        *linkUp = 0;
        return 1;
    }
    const auto p = static_cast<uint8_t>(port);
    uint32_t state = 0;
    if (!Log::ok(peridot_get_link_state(static_cast<uint8_t>(dev), p, &state),
                 "mrvl_esw_get_link_state: peridot_get_link_state port %u, status %d",
                 static_cast<unsigned>(p)))
        return 1;
    *linkUp = state == 1 ? 1 : 0;
    return 0;
}

// Duplex is read whatever the speed, so a failing duplex read fails the query even at 1000 Mb/s.
ESW_EXPORT uint32_t mrvl_esw_get_speed_type(uint32_t dev, uint32_t port, uint32_t* speedType) {
    if (speedType == nullptr) {
        Log::error("mrvl_esw_get_speed_type: port %u, null speed-type word", port);
        return 1;
    }
    const auto d = static_cast<uint8_t>(dev);
    const auto p = static_cast<uint8_t>(port);
    uint32_t speed = 0;
    if (!Log::ok(peridot_get_speed(d, p, &speed),
                 "mrvl_esw_get_speed_type: peridot_get_speed port %u, status %d", static_cast<unsigned>(p))) {
        *speedType = ESW_SPEED_UNKNOWN;
        return 1;
    }
    uint32_t duplex = 0;
    if (!Log::ok(peridot_get_duplex_mode(d, p, &duplex),
                 "mrvl_esw_get_speed_type: peridot_get_duplex_mode port %u, status %d",
                 static_cast<unsigned>(p))) {
        *speedType = ESW_SPEED_UNKNOWN;
        return 1;
    }
    *speedType = speed_type(speed, duplex);
    return 0;
}

ESW_EXPORT uint32_t mrvl_esw_get_media_type(uint8_t dev, uint32_t port, uint32_t* media) {
    if (media == nullptr) {
        Log::error("mrvl_esw_get_media_type: port %u, null media word", port);
        return 1;
    }
    EswPortMapEntry* table = nullptr;
    uint32_t count = 0;
    if (mrvl_get_phy_port_map(&table, &count) != 0 || table == nullptr) {
        std::printf("%s(devNum %u, portNum %u) Port Table not found failure!\n", "mrvl_esw_get_media_type",
                    static_cast<unsigned>(dev), port);
        return 1;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (table[i].portNum == port) {
            *media = table[i].mediaType;
            return 0;
        }
    }
    *media = kMediaUnlisted;
    return 1;
}

}  // extern "C"
