// The CPU path: transmit of control frames, the receive dispatch toward the host's callback, the
// callback's registration and the CPU counters.
//
// Two threads share eswCpuStats and the registered callback without a lock: the host's command
// thread (transmit, registration, clearing) and the receive thread (dispatch). Every access to
// either is a relaxed atomic operation on the plain fields, so the host still reads the counters
// in place with the layout it knows, and no count is lost when both threads count at once.
#include <array>
#include <atomic>
#include <cstring>

#include "cpu/lacp_capture.h"
#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"
#include "platform/host_abi.h"

extern "C" {
ESW_EXPORT EswCpuPortStats eswCpuStats[25] = {};
}
static_assert(sizeof(eswCpuStats) == 700, "the host reads the 25 entries in place");

namespace {

using Log = esw::Log<esw::Src::cpu>;

constexpr uint32_t kEntryCount = 25;
constexpr uint32_t kPortsPerSlot = 16;
constexpr uint32_t kMaxSlot = 2;
constexpr uint32_t kUnattributed = 0;  // entry of events that name no usable port
constexpr uint32_t kLinkUp = 1;

constexpr std::array<uint32_t EswCpuPortStats::*, 7> kCounters = {
    &EswCpuPortStats::txPackets,  &EswCpuPortStats::txDrops, &EswCpuPortStats::txBytes,
    &EswCpuPortStats::rxPackets,  &EswCpuPortStats::rxDrops, &EswCpuPortStats::rxBytes,
    &EswCpuPortStats::spareCount,
};
static_assert(kCounters.size() * sizeof(uint32_t) == sizeof(EswCpuPortStats));

static_assert(std::atomic_ref<uint32_t>::required_alignment <= alignof(uint32_t));
static_assert(std::atomic_ref<EswRxCallback>::required_alignment <= alignof(EswRxCallback));

// The entry of a slot and port. Slots 0 to 2 pass the transmit check, but slot 0 and slot 2 with a
// port above 8 (and any unchecked slot on receive) land outside the 25 entries: such events are
// counted in entry 0 with the other events that cannot be attributed to a port.
uint32_t entry_of(uint32_t slot, uint32_t port) {
    const uint32_t n = (slot - 1) * kPortsPerSlot + port;
    return n < kEntryCount ? n : kUnattributed;
}

void count(uint32_t EswCpuPortStats::*counter, uint32_t entry, uint32_t amount = 1) {
    std::atomic_ref<uint32_t>(eswCpuStats[entry].*counter).fetch_add(amount, std::memory_order_relaxed);
}

// The receive thread reads the callback of the CPU channel's record straight through priv: the
// table that esw::port_handle consults belongs to the command thread.
EswRxCallback registered_callback(const EswFrameworkHandle* channel) {
    if (channel == nullptr || channel->priv == nullptr) return nullptr;
    auto* record = static_cast<EswPortHandle*>(channel->priv);
    return std::atomic_ref<EswRxCallback>(record->rxCallback).load(std::memory_order_relaxed);
}

}  // namespace

