// Operations that one subsystem of the library calls in another but that the host never sees.
// They have hidden visibility: the version script keeps them out of the dynamic symbol table.
#pragma once

#include <array>
#include <cstdint>

#include "driver/esw_driver.h"

extern "C" {
// cpu/: the LACP capture interfaces and the receive thread.
void init_lacp_interfaces(void);
int32_t open_all_lacp_interfaces(void);
void* rx_poll_task(void* arg);
EswCpuPortStats* mrvl_cpu_get_stats(void);

// vlan/: the host's per-port VLAN numbers 101..108 and 1001..1008 as chip VLAN ids.
uint32_t mrvl_esw_translate_vlan_id(uint32_t vlanId);

// port/: refreshes one port's record of the counter cache.
uint32_t mrvl_esw_read_port_counters(uint32_t dev, uint32_t port);
}

namespace esw {

inline constexpr uint32_t kPortCount = 11;
inline constexpr uint32_t kUserPortCount = 8;

// The port-map table handed out by mrvl_get_phy_port_map.
extern EswPortMapEntry eswPortMap[kPortCount];

// Index of `port` in allThePorts, or numOfAllThePortsCns when the port is unknown.
uint32_t port_index(uint32_t port);

// The port handle behind a framework handle, or null when the handle holds no live record.
EswPortHandle* port_handle(const EswFrameworkHandle* handle);

}  // namespace esw
