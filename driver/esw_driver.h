/* The switch driver's exported surface: what a host that loads libswitch_soho_driver.so may call
 * and read. Everything else in the library is internal. */
#ifndef ESW_DRIVER_ESW_DRIVER_H
#define ESW_DRIVER_ESW_DRIVER_H

#include <stdint.h>
#include <sys/time.h>

#include "driver/esw_commands.h"
#include "driver/esw_records.h"
#include "driver/esw_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ESW_EXPORT
#define ESW_EXPORT __attribute__((visibility("default")))
#endif

typedef struct pcap pcap_t;

/* Module entry and device operations. */
ESW_EXPORT int32_t mrvl_esw_devmain(void);
ESW_EXPORT int32_t mrvl_esw_open(EswFrameworkHandle* handle, const char* path);
ESW_EXPORT EswFrameworkHandle* mrvl_esw_close(EswFrameworkHandle* handle);
ESW_EXPORT int32_t mrvl_esw_ioctl(EswFrameworkHandle* handle, uint32_t cmd, void* arg);

/* Ports, paths and helpers. */
ESW_EXPORT int32_t getPortNumByName(const char* path, uint32_t* portOut);
ESW_EXPORT int32_t mrvl_get_phy_port_map(EswPortMapEntry** tableOut, uint32_t* countOut);
ESW_EXPORT float timedifference_msec(struct timeval t0, struct timeval t1);
ESW_EXPORT uint32_t mrvl_esw_show_global_info(void* arg);
ESW_EXPORT uint32_t mrvl_get_sfp_info_ioctl(uint32_t dev, uint32_t port, void* arg);

