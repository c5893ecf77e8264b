// Port mirroring: the chip-access layer holds the mirroring configuration and decides how many
// sources and destinations it takes; the driver only maps the host's operation code onto calls.
#include <array>
#include <cstdint>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"

namespace {

using Log = esw::Log<esw::Src::ioctl>;

enum class MirrorCall : uint8_t { none, stop_destination, add_destination, stop_source, add_source };

struct MirrorStep {
    MirrorCall call = MirrorCall::none;
    uint8_t sourceMode = 0;  // add_source only
};

// The mirroring session and the two further arguments of the source calls are always 0; taking a
// port out as a source always names mode 2, whichever mode it was added with.
constexpr uint8_t kSession = 0;
constexpr uint8_t kSourceArg = 0;
constexpr uint8_t kDestinationArg = 0;
constexpr uint8_t kStopSourceMode = 2;

// One row per operation code; a second step runs only when the first succeeded.
constexpr std::array<std::array<MirrorStep, 2>, 6> kMonitorOperations{{
    {{{MirrorCall::stop_destination}, {}}},
    {{{MirrorCall::add_destination}, {}}},
    {{{MirrorCall::stop_source}, {}}},
    {{{MirrorCall::add_source, 2}, {}}},
    {{{MirrorCall::stop_source}, {MirrorCall::add_source, 1}}},
    {{{MirrorCall::stop_source}, {MirrorCall::add_source, 0}}},
}};

bool make_call(MirrorStep step, uint32_t dev, uint32_t port) {
    const auto d = static_cast<uint8_t>(dev);
    const auto p = static_cast<uint8_t>(port);
    switch (step.call) {
        case MirrorCall::none:
            return true;
        case MirrorCall::stop_destination:
            return Log::ok(esw::Expect::low_byte_one, asic_delete_span_dest_port(d, kSession, p),
                           "mrvl_esw_ioctl_set_port_monitor: dev %u port %u, status %d", dev, port);
        case MirrorCall::add_destination:
            return Log::ok(asic_add_span_dest_ports(d, kSession, p, kDestinationArg),
                           "mrvl_esw_ioctl_set_port_monitor: dev %u port %u, status %d", dev, port);
        case MirrorCall::stop_source:
            return Log::ok(
                asic_delete_span_source_port(d, kSession, kSourceArg, kSourceArg, p, kStopSourceMode),
                "mrvl_esw_ioctl_set_port_monitor: dev %u port %u, status %d", dev, port);
        case MirrorCall::add_source:
            return Log::ok(asic_add_span_source_port(d, kSession, kSourceArg, kSourceArg, p, step.sourceMode),
                           "mrvl_esw_ioctl_set_port_monitor: dev %u port %u, status %d", dev, port);
    }
    return false;
}

}  // namespace

// A missing request is refused (logged, 1) instead of read through.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_monitor(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_set_port_monitor: no request for port %u", port);
        return 1;
    }
    const uint32_t code = static_cast<const EswPortMonitorRequest*>(arg)->monitorOp;
    if (code >= kMonitorOperations.size()) {
        Log::error("mrvl_esw_ioctl_set_port_monitor: operation %u refused", code);
        return 1;
    }
    for (const MirrorStep& step : kMonitorOperations[code])
        if (!make_call(step, dev, port)) return 1;
    return 0;
}
