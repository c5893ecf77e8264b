// Energy-efficient Ethernet: the host speaks in the values 1, 2 and 4, the chip in a force-EEE
// mode when setting and in two status words when reading.
#include <array>
#include <cstdint>
#include <optional>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"

namespace {

using Log = esw::Log<esw::Src::ioctl>;

struct EeeMode {
    uint8_t hostValue;
    uint8_t chipMode;
};
constexpr std::array<EeeMode, 3> kEeeModes{{{2, 0}, {4, 1}, {1, 2}}};

// The host value for the chip's two status words, indexed by (second word non-zero) << 2 |
// (force bit of the first word) << 1 | (remaining bits of the first word non-zero). The one
// empty row, a forced port with no mode behind the force bit, reports nothing.
constexpr std::array<std::optional<uint16_t>, 8> kEeeStatus{{2, 2, 2, 2, 4, 4, std::nullopt, 4}};

constexpr std::size_t status_row(uint16_t first, uint16_t second) {
    return (second != 0 ? 4u : 0u) | ((first & 1u) != 0 ? 2u : 0u) | ((first >> 1) != 0 ? 1u : 0u);
}
static_assert(status_row(0xFFFF, 0) == 3 && status_row(1, 1) == 6 && status_row(2, 9) == 5);

}  // namespace

// A missing request is refused silently, before any chip call.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_get_eee(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) return 1;
    uint16_t first = 0;
    uint16_t second = 0;
    if (!Log::ok(
            peridot_get_force_eee(static_cast<uint8_t>(dev), static_cast<uint8_t>(port), &first, &second),
            "mrvl_esw_ioctl_get_eee: port %u, status %d", port))
        return 1;
    const std::optional<uint16_t> value = kEeeStatus[status_row(first, second)];
    if (!value) {
        Log::error("mrvl_esw_ioctl_get_eee: port %u is forced without an EEE mode", port);
        return 0;
    }
    static_cast<EswEeeRequest*>(arg)->eeeValue = *value;
    return 0;
}

// Only the request's first byte is the host's value. A missing request is refused silently.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_eee(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) return 1;
    const uint8_t value = *static_cast<const uint8_t*>(arg);
    const EeeMode* mode = nullptr;
    for (const EeeMode& row : kEeeModes)
        if (row.hostValue == value) mode = &row;
    if (mode == nullptr) {
        Log::error("mrvl_esw_ioctl_set_eee: EEE value %u refused on port %u", value, port);
        return 1;
    }
    if (!Log::ok(esw::Expect::low_byte_one,
                 peridot_set_force_eee(static_cast<uint8_t>(dev), static_cast<uint8_t>(port), mode->chipMode),
                 "mrvl_esw_ioctl_set_eee: port %u, status %d", port))
        return 1;
    return 0;
}
