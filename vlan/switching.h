// The two marker files that decide whether the platform runs the front panel as a switch.
#pragma once

#include <cstddef>
#include <cstdint>

namespace esw::vlan {

enum class Marker : uint8_t { enable, disable };

// The marker's path in the configuration folder: $ESW_CONFIG_DIR_OVERRIDE when set and not empty
// (test runs only), else the folder fixed at build time. False when the path does not fit `size`.
bool switching_marker_path(Marker marker, char* out, std::size_t size);

}  // namespace esw::vlan
