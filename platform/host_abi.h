// Interfaces the host process provides to the switch driver. The library calls these and defines
// none of them: they stay undefined in the shared object and bind, at load time, to whatever host
// loads it (the appliance's port manager, or the simulated host in sim/). This is the only place
// that declares them.
#ifndef ESW_PLATFORM_HOST_ABI_H
#define ESW_PLATFORM_HOST_ABI_H

#include <stdint.h>

#include "driver/esw_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Device framework, platform log */
int32_t announce(const char* name, void* table); /* result not examined */
void zel_syslog(int32_t level, const char* module, const char* location, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/* Chip vendor driver */
typedef struct QdDevice {
    uint32_t numOfPorts; /* chip port count (11 on this chip); further members are the chip driver's */
} QdDevice;

extern QdDevice* qddev; /* valid after a successful qdInit; may be null */
int32_t qdInit(void);   /* 0 = success */
int32_t hwSetAnyRegField(QdDevice* dev, uint8_t port, uint8_t regAddr, uint8_t fieldOffset,
                         uint8_t fieldLength, uint16_t data); /* 0 = success */
int32_t pcap_rmuOpenEthDevice(int32_t id);                    /* 0 = success */

/* Interface-index and CPU-channel services, FPGA */
uint32_t if_index_phy_ethernet_get(uint32_t slot, uint32_t port);
int32_t if_index_phy_eth_get_slot(uint32_t ifIndex, uint32_t* slot); /* 0 = success */
int32_t if_index_phy_eth_get_port(uint32_t ifIndex, uint32_t* port); /* 0 = success */
EswFrameworkHandle* get_channel_cpu_port(void);
int32_t lib_fpga_reg_read(int32_t device, uint32_t reg, uint32_t* value); /* 0 = success */
int32_t lib_fpga_reg_write(int32_t device, uint32_t reg, uint32_t value); /* 0 = success */

/* Chip-access layer: bring-up */
uint8_t peridot_init_reg(uint8_t dev, uint8_t a, uint8_t b); /* non-zero = success */
uint8_t peridot_vodSet(uint8_t dev, uint8_t port);
uint8_t peridot_set_rmu_mode(uint8_t dev, uint8_t a, uint8_t b, uint8_t c);
uint8_t peridot_set_learning(uint8_t dev, uint8_t enable);
uint8_t peridot_disable_atu_learning(uint8_t dev, uint8_t port);
uint8_t peridot_enable_atu_learning(uint8_t dev, uint8_t port);
int32_t asic_enable_8021q_mode(uint8_t dev, uint8_t port);
int32_t asic_set_storm_control_unicast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                       uint32_t arg5, uint8_t enable); /* byte result */
int32_t asic_set_storm_control_multicast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                         uint32_t arg5, uint8_t enable); /* byte result */
int32_t asic_set_storm_control_broadcast(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                         uint32_t arg5, uint8_t enable); /* byte result */
int32_t asic_enable_span_storm_port(uint8_t dev, uint8_t port, uint8_t mode, uint32_t rate,
                                    uint32_t arg5, uint8_t enable); /* byte result */
int32_t asic_create_vlan(uint8_t dev, uint32_t vlan);
int32_t asic_delete_vlan(uint8_t dev, uint32_t vlan);
int32_t asic_vlan_exists(uint8_t dev, uint32_t vlan);
int32_t asic_set_port_allowed_vlan(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag);
uint8_t peridot_add_vlan_forlldp_dsa(uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort,
                                     uint8_t flag);
uint8_t peridot_add_vlan_forlacp_dsa(uint8_t dev, uint32_t vlan, uint8_t port, uint8_t cpuPort,
                                     uint8_t flag);
uint8_t peridot_set_ARPwoBC_reg(uint8_t dev); /* result ignored */
uint64_t asic_get_acl_handle(uint8_t dev, uint8_t listId);

/* Chip-access layer: port management */
int32_t asic_allow_unicast(uint8_t dev, uint8_t port, uint8_t enable);
int32_t asic_allow_multicast(uint8_t dev, uint8_t port, uint8_t enable);
int32_t asic_allow_broadcast(uint8_t dev, uint8_t port, uint8_t enable);
int32_t asic_enable_receive(uint8_t dev, uint8_t port, uint8_t enable);
int32_t asic_enable_transmit(uint8_t dev, uint8_t port, uint8_t enable);
uint8_t peridot_port_power_down(uint8_t dev, uint8_t port, uint8_t powerDown);
uint8_t peridot_set_port_portstate(uint8_t dev, uint8_t port, uint8_t state);
uint8_t peridot_set_port_mtu(uint8_t dev, uint8_t port, uint32_t mtu);
uint8_t peridot_get_port_mtu(uint8_t dev, uint8_t port, uint32_t* mtu);
uint8_t peridot_set_port_auto_mode(uint8_t dev, uint8_t port, uint8_t mode);
uint8_t peridot_set_port_phy_speed(uint8_t dev, uint8_t port, uint8_t speed);
uint8_t peridot_set_port_speed(uint8_t dev, uint8_t port, uint32_t speed);
uint8_t peridot_set_duplex_mode(uint8_t dev, uint8_t port, uint8_t duplex);
uint8_t peridot_set_cmode_2p5G(uint8_t dev, uint8_t port);
uint8_t peridot_get_link_state(uint8_t dev, uint8_t port, uint32_t* state);
uint8_t peridot_get_speed(uint8_t dev, uint8_t port, uint32_t* speed);
uint8_t peridot_get_duplex_mode(uint8_t dev, uint8_t port, uint32_t* duplex);
uint8_t peridot_get_port_counters(uint8_t dev, uint8_t port, EswChipCounters* record);
uint8_t peridot_flush_port_counters(uint8_t dev, uint8_t port);
int32_t peridot_port_led1_set(uint8_t dev, uint8_t port, uint8_t mode); /* 1 = success */

