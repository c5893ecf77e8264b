// Port channels: membership lives in the chip, so each request is one chip call and nothing is
// remembered here.
#include "trunk/port_channel.h"

#include <array>
#include <cstdint>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::trunk>;

using MemberCall = int32_t (*)(uint8_t dev, uint8_t port, uint16_t channel);

// The member operations the host may ask for; 3 and 4 are the host's second spelling of 1 and 2.
struct MemberOperation {
    uint32_t operation;
    MemberCall call;
};
constexpr std::array<MemberOperation, 4> kMemberOperations{{
    {1, asic_set_port_ether_channel},
    {2, asic_remove_port_ether_channel},
    {3, asic_set_port_ether_channel},
    {4, asic_remove_port_ether_channel},
}};

const MemberOperation* find_member_operation(uint32_t operation) {
    for (const MemberOperation& row : kMemberOperations)
        if (row.operation == operation) return &row;
    return nullptr;
}

using Worker = uint32_t (*)(const EswPortHandle* portHandle, uint32_t cmd, void* arg);

struct ChannelCommand {
    uint32_t cmd;
    Worker worker;
};
constexpr std::array<ChannelCommand, 2> kChannelCommands{{
    {IOCTL_SW_TRUNK_MEMBERS_SET, mrvl_esw_trunk_members_set},
    {IOCTL_SW_TRUNK_MEMBER_CFG, mrvl_esw_trunk_member_cfg},
}};

uint8_t device_of(const EswPortHandle* portHandle) { return static_cast<uint8_t>(portHandle->devNum); }

}  // namespace

// The request is read only after it is known to exist: a host that sends none is refused with a
// record instead of a crash.
extern "C" uint32_t mrvl_esw_trunk_members_set(const EswPortHandle* portHandle, uint32_t /*cmd*/, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_trunk_members_set: no request");
        return 1;
    }
    const auto* request = static_cast<const EswTrunkRequest*>(arg);
    const uint16_t channel = request->channelId;
    if (!Log::ok(asic_remove_ether_channel(device_of(portHandle), channel),
                 "mrvl_esw_trunk_members_set: remove channel %u, status %d", channel))
        return 1;
    return 0;
}

extern "C" uint32_t mrvl_esw_trunk_member_cfg(const EswPortHandle* portHandle, uint32_t /*cmd*/, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_trunk_member_cfg: no request");
        return 1;
    }
    const auto* request = static_cast<const EswTrunkRequest*>(arg);
    const uint16_t channel = request->channelId;
    const uint32_t operation = request->operation;
    const uint32_t memberPort = request->memberPort;
    const MemberOperation* row = find_member_operation(operation);
    if (row == nullptr) {
        Log::error("mrvl_esw_trunk_member_cfg: operation %u refused", operation);
        return 1;
    }
    if (!Log::ok(row->call(device_of(portHandle), static_cast<uint8_t>(memberPort), channel),
                 "mrvl_esw_trunk_member_cfg: operation %u port %u channel %u, status %d", operation,
                 memberPort, channel))
        return 1;
    return 0;
}

// Called directly as well as through the dispatcher, so a handle without a live port record is
// refused here rather than read through.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_portchannel_cfg(EswFrameworkHandle* handle, uint32_t cmd,
                                                              void* arg) {
    const EswPortHandle* portHandle = esw::port_handle(handle);
    if (portHandle == nullptr) {
        Log::error("mrvl_esw_ioctl_portchannel_cfg: command %u on a handle without an open port", cmd);
        return 1;
    }
    for (const ChannelCommand& command : kChannelCommands) {
        if (command.cmd != cmd) continue;
        const uint32_t result = command.worker(portHandle, cmd, arg);
        if (result != 0)
            Log::error("mrvl_esw_ioctl_portchannel_cfg: command %u failed, result %u", cmd, result);
        return result;
    }
    return 1;
}
