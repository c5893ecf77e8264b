// Port admin state (NIC_STATUS) and maximum receive frame size (NIC_GET_MAX_FRM_LEN,
// NIC_SET_MAX_FRM_LEN).
#include <array>
#include <cstdint>
#include <optional>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::init>;

// The chip is only ever given one of these frame sizes; a size maps to the smallest class that
// holds it.
inline constexpr std::array<uint32_t, 3> kMruClasses{1522, 2048, 10240};
inline constexpr uint32_t kMruUnknown = 0xFFFFFFFF;

constexpr std::optional<uint32_t> mru_class(uint32_t size) {
    for (uint32_t cls : kMruClasses)
        if (size <= cls) return cls;
    return std::nullopt;
}

static_assert(mru_class(0) == 1522 && mru_class(1522) == 1522 && mru_class(1523) == 2048);
static_assert(mru_class(2048) == 2048 && mru_class(2049) == 10240 && mru_class(10240) == 10240);
static_assert(!mru_class(10241).has_value());

// What the chip is told for an admin request: up lets traffic through, powers the PHY and
// forwards; down undoes each of these.
struct AdminState {
    uint8_t enable;
    uint8_t powerDown;
    uint8_t portState;
};
inline constexpr AdminState kAdminUp{1, 0, 3};
inline constexpr AdminState kAdminDown{0, 1, 1};

}  // namespace

extern "C" {

// The request travels in the pointer argument itself: exactly 1 means up, anything else down.
ESW_EXPORT uint32_t mrvl_esw_set_nic_status(uint32_t dev, uint32_t port, void* value) {
    const AdminState s = reinterpret_cast<uintptr_t>(value) == 1 ? kAdminUp : kAdminDown;
    const auto d = static_cast<uint8_t>(dev);
    const auto p = static_cast<uint8_t>(port);
    const unsigned pn = p;
    const unsigned en = s.enable;
    if (!Log::ok(asic_allow_unicast(d, p, s.enable),
                 "mrvl_esw_set_nic_status: asic_allow_unicast port %u enable %u, status %d", pn, en))
        return 1;
    if (!Log::ok(asic_allow_multicast(d, p, s.enable),
                 "mrvl_esw_set_nic_status: asic_allow_multicast port %u enable %u, status %d", pn, en))
        return 1;
    if (!Log::ok(asic_allow_broadcast(d, p, s.enable),
                 "mrvl_esw_set_nic_status: asic_allow_broadcast port %u enable %u, status %d", pn, en))
        return 1;
    if (!Log::ok(asic_enable_receive(d, p, s.enable),
                 "mrvl_esw_set_nic_status: asic_enable_receive port %u enable %u, status %d", pn, en))
        return 1;
    if (!Log::ok(asic_enable_transmit(d, p, s.enable),
                 "mrvl_esw_set_nic_status: asic_enable_transmit port %u enable %u, status %d", pn, en))
        return 1;
    if (!Log::ok(esw::Expect::low_byte_one, peridot_port_power_down(d, p, s.powerDown),
                 "mrvl_esw_set_nic_status: peridot_port_power_down dev %u port %u enable %u, status %d",
                 static_cast<unsigned>(d), pn, en))
        return 1;
    if (!Log::ok(esw::Expect::low_byte_one, peridot_set_port_portstate(d, p, s.portState),
                 "mrvl_esw_set_nic_status: peridot_set_port_portstate port %u state %u, status %d", pn,
                 static_cast<unsigned>(s.portState)))
        return 1;
    return 0;
}

// A null reply buffer is refused before the chip is asked, rather than written through.
ESW_EXPORT uint32_t mrvl_esw_get_mru(EswFrameworkHandle* handle, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_get_mru: handle holds no open port");
        return 1;
    }
    auto* reply = static_cast<uint32_t*>(arg);
    if (reply == nullptr) {
        Log::error("mrvl_esw_get_mru: port %u, null reply buffer", record->portNum);
        return 1;
    }
    const auto d = static_cast<uint8_t>(record->devNum);
    const auto p = static_cast<uint8_t>(record->portNum);
    uint32_t chipMru = 0;
    if (!Log::ok(esw::Expect::low_byte_one, peridot_get_port_mtu(d, p, &chipMru),
                 "mrvl_esw_get_mru: peridot_get_port_mtu port %u, status %d", static_cast<unsigned>(p)))
        return 1;
    *reply = mru_class(chipMru).value_or(kMruUnknown);
    return 0;
}

// A size outside 0..10240 is the host's mistake, not the chip's: refused without a record.
ESW_EXPORT uint32_t mrvl_esw_set_mru(EswFrameworkHandle* handle, int32_t value) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_set_mru: handle holds no open port");
        return 1;
    }
    if (value < 0) return 1;
    const std::optional<uint32_t> cls = mru_class(static_cast<uint32_t>(value));
    if (!cls) return 1;
    const auto d = static_cast<uint8_t>(record->devNum);
    const auto p = static_cast<uint8_t>(record->portNum);
    if (!Log::ok(esw::Expect::low_byte_one, peridot_set_port_mtu(d, p, *cls),
                 "mrvl_esw_set_mru: peridot_set_port_mtu port %u mtu %u, status %d", static_cast<unsigned>(p),
                 *cls))
        return 1;
    return 0;
}

}  // extern "C"
