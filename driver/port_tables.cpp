// The port numbering of the whole library: 11 chip ports, front-panel ports 1..8, port 9 toward
// the data plane and port 10 toward the control plane (the CPU).
#include "driver/esw_driver.h"
#include "driver/internal.h"

extern "C" {
const uint8_t allThePorts[11] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
const int32_t numOfAllThePortsCns = 11;
const uint32_t userPorts[8] = {1, 2, 3, 4, 5, 6, 7, 8};
const int32_t numOfUserPortsCns = 8;
const uint8_t DataPlanePort = 9;
const uint8_t ControlPlanePort = 10;

// Exported for the host's loader; nothing in the library reads or writes them.
ESW_EXPORT uint32_t __SymbolTable = 0;        // NOLINT(bugprone-reserved-identifier)
ESW_EXPORT uint32_t __SymbolTableLength = 0;  // NOLINT(bugprone-reserved-identifier)
}

static_assert(sizeof(allThePorts) == esw::kPortCount);
static_assert(sizeof(userPorts) / sizeof(userPorts[0]) == esw::kUserPortCount);

namespace esw {

// Not const: mrvl_get_phy_port_map hands the host a mutable pointer to it. Media type 0 for the
// chip and front-panel ports, 2 for the two internal ports (which have no speed LEDs).
EswPortMapEntry eswPortMap[kPortCount] = {
    {0, 0, 0, 2, 0}, {0, 1, 0, 2, 0}, {0, 2, 0, 2, 0}, {0, 3, 0, 2, 0}, {0, 4, 0, 2, 0}, {0, 5, 0, 2, 0},
    {0, 6, 0, 2, 0}, {0, 7, 0, 2, 0}, {0, 8, 0, 2, 0}, {0, 9, 0, 2, 2}, {0, 10, 0, 2, 2},
};

uint32_t port_index(uint32_t port) {
    uint32_t i = 0;
    while (i < static_cast<uint32_t>(numOfAllThePortsCns) && allThePorts[i] != port) ++i;
    return i;
}

}  // namespace esw

extern "C" ESW_EXPORT int32_t mrvl_get_phy_port_map(EswPortMapEntry** tableOut, uint32_t* countOut) {
    // Null out-pointers are skipped rather than written through.
    if (tableOut != nullptr) *tableOut = esw::eswPortMap;
    if (countOut != nullptr) *countOut = esw::kPortCount;
    return 0;
}
