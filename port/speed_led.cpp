// Front-panel speed LEDs: a two-bit field per user port in FPGA register 0x334, set from the
// port's link state and negotiated speed, and the chip's own LED 1 mode on every port.
#include <array>
#include <cstdint>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::init>;

inline constexpr int32_t kFpgaDevice = 0;
inline constexpr uint32_t kChipDevice = 0;
inline constexpr uint32_t kSpeedLedRegister = 0x334;
inline constexpr uint32_t kLinkUpBit = 0x200;
inline constexpr uint32_t kLedControlRegister = 0x330;
inline constexpr uint32_t kLedControlValue = 0x2202;
inline constexpr uint8_t kLed1Mode = 5;
inline constexpr uint32_t kFieldMask = 3;  // two bits per port; also the link-down clear code
inline constexpr int32_t kFirstLedPort = 1;
inline constexpr int32_t kLastLedPort = static_cast<int32_t>(esw::kUserPortCount);

// Ports 1..4 sit at bits 0..7 and ports 5..8 at bits 16..23.
constexpr uint32_t field_shift(int32_t port) {
    return static_cast<uint32_t>(port <= 4 ? 2 * (port - 1) : 2 * (port + 3));
}
static_assert(field_shift(1) == 0 && field_shift(4) == 6 && field_shift(5) == 16 && field_shift(8) == 22);

// Chip speed (0 = 10, 1 = 100, 2 = 1000 Mb/s) as the LED code; any other speed lights nothing.
inline constexpr std::array<uint32_t, 3> kSpeedCodes{1, 2, 3};
constexpr uint32_t speed_code(uint32_t chipSpeed) {
    return chipSpeed < kSpeedCodes.size() ? kSpeedCodes[chipSpeed] : 0;
}

// A link that is up shows exactly its current speed: the port's field is cleared before the new
// code goes in, so a drop from 1000 to 100 Mb/s does not leave code 3 behind. A link that is down
// clears the bits of `code` only.
constexpr uint32_t next_register(uint32_t old, int32_t port, bool linkUp, uint32_t code) {
    const uint32_t shift = field_shift(port);
    const uint32_t bits = (code & kFieldMask) << shift;
    if (linkUp) return (old & ~(kFieldMask << shift)) | bits | kLinkUpBit;
    return old & ~bits;
}
static_assert(next_register(0, 5, true, 2) == 0x20200);
static_assert(next_register(0xFFFFFFFF, 1, false, 3) == 0xFFFFFFFC);
static_assert(next_register(0x30, 3, true, 2) == 0x220);

}  // namespace

extern "C" {

// Only ports 1..8 have a field; any other port is refused before the register is read, so no
// shift is ever negative or past the register. Only the low two bits of `code` are used.
ESW_EXPORT int32_t set_speed_led_based_on_link_state(int32_t fpgaDevice, int32_t port, int32_t linkUp,
                                                     int32_t code) {
    if (port < kFirstLedPort || port > kLastLedPort) {
        Log::error("set_speed_led_based_on_link_state: port %d has no speed LED", port);
        return 1;
    }
    uint32_t value = 0;
    const int32_t readStatus = lib_fpga_reg_read(fpgaDevice, kSpeedLedRegister, &value);
    if (!Log::ok(esw::Expect::zero, readStatus, "set_speed_led_based_on_link_state: read 0x%x, status %d",
                 kSpeedLedRegister))
        return readStatus;
    value = next_register(value, port, linkUp != 0, static_cast<uint32_t>(code));
    const int32_t writeStatus = lib_fpga_reg_write(fpgaDevice, kSpeedLedRegister, value);
    if (!Log::ok(esw::Expect::zero, writeStatus, "set_speed_led_based_on_link_state: write 0x%x, status %d",
                 kSpeedLedRegister))
        return writeStatus;
    return 0;
}

// Ports outside the port map (negative or above 10) are refused with 1. Port 0 is in the map
// with media type 0 but has no LED field, so the register update refuses it.
ESW_EXPORT int32_t mrvl_set_port_speed_led(int32_t port) {
    Log::error("mrvl_set_port_speed_led: enter");
    EswPortMapEntry* table = nullptr;
    uint32_t count = 0;
    if (mrvl_get_phy_port_map(&table, &count) != 0 || table == nullptr) {
        Log::error("mrvl_set_port_speed_led: port %d, no port map", port);
        return 1;
    }
    if (port < 0 || static_cast<uint32_t>(port) >= count) {
        Log::error("mrvl_set_port_speed_led: port %d is not in the port map", port);
        return 1;
    }
    if (table[port].mediaType != 0) return 0;

    // A failed query leaves the word at 0: the port is shown as down.
    uint32_t link = 0;
    const uint32_t linkResult = mrvl_esw_get_link_state(kChipDevice, static_cast<uint32_t>(port), &link);
    if (linkResult != 0)
        Log::error("mrvl_set_port_speed_led: link state of port %d, result %u", port, linkResult);
    if (link == 0) return set_speed_led_based_on_link_state(kFpgaDevice, port, 0, kFieldMask);

    uint32_t speed = 0;
    if (!Log::ok(esw::Expect::low_byte_one,
                 peridot_get_speed(kChipDevice, static_cast<uint8_t>(port), &speed),
                 "mrvl_set_port_speed_led: peridot_get_speed port %d, status %d", port))
        return 1;
    const int32_t ledResult = set_speed_led_based_on_link_state(kFpgaDevice, port, static_cast<int32_t>(link),
                                                                static_cast<int32_t>(speed_code(speed)));
    if (!Log::ok(esw::Expect::zero, ledResult, "mrvl_set_port_speed_led: register 0x%x, result %d",
                 kSpeedLedRegister))
        return ledResult;
    const int32_t writeStatus = lib_fpga_reg_write(kFpgaDevice, kLedControlRegister, kLedControlValue);
    if (!Log::ok(esw::Expect::zero, writeStatus, "mrvl_set_port_speed_led: write 0x%x, status %d",
                 kLedControlRegister))
        return writeStatus;
    return 0;
}

// Every port after 0 gets its LED 1 mode and its speed LEDs; a failure on one port is logged and
// the loop goes on.
ESW_EXPORT int32_t mrvl_set_link_speed_led(void) {
    Log::error("mrvl_set_link_speed_led: enter");
    EswPortMapEntry* table = nullptr;
    uint32_t count = 0;
    if (mrvl_get_phy_port_map(&table, &count) != 0 || table == nullptr) {
        Log::error("mrvl_set_link_speed_led: no port map");
        return 1;
    }
    int32_t last = 0;
    for (uint32_t port = 1; port < count; ++port) {
        Log::ok(
            peridot_port_led1_set(static_cast<uint8_t>(kChipDevice), static_cast<uint8_t>(port), kLed1Mode),
            "mrvl_set_link_speed_led: peridot_port_led1_set port %u, status %d", port);
        last = mrvl_set_port_speed_led(static_cast<int32_t>(port));
        if (last != 0) Log::error("mrvl_set_link_speed_led: speed LED of port %u, result %d", port, last);
    }
    return last;
}

}  // extern "C"
