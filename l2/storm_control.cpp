// Storm control: the chip holds the settings and the counters; the driver picks the kind's call
// and passes the host's rate through in rate mode 2.
#include <array>
#include <cstdint>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"

namespace {

using Log = esw::Log<esw::Src::ioctl>;

using StormSetter = uint8_t (*)(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate, uint8_t arg5,
                                uint8_t arg6, uint8_t enable);

struct StormKind {
    uint8_t kind;  // EswStormKind
    StormSetter configure;
};
constexpr std::array<StormKind, 3> kStormKinds{{
    {ESW_STORM_UNICAST, peridot_set_storm_control_unicast},
    {ESW_STORM_MULTICAST, peridot_set_storm_control_multicast},
    {ESW_STORM_BROADCAST, peridot_set_storm_control_broadcast},
}};

constexpr uint8_t kRateMode = 2;
constexpr uint8_t kOffRate = 100;  // the host's "storm control off" for a kind
constexpr uint8_t kUnusedArg = 0;

const StormKind* find_kind(uint8_t kind) {
    for (const StormKind& row : kStormKinds)
        if (row.kind == kind) return &row;
    return nullptr;
}

}  // namespace

// A missing request is refused (logged, 1) instead of read through.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_config_storm_control(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_config_storm_control: no request for port %u", port);
        return 1;
    }
    const auto* request = static_cast<const EswStormRequest*>(arg);
    const uint8_t kind = request->kind;
    const uint8_t rate = request->rate;
    const auto d = static_cast<uint8_t>(dev);
    const auto p = static_cast<uint8_t>(port);
    uint8_t enable = 1;
    if (rate == kOffRate) {
        enable = 0;
        // A failed reset is only reported: the configuration call alone decides the result.
        Log::ok(peridot_reset_storm_counters(d, p, kind),
                "mrvl_esw_ioctl_config_storm_control: reset counters of kind %u on port %u, status %d", kind,
                port);
    }
    const StormKind* row = find_kind(kind);
    if (row == nullptr) {
        Log::error("mrvl_esw_ioctl_config_storm_control: traffic kind %u refused on port %u", kind, port);
        return 1;
    }
    if (!Log::ok(row->configure(d, p, kRateMode, rate, kUnusedArg, kUnusedArg, enable),
                 "mrvl_esw_ioctl_config_storm_control: port %u, status %d", port))
        return 1;
    return 0;
}

// The chip writes the status into the host's buffer at offset 4; nothing else of the buffer is
// touched. A missing buffer is refused (logged, 1).
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_get_storm_control_status(uint32_t dev, uint32_t port,
                                                                       void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_get_storm_control_status: no request for port %u", port);
        return 1;
    }
    auto* request = static_cast<EswStormStatusRequest*>(arg);
    const uint8_t kind = request->kind;
    if (find_kind(kind) == nullptr) {
        Log::error("mrvl_esw_ioctl_get_storm_control_status: traffic kind %u refused on port %u", kind, port);
        return 1;
    }
    uint32_t first = 0;   // not used
    uint32_t second = 0;  // not used
    if (!Log::ok(peridot_storm_control_check(static_cast<uint8_t>(dev), static_cast<uint8_t>(port), kind,
                                             &first, &second, &request->status),
                 "mrvl_esw_ioctl_get_storm_control_status: port %u, status %d", port))
        return 1;
    return 0;
}
