/* Request and result records of the commands, laid out byte for byte as the host exchanges them
 * (little-endian, host byte order). Every size and offset is pinned below. */
#ifndef ESW_DRIVER_ESW_RECORDS_H
#define ESW_DRIVER_ESW_RECORDS_H

#include "driver/esw_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Host speed-type code: index of the speed/duplex name table. */
typedef enum EswSpeedType {
    ESW_SPEED_UNKNOWN = 0,
    ESW_SPEED_10_HALF = 1,
    ESW_SPEED_100_HALF = 2,
    ESW_SPEED_10_FULL = 3,
    ESW_SPEED_100_FULL = 4,
    ESW_SPEED_AUTO_AUTO = 5,
    ESW_SPEED_10_AUTO = 6,
    ESW_SPEED_100_AUTO = 7,
    ESW_SPEED_1000_AUTO = 8,
    ESW_SPEED_AUTO_FULL = 9,
    ESW_SPEED_AUTO_HALF = 10,
    ESW_SPEED_1000_FULL = 11,
    ESW_SPEED_1000_NONEG_FULL = 12,
    ESW_SPEED_10000_FULL = 13,
    ESW_SPEED_12000_FULL = 14,
    ESW_SPEED_NOSPEED = 15,
    ESW_SPEED_40000_FULL = 16,
    ESW_SPEED_2500_FULL = 17
} EswSpeedType;

/* NIC_LINK result. */
typedef struct EswLinkInfo {
    uint32_t reserved0;
    uint32_t linkUp;
    uint32_t reserved8;
    uint32_t reserved12;
    uint32_t speedType; /* EswSpeedType */
    uint8_t mediaNotOne;
    uint8_t reserved21[3];
    uint32_t mediaType;
} EswLinkInfo;

/* NIC_STATS result. Fields are named after the chip counter words (wN) they come from: the
 * meaning of each word belongs to the chip-access layer, the mapping here is by position. */
typedef struct EswNicStats {
    uint8_t reserved0[168];
    uint64_t sumW0W1W2;       /* 168: w0 + w1 + w2, 32-bit sum */
    uint64_t joinW23W27PlusW28; /* 176: (w23:w27) + w28 */
    uint64_t w65;             /* 184 */
    uint8_t reserved192[16];
    uint64_t w32;  /* 208 */
    uint64_t w2;   /* 216 */
    uint64_t w31;  /* 224 */
    uint64_t w1;   /* 232 */
    uint64_t w61;  /* 240 */
    uint64_t w12;  /* 248 */
    uint64_t w53;  /* 256 */
    uint64_t w62;  /* 264 */
    uint64_t w29;  /* 272 */
    uint64_t w41;  /* 280 */
    uint8_t reserved288[40];
    uint64_t sumW30W31W32; /* 328: w30 + w31 + w32, 32-bit sum */
    uint64_t joinW67W26;   /* 336: w67 high, w26 low */
    uint8_t reserved344[16];
    uint64_t w56; /* 360 */
    uint8_t reserved368[44];
    uint32_t w13; /* 412 */
    uint32_t w14; /* 416 */
    uint32_t reserved420;
    uint32_t w11; /* 424 */
    uint32_t w45; /* 428 */
    uint32_t w47; /* 432 */
    uint8_t reserved436[276];
} EswNicStats;

/* IOCTL_SW_CPU_TX request: a 6-byte header followed by the frame. */
typedef struct EswCpuTxRequest {
    uint32_t ifIndex;
    uint16_t length;
    uint8_t frame[];
} __attribute__((packed)) EswCpuTxRequest;

/* IOCTL_SW_TRUNK_MEMBERS_SET / IOCTL_SW_TRUNK_MEMBER_CFG request. */
typedef struct EswTrunkRequest {
    uint16_t channelId;
    uint16_t unused2;
    uint32_t operation; /* 1, 3 add; 2, 4 remove */
    uint32_t memberPort;
} EswTrunkRequest;

/* VLAN membership and L2-mode request. */
typedef struct EswVlanRequest {
    uint32_t vlanId;
} EswVlanRequest;

typedef struct EswProtectedPortRequest {
    uint32_t protectValue;
} EswProtectedPortRequest;

/* Egress tag mode request: 8 bytes, of which the low 32 bits are used, signed. */
typedef struct EswEgressTagRequest {
    int64_t vlanId;
} EswEgressTagRequest;

typedef enum EswFilterMode { ESW_FILTER_INDIVIDUAL = 5, ESW_FILTER_PROMISCUOUS = 8 } EswFilterMode;

typedef struct EswFilterModeRequest {
    uint32_t filterMode; /* EswFilterMode; every value but 5 acts as 8 */
} EswFilterModeRequest;

typedef struct EswVlanModeRequest {
    uint32_t modeValue;
    uint8_t modeFlag;
    uint8_t unused5[3];
} EswVlanModeRequest;

typedef struct EswPortMonitorRequest {
    uint32_t monitorOp; /* 0..5 */
} EswPortMonitorRequest;

typedef enum EswStormKind { ESW_STORM_UNICAST = 0, ESW_STORM_MULTICAST = 1, ESW_STORM_BROADCAST = 2 } EswStormKind;

typedef struct EswStormRequest {
    uint8_t kind; /* EswStormKind */
    uint8_t rate; /* 100 switches storm control off for the kind */
} EswStormRequest;