/* Trace facility. */
ESW_EXPORT void kpmdTrace(uint32_t moduleId, uint32_t level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
ESW_EXPORT void kpmdTraceInit(void);
ESW_EXPORT void kpmdTraceSetGlobalEnable(uint32_t enable);
ESW_EXPORT uint32_t kpmdTraceSetFilterLevel(uint32_t level);
ESW_EXPORT uint32_t kpmdTraceSetModule(uint32_t moduleId, uint32_t enable, uint32_t level);
ESW_EXPORT void kpmdTraceSetAllModulesEnable(uint32_t enable);
ESW_EXPORT uint32_t kpmdTraceIsEnable(uint32_t moduleId, uint32_t level);
ESW_EXPORT void kpmdTraceShowModuleIdDb(void);

/* Bring-up. */
ESW_EXPORT int32_t initKPMD(void);
ESW_EXPORT void initKpmdPcl(uint8_t device);

/* CPU packet path. */
ESW_EXPORT int32_t mrvl_esw_cpu_rx_callback(uint32_t ifIndex, uint16_t length, uint8_t* frame);
ESW_EXPORT pcap_t* get_pcap_from_ifindex(uint32_t ifIndex);
ESW_EXPORT void mrvl_cpu_clear_stats(void);

/* Port management. */
ESW_EXPORT uint32_t mrvl_esw_get_link_state(uint32_t dev, uint32_t port, uint32_t* linkUp);
ESW_EXPORT uint32_t mrvl_esw_get_speed_type(uint32_t dev, uint32_t port, uint32_t* speedType);
ESW_EXPORT uint32_t mrvl_esw_get_media_type(uint8_t dev, uint32_t port, uint32_t* media);
ESW_EXPORT uint32_t mrvl_esw_clear_counters(uint32_t dev, uint32_t port);
ESW_EXPORT int32_t mrvl_set_link_speed_led(void);
ESW_EXPORT int32_t mrvl_set_port_speed_led(int32_t port);
ESW_EXPORT int32_t set_speed_led_based_on_link_state(int32_t fpgaDevice, int32_t port, int32_t linkUp,
                                                     int32_t code);

/* VLANs. */
ESW_EXPORT uint32_t mrvl_esw_allow_vlan_on_dataplane_port(uint32_t dev, uint32_t vlan);
ESW_EXPORT uint32_t file_exists(const char* path);
ESW_EXPORT uint32_t platform_supports_switching(void);

/* Command handlers, in the argument forms of the dispatcher. */
ESW_EXPORT uint32_t mrvl_esw_set_link_type(uint32_t dev, uint32_t port, uint32_t linkType);     /* F7 */
ESW_EXPORT uint32_t mrvl_esw_get_nic_stats(EswFrameworkHandle* handle, void* arg);              /* F3 */
ESW_EXPORT uint32_t mrvl_get_nic_link_ioctl(uint32_t dev, uint32_t port, void* arg);            /* F1 */
ESW_EXPORT uint32_t mrvl_esw_clear_nic_stats(EswFrameworkHandle* handle);                       /* F9 */
ESW_EXPORT uint32_t mrvl_esw_set_nic_status(uint32_t dev, uint32_t port, void* value);          /* F1 */
ESW_EXPORT uint32_t mrvl_esw_get_mru(EswFrameworkHandle* handle, void* arg);                    /* F3 */
ESW_EXPORT uint32_t mrvl_esw_set_mru(EswFrameworkHandle* handle, int32_t value);                /* F8 */
ESW_EXPORT uint32_t mrvl_esw_add_egress_vlan_tag_mode(EswFrameworkHandle* handle, void* arg);   /* F3 */
ESW_EXPORT uint32_t mrvl_esw_remove_egress_vlan_tag_mode(EswFrameworkHandle* handle, void* arg);/* F3 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_forward_filter_cfg(uint32_t dev, uint32_t port, void* arg,
                                                      uint32_t cmd);                            /* F2 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_cpu_tx(EswFrameworkHandle* handle, uint32_t cmd, void* arg); /* F4 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_reg_cpu_rx_callback(EswFrameworkHandle* handle, uint32_t cmd,
                                                       void* arg);                              /* F4 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_clr_cpu_stats(EswFrameworkHandle* handle, uint32_t cmd,
                                                 void* arg);                                    /* F4 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_portchannel_cfg(EswFrameworkHandle* handle, uint32_t cmd,
                                                   void* arg);                                  /* F4 */
ESW_EXPORT uint32_t mrvl_esw_set_nic_max_cap(EswFrameworkHandle* handle, void* arg);            /* F3 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_static_mac_cfg(uint32_t dev, uint32_t port, void* arg,
                                                  uint32_t cmd);                                /* F2 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_access_mode(uint32_t dev, uint32_t port);        /* F6 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_trunk_mode(uint32_t dev, uint32_t port);         /* F6 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_to_protected_mode(uint32_t dev, uint32_t port,
                                                              void* arg);                       /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_add_vlan(uint32_t dev, void* arg);                           /* F5 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_vlan(uint32_t dev, void* arg);                        /* F5 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_to_aport(uint32_t dev, uint32_t port, void* arg);   /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_reset_vlan_of_aport(uint32_t dev, uint32_t port, void* arg); /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_add_port_to_vlan(uint32_t dev, uint32_t port, void* arg);    /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_remove_port_from_vlan(uint32_t dev, uint32_t port, void* arg); /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_add_native_vlan(uint32_t dev, uint32_t port, void* arg); /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_tport_remove_native_vlan(uint32_t dev, uint32_t port,
                                                            void* arg);                         /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_monitor(uint32_t dev, uint32_t port, void* arg);    /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_get_eee(uint32_t dev, uint32_t port, void* arg);             /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_eee(uint32_t dev, uint32_t port, void* arg);             /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_config_storm_control(uint32_t dev, uint32_t port, void* arg);/* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_get_storm_control_status(uint32_t dev, uint32_t port,
                                                            void* arg);                         /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_security(uint32_t dev, uint32_t port, void* arg);   /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_mac_learning(uint32_t dev, uint32_t port, void* arg);    /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_flush_mac_cfg(uint32_t dev, uint32_t port, void* arg,
                                                 uint32_t cmd);                                 /* F2 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_max_num_mac(uint32_t dev, uint32_t port, void* arg);     /* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_age_time(uint32_t dev, void* arg);                       /* F5 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_populate_vlan_mac_db(uint32_t dev, uint32_t port, void* arg);/* F1 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_port_l2_mode(uint32_t dev, uint32_t port, void* arg,
                                                uint32_t cmd);                                  /* F2 */
ESW_EXPORT uint32_t mrvl_esw_ioctl_set_vlan_forwarding_mode(uint32_t dev, void* arg);           /* F5 */

/* Exported data. */
typedef struct EswDeviceInfo {
    const uint32_t* ports; /* the device's user-port table */
    uint8_t count;
    uint8_t flag; /* 1 once filled */
    uint8_t zero[6];
} EswDeviceInfo;
ESW_STATIC_ASSERT(sizeof(EswDeviceInfo) == 16, "EswDeviceInfo size");
ESW_STATIC_ASSERT(offsetof(EswDeviceInfo, count) == 8, "EswDeviceInfo.count");
ESW_STATIC_ASSERT(offsetof(EswDeviceInfo, flag) == 9, "EswDeviceInfo.flag");

ESW_EXPORT extern void* devtab[16];
ESW_EXPORT extern const uint8_t allThePorts[11];
ESW_EXPORT extern const int32_t numOfAllThePortsCns;
ESW_EXPORT extern const uint32_t userPorts[8];
ESW_EXPORT extern const int32_t numOfUserPortsCns;
ESW_EXPORT extern const uint8_t DataPlanePort;
ESW_EXPORT extern const uint8_t ControlPlanePort;
ESW_EXPORT extern EswDeviceInfo kpmdDeviceInfo;
ESW_EXPORT extern uint64_t uc_mac_acl_handle_p[1];
ESW_EXPORT extern uint64_t mc_mac_acl_handle_p[1];
ESW_EXPORT extern EswCpuPortStats eswCpuStats[25];
ESW_EXPORT extern uint32_t __SymbolTable;
ESW_EXPORT extern uint32_t __SymbolTableLength;

/* Slots of devtab that the module entry fills. */
#define ESW_DEVTAB_OPEN 11
#define ESW_DEVTAB_CLOSE 12
#define ESW_DEVTAB_IOCTL 15

#ifdef __cplusplus
}
#endif

#endif
