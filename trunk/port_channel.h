// The two port-channel workers behind mrvl_esw_ioctl_portchannel_cfg. Internal to the library
// (hidden); declared here so that the handler's file and white-box tests share one signature.
#pragma once

#include <cstdint>

#include "driver/esw_types.h"

extern "C" {
// IOCTL_SW_TRUNK_MEMBERS_SET: removes the request's whole channel. 0 or 1.
uint32_t mrvl_esw_trunk_members_set(const EswPortHandle* portHandle, uint32_t cmd, void* arg);
// IOCTL_SW_TRUNK_MEMBER_CFG: adds the request's member port to its channel or removes it. 0 or 1.
uint32_t mrvl_esw_trunk_member_cfg(const EswPortHandle* portHandle, uint32_t cmd, void* arg);
}