typedef struct EswStormStatusRequest {
    uint8_t kind;
    uint8_t unused1[3];
    uint32_t status; /* written by the chip-access layer */
} EswStormStatusRequest;

typedef struct EswEeeRequest {
    uint16_t eeeValue; /* host values 1, 2, 4; set reads only the first byte */
} EswEeeRequest;

typedef struct EswStaticMacRequest {
    uint8_t mac[6]; /* transmission order; bit 0 of byte 0 is the group bit */
    uint8_t unused6[2];
    uint32_t vlanId;
    uint8_t unused12[8];
    uint32_t groupWord; /* read by NIC_REG_MC_HW for a multicast address only */
} EswStaticMacRequest;

ESW_STATIC_ASSERT(sizeof(EswLinkInfo) == 28, "EswLinkInfo size");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, linkUp) == 4, "EswLinkInfo.linkUp");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, reserved8) == 8, "EswLinkInfo.reserved8");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, reserved12) == 12, "EswLinkInfo.reserved12");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, speedType) == 16, "EswLinkInfo.speedType");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, mediaNotOne) == 20, "EswLinkInfo.mediaNotOne");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, reserved21) == 21, "EswLinkInfo.reserved21");
ESW_STATIC_ASSERT(offsetof(EswLinkInfo, mediaType) == 24, "EswLinkInfo.mediaType");

ESW_STATIC_ASSERT(sizeof(EswNicStats) == 712, "EswNicStats size");
ESW_STATIC_ASSERT(offsetof(EswNicStats, sumW0W1W2) == 168, "EswNicStats 168");
ESW_STATIC_ASSERT(offsetof(EswNicStats, joinW23W27PlusW28) == 176, "EswNicStats 176");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w65) == 184, "EswNicStats 184");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w32) == 208, "EswNicStats 208");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w2) == 216, "EswNicStats 216");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w31) == 224, "EswNicStats 224");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w1) == 232, "EswNicStats 232");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w61) == 240, "EswNicStats 240");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w12) == 248, "EswNicStats 248");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w53) == 256, "EswNicStats 256");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w62) == 264, "EswNicStats 264");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w29) == 272, "EswNicStats 272");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w41) == 280, "EswNicStats 280");
ESW_STATIC_ASSERT(offsetof(EswNicStats, sumW30W31W32) == 328, "EswNicStats 328");
ESW_STATIC_ASSERT(offsetof(EswNicStats, joinW67W26) == 336, "EswNicStats 336");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w56) == 360, "EswNicStats 360");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w13) == 412, "EswNicStats 412");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w14) == 416, "EswNicStats 416");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w11) == 424, "EswNicStats 424");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w45) == 428, "EswNicStats 428");
ESW_STATIC_ASSERT(offsetof(EswNicStats, w47) == 432, "EswNicStats 432");

ESW_STATIC_ASSERT(sizeof(EswCpuTxRequest) == 6, "EswCpuTxRequest header size");
ESW_STATIC_ASSERT(offsetof(EswCpuTxRequest, length) == 4, "EswCpuTxRequest.length");
ESW_STATIC_ASSERT(offsetof(EswCpuTxRequest, frame) == 6, "EswCpuTxRequest.frame");
ESW_STATIC_ASSERT(sizeof(EswTrunkRequest) == 12, "EswTrunkRequest size");
ESW_STATIC_ASSERT(offsetof(EswTrunkRequest, operation) == 4, "EswTrunkRequest.operation");
ESW_STATIC_ASSERT(offsetof(EswTrunkRequest, memberPort) == 8, "EswTrunkRequest.memberPort");
ESW_STATIC_ASSERT(sizeof(EswVlanRequest) == 4, "EswVlanRequest size");
ESW_STATIC_ASSERT(sizeof(EswProtectedPortRequest) == 4, "EswProtectedPortRequest size");
ESW_STATIC_ASSERT(sizeof(EswEgressTagRequest) == 8, "EswEgressTagRequest size");
ESW_STATIC_ASSERT(sizeof(EswFilterModeRequest) == 4, "EswFilterModeRequest size");
ESW_STATIC_ASSERT(sizeof(EswVlanModeRequest) == 8, "EswVlanModeRequest size");
ESW_STATIC_ASSERT(offsetof(EswVlanModeRequest, modeFlag) == 4, "EswVlanModeRequest.modeFlag");
ESW_STATIC_ASSERT(sizeof(EswPortMonitorRequest) == 4, "EswPortMonitorRequest size");
ESW_STATIC_ASSERT(sizeof(EswStormRequest) == 2, "EswStormRequest size");
ESW_STATIC_ASSERT(offsetof(EswStormRequest, rate) == 1, "EswStormRequest.rate");
ESW_STATIC_ASSERT(sizeof(EswStormStatusRequest) == 8, "EswStormStatusRequest size");
ESW_STATIC_ASSERT(offsetof(EswStormStatusRequest, status) == 4, "EswStormStatusRequest.status");
ESW_STATIC_ASSERT(sizeof(EswEeeRequest) == 2, "EswEeeRequest size");
ESW_STATIC_ASSERT(sizeof(EswStaticMacRequest) == 24, "EswStaticMacRequest size");
ESW_STATIC_ASSERT(offsetof(EswStaticMacRequest, vlanId) == 8, "EswStaticMacRequest.vlanId");
ESW_STATIC_ASSERT(offsetof(EswStaticMacRequest, groupWord) == 20, "EswStaticMacRequest.groupWord");

#ifdef __cplusplus
}
#endif

#endif