extern "C" {

// A CPU channel that is missing (null handle or no record behind it) leaves no port to charge,
// so the frame is counted as a drop in entry 0.
ESW_EXPORT int32_t mrvl_esw_cpu_rx_callback(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    const EswFrameworkHandle* channel = get_channel_cpu_port();
    uint32_t slot = 0;
    uint32_t port = 0;
    if (ifIndex == 0 || if_index_phy_eth_get_slot(ifIndex, &slot) != 0 ||
        if_index_phy_eth_get_port(ifIndex, &port) != 0) {
        count(&EswCpuPortStats::rxDrops, kUnattributed);
        return 0;
    }
    const uint32_t n = entry_of(slot, port);
    if (channel == nullptr || channel->priv == nullptr) {
        count(&EswCpuPortStats::rxDrops, kUnattributed);
        return 0;
    }
    const EswRxCallback callback = registered_callback(channel);
    if (callback == nullptr) {
        count(&EswCpuPortStats::rxDrops, n);
        return 0;
    }
    count(&EswCpuPortStats::rxPackets, n);
    count(&EswCpuPortStats::rxBytes, n, length);
    callback(ifIndex, length, frame);
    return 0;
}

ESW_EXPORT uint32_t mrvl_esw_ioctl_cpu_tx(EswFrameworkHandle* handle, uint32_t /*cmd*/, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        count(&EswCpuPortStats::txDrops, kUnattributed);
        Log::error("%s: no open port behind the handle", "mrvl_esw_ioctl_cpu_tx");
        return 1;
    }
    const uint32_t dev = record->devNum;
    const auto* request = static_cast<const EswCpuTxRequest*>(arg);
    if (request == nullptr) {
        count(&EswCpuPortStats::txDrops, kUnattributed);
        Log::error("%s: no request", "mrvl_esw_ioctl_cpu_tx");
        return 1;
    }
    const uint32_t ifIndex = request->ifIndex;
    const uint16_t length = request->length;

    uint32_t slot = 0;
    if (!Log::ok(esw::Expect::zero, if_index_phy_eth_get_slot(ifIndex, &slot),
                 "%s: no slot for interface index %u, status %d", "mrvl_esw_ioctl_cpu_tx", ifIndex)) {
        count(&EswCpuPortStats::txDrops, kUnattributed);
        return 1;
    }
    uint32_t port = 0;
    if (!Log::ok(esw::Expect::zero, if_index_phy_eth_get_port(ifIndex, &port),
                 "%s: no port for interface index %u, status %d", "mrvl_esw_ioctl_cpu_tx", ifIndex)) {
        count(&EswCpuPortStats::txDrops, kUnattributed);
        return 1;
    }
    if (slot > kMaxSlot) {
        count(&EswCpuPortStats::txDrops, kUnattributed);
        Log::error("%s: slot %u is above %u", "mrvl_esw_ioctl_cpu_tx", slot, kMaxSlot);
        return 1;
    }
    const uint32_t n = entry_of(slot, port);

    pcap_t* pcap = get_pcap_from_ifindex(ifIndex);
    if (pcap == nullptr) {
        Log::error("%s: no capture interface has interface index %u", "mrvl_esw_ioctl_cpu_tx", ifIndex);
        return 1;
    }
    uint32_t link = 0;
    const uint32_t linkStatus = mrvl_esw_get_link_state(dev, port, &link);
    if (linkStatus != 0 || link != kLinkUp) {
        count(&EswCpuPortStats::txDrops, n);
        return linkStatus;
    }
    // Sent straight from the host's request: nothing is copied or allocated per frame.
    if (pcap_inject(pcap, request->frame, length) == -1) {
        Log::error("%s: sending on interface index %u failed: %s", "mrvl_esw_ioctl_cpu_tx", ifIndex,
                   pcap_geterr(pcap));
        count(&EswCpuPortStats::txDrops, n);
        return 0;
    }
    count(&EswCpuPortStats::txPackets, n);
    count(&EswCpuPortStats::txBytes, n, length);
    return 0;
}

// The callback lives in the record of the handle it came through; a null arg removes it.
ESW_EXPORT uint32_t mrvl_esw_ioctl_reg_cpu_rx_callback(EswFrameworkHandle* handle, uint32_t /*cmd*/,
                                                       void* arg) {
    EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("%s: no open port behind the handle", "mrvl_esw_ioctl_reg_cpu_rx_callback");
        return 1;
    }
    std::atomic_ref<EswRxCallback>(record->rxCallback)
        .store(reinterpret_cast<EswRxCallback>(arg), std::memory_order_relaxed);
    return 0;
}

// The host learns the counters' address only here. A request without a slot to write it to is
// refused before anything is cleared, like every other refused request.
ESW_EXPORT uint32_t mrvl_esw_ioctl_clr_cpu_stats(EswFrameworkHandle* /*handle*/, uint32_t /*cmd*/,
                                                 void* arg) {
    if (arg == nullptr) {
        Log::error("%s: no slot for the counters' address", "mrvl_esw_ioctl_clr_cpu_stats");
        return 1;
    }
    mrvl_cpu_clear_stats();
    EswCpuPortStats* const stats = mrvl_cpu_get_stats();
    std::memcpy(arg, &stats, sizeof stats);  // the host's slot need not be aligned
    return 0;
}

ESW_EXPORT void mrvl_cpu_clear_stats(void) {
    for (EswCpuPortStats& entry : eswCpuStats)
        for (uint32_t EswCpuPortStats::*counter : kCounters)
            std::atomic_ref<uint32_t>(entry.*counter).store(0, std::memory_order_relaxed);
}

EswCpuPortStats* mrvl_cpu_get_stats(void) { return eswCpuStats; }

}  // extern "C"
