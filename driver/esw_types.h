/* Types that cross the boundary between the switch driver and its host, in both directions.
 * Plain C so that a host written in C can include it; x86-64 Linux (LP64). */
#ifndef ESW_DRIVER_ESW_TYPES_H
#define ESW_DRIVER_ESW_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ESW_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
extern "C" {
#else
#define ESW_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

/* The framework's record handed to open, close and every command. The library touches only priv. */
typedef struct EswFrameworkHandle {
    void* framework; /* the framework's own member: never read or written by the library */
    void* priv;      /* the library's EswPortHandle */
} EswFrameworkHandle;

/* Receives LACP frames; the frame pointer is valid only during the call. Result ignored. */
typedef int32_t (*EswRxCallback)(uint32_t ifIndex, uint16_t length, uint8_t* frame);

/* One per successful open; freed at close. */
typedef struct EswPortHandle {
    uint32_t devNum;  /* always 0: the library drives one switch device */
    uint32_t portNum; /* parsed from the open path, not validated */
    EswRxCallback rxCallback;
} EswPortHandle;

typedef struct EswPortMapEntry {
    uint32_t field0;
    uint32_t portNum;
    uint32_t field2;
    uint32_t field3;
    uint32_t mediaType;
} EswPortMapEntry;

typedef struct EswCpuPortStats {
    uint32_t txPackets;
    uint32_t txDrops;
    uint32_t txBytes;
    uint32_t rxPackets;
    uint32_t rxDrops;
    uint32_t rxBytes;
    uint32_t spareCount;
} EswCpuPortStats;

/* Records shared with the chip-access layer. */
typedef struct EswChipCounters {
    uint32_t word[68];
} EswChipCounters;

typedef struct EswMacPortEntry {
    uint8_t device;
    uint8_t port;
} EswMacPortEntry;

typedef struct EswMacDestination {
    EswMacPortEntry* ports;
    uint32_t portCount;
    uint32_t pad0; /* zero */
    uint32_t* groupWord;
    uint32_t groupFlag;
    uint32_t pad1; /* zero */
} EswMacDestination;

ESW_STATIC_ASSERT(sizeof(EswFrameworkHandle) == 16, "EswFrameworkHandle size");
ESW_STATIC_ASSERT(offsetof(EswFrameworkHandle, priv) == 8, "EswFrameworkHandle.priv");
ESW_STATIC_ASSERT(sizeof(EswPortHandle) == 16, "EswPortHandle size");
ESW_STATIC_ASSERT(offsetof(EswPortHandle, portNum) == 4, "EswPortHandle.portNum");
ESW_STATIC_ASSERT(offsetof(EswPortHandle, rxCallback) == 8, "EswPortHandle.rxCallback");
ESW_STATIC_ASSERT(sizeof(EswPortMapEntry) == 20, "EswPortMapEntry size");
ESW_STATIC_ASSERT(offsetof(EswPortMapEntry, mediaType) == 16, "EswPortMapEntry.mediaType");
ESW_STATIC_ASSERT(sizeof(EswCpuPortStats) == 28, "EswCpuPortStats size");
ESW_STATIC_ASSERT(offsetof(EswCpuPortStats, rxPackets) == 12, "EswCpuPortStats.rxPackets");
ESW_STATIC_ASSERT(offsetof(EswCpuPortStats, spareCount) == 24, "EswCpuPortStats.spareCount");
ESW_STATIC_ASSERT(sizeof(EswChipCounters) == 272, "EswChipCounters size");
ESW_STATIC_ASSERT(sizeof(EswMacPortEntry) == 2, "EswMacPortEntry size");
ESW_STATIC_ASSERT(sizeof(EswMacDestination) == 32, "EswMacDestination size");
ESW_STATIC_ASSERT(offsetof(EswMacDestination, portCount) == 8, "EswMacDestination.portCount");
ESW_STATIC_ASSERT(offsetof(EswMacDestination, pad0) == 12, "EswMacDestination.pad0");
ESW_STATIC_ASSERT(offsetof(EswMacDestination, groupWord) == 16, "EswMacDestination.groupWord");
ESW_STATIC_ASSERT(offsetof(EswMacDestination, groupFlag) == 24, "EswMacDestination.groupFlag");
ESW_STATIC_ASSERT(offsetof(EswMacDestination, pad1) == 28, "EswMacDestination.pad1");

#ifdef __cplusplus
}
#endif

#endif