/* Chip-access layer: port channels, mirroring */
int32_t asic_remove_ether_channel(uint8_t dev, uint16_t channel);
int32_t asic_set_port_ether_channel(uint8_t dev, uint8_t port, uint16_t channel);
int32_t asic_remove_port_ether_channel(uint8_t dev, uint8_t port, uint16_t channel);
int32_t asic_delete_span_dest_port(uint8_t dev, uint8_t session, uint8_t port); /* low byte 1 */
int32_t asic_add_span_dest_ports(uint8_t dev, uint8_t session, uint8_t port, uint8_t arg4);
int32_t asic_delete_span_source_port(uint8_t dev, uint8_t session, uint8_t arg3, uint8_t arg4,
                                     uint8_t port, uint8_t mode);
int32_t asic_add_span_source_port(uint8_t dev, uint8_t session, uint8_t arg3, uint8_t arg4,
                                  uint8_t port, uint8_t mode);

/* Chip-access layer: VLANs and port modes */
uint8_t peridot_set_port_allowed_vlan(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag);
uint8_t peridot_set_tagging_on_port(uint8_t dev, uint8_t port, uint32_t vlan, uint8_t flag);
uint8_t peridot_set_default_source_vlan_id(uint8_t dev, uint8_t port, uint32_t vlan);
uint8_t peridot_set_allow_native(uint8_t dev, uint8_t port, uint8_t flag);
uint8_t peridot_allow_priority_tagged(uint8_t dev, uint8_t port, uint8_t flag);
uint8_t peridot_enable_8021q_mode(uint8_t dev, uint8_t port);
uint8_t peridot_disable_8021q_mode(uint8_t dev, uint8_t port);
int32_t asic_enable_protected_port(uint8_t dev, uint32_t protectValue);
uint8_t peridot_dsamode_enable(uint8_t dev, uint8_t port, uint8_t mode);
int32_t asic_peridot_set_ethertype(uint8_t dev, uint32_t port, uint32_t ethertype); /* 0 = success */
int32_t asic_peridot_double_tagging(uint8_t dev, uint32_t vlan, uint32_t port, uint8_t dataPlanePort);
int32_t peridot_port_vlan_map(uint32_t dev, uint32_t port, uint32_t portSet); /* 1 = success */
int32_t asic_allow_priority_tagged(uint8_t dev, uint8_t port, uint8_t flag);
int32_t asic_acl_add_port(uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result);
int32_t asic_acl_remove_port(uint8_t dev, uint64_t* handleSlot, uint8_t port, uint32_t* result);
int32_t asic_set_vlan_forwarding_mode(uint8_t dev, uint8_t port, uint32_t modeValue, uint8_t modeFlag);

/* Chip-access layer: storm control, EEE, address table */
uint8_t peridot_set_storm_control_unicast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate,
                                          uint8_t arg5, uint8_t arg6, uint8_t enable);
uint8_t peridot_set_storm_control_multicast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate,
                                            uint8_t arg5, uint8_t arg6, uint8_t enable);
uint8_t peridot_set_storm_control_broadcast(uint8_t dev, uint8_t port, uint8_t mode, uint8_t rate,
                                            uint8_t arg5, uint8_t arg6, uint8_t enable);
uint8_t peridot_reset_storm_counters(uint8_t dev, uint8_t port, uint8_t kind);
uint8_t peridot_storm_control_check(uint8_t dev, uint8_t port, uint32_t kind, uint32_t* first,
                                    uint32_t* second, uint32_t* status);
int32_t peridot_get_force_eee(uint8_t dev, uint8_t port, uint16_t* first, uint16_t* second);
int32_t peridot_set_force_eee(uint8_t dev, uint8_t port, uint8_t mode); /* low byte 1 */
int32_t asic_vlan_install_mac_addr(uint8_t dev, uint16_t vlan, const uint8_t* mac,
                                   EswMacDestination* dest, uint32_t a, uint32_t b, uint32_t c,
                                   uint32_t d);
int32_t asic_vlan_uninstall_mac_addr(uint8_t dev, uint16_t vlan, const uint8_t* mac, uint32_t arg4);
int32_t asic_delete_all_mac_addresses_vlan(uint8_t dev, uint32_t vlan);
uint8_t peridot_set_SA_filtering(uint8_t dev, uint8_t port, uint8_t on);
uint8_t peridot_set_mac_learning(uint8_t dev, uint8_t port, uint8_t on);
uint8_t peridot_set_port_maximum_num_mac(uint8_t dev, uint8_t port, uint16_t limit);
uint8_t peridot_set_global_age(uint8_t dev, uint16_t ageTime);
uint8_t peridot_get_dynamic_mac_addresses_port(uint8_t dev, uint8_t port, void* buffer);

#ifdef __cplusplus
}
#endif

#endif
