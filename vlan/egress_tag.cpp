// Egress VLAN tag mode. On platforms that do not run the front panel as a switch, each
// front-panel port double-tags its traffic toward the data-plane port with a VLAN of its own and
// has its 802.1Q mode off; the two internal ports are prepared by the same command given a
// negative VLAN value.
#include <sys/stat.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "driver/internal.h"
#include "vlan/request.h"
#include "vlan/sequence.h"
#include "vlan/switching.h"

#ifndef ESW_CONFIG_DIR
#define ESW_CONFIG_DIR "/opt/ostrel/config"
#endif

namespace {

using esw::vlan::Log;
using esw::vlan::Marker;

struct MarkerRule {
    Marker marker;
    const char* file;
    uint32_t switching;  // the answer when this marker is the first one found
};
// Looked for in this order; the first present decides. The enable marker wins over the disable
// marker, and neither means switching off.
constexpr std::array<MarkerRule, 2> kMarkerRules{{
    {Marker::enable, "enable_switching.dat", 1},
    {Marker::disable, "disable_switching.dat", 0},
}};
constexpr uint32_t kNoMarkerSwitching = 0;

constexpr uint8_t kControlPlaneDsaMode = 2;
constexpr uint32_t kTagEthertype = 0x8100;  // IEEE 802.1Q tag protocol identifier
constexpr uint32_t kDataPlaneVlan = 1;

const char* config_dir() {
    const char* override_dir = std::getenv("ESW_CONFIG_DIR_OVERRIDE");
    return override_dir != nullptr && override_dir[0] != '\0' ? override_dir : ESW_CONFIG_DIR;
}

// The control-plane port keeps its 802.1Q mode and gets no double tagging: it carries DSA-tagged
// frames with the standard tag ethertype.
uint32_t prepare_control_plane_port(uint8_t dev, uint32_t port) {
    std::printf("%s:%d \n", "mrvl_esw_add_egress_vlan_tag_mode", __LINE__);
    std::fflush(stdout);
    if (peridot_dsamode_enable(dev, static_cast<uint8_t>(port), kControlPlaneDsaMode) != 1) {
        const esw::Where where{"%s:%d: port %u, dsa mode not set"};
        Log::error(where, "mrvl_esw_add_egress_vlan_tag_mode", static_cast<int>(where.loc.line()), port);
        return 1;
    }
    Log::error("mrvl_esw_add_egress_vlan_tag_mode -  no need to enable double tagging \n");
    const int32_t status = asic_peridot_set_ethertype(dev, port, kTagEthertype);
    if (status == 0) return 0;
    const esw::Where where{"%s:%d: device %u port %u, tag ethertype not set, status %d"};
    Log::error(where, "mrvl_esw_add_egress_vlan_tag_mode", static_cast<int>(where.loc.line()),
               static_cast<unsigned>(dev), port, status);
    return 1;
}

}  // namespace

namespace esw::vlan {

bool switching_marker_path(Marker marker, char* out, std::size_t size) {
    const MarkerRule& rule = kMarkerRules[static_cast<std::size_t>(marker)];
    const int length = std::snprintf(out, size, "%s/%s", config_dir(), rule.file);
    return length >= 0 && static_cast<std::size_t>(length) < size;
}

}  // namespace esw::vlan

extern "C" {

ESW_EXPORT uint32_t file_exists(const char* path) {
    struct stat info {};
    return path != nullptr && stat(path, &info) == 0 ? 1 : 0;
}

// Read afresh on every call: a marker created or deleted at run time counts from the next command.
ESW_EXPORT uint32_t platform_supports_switching(void) {
    for (const MarkerRule& rule : kMarkerRules) {
        char path[PATH_MAX];
        // A path too long for the system is one that stat could not find either.
        if (esw::vlan::switching_marker_path(rule.marker, path, sizeof path) && file_exists(path) != 0)
            return rule.switching;
    }
    return kNoMarkerSwitching;
}

ESW_EXPORT uint32_t mrvl_esw_add_egress_vlan_tag_mode(EswFrameworkHandle* handle, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr || arg == nullptr) {
        Log::error("mrvl_esw_add_egress_vlan_tag_mode: no open port or no request");
        return 1;
    }
    if (platform_supports_switching() != 0) return 0;

    const auto dev = static_cast<uint8_t>(record->devNum);
    const uint32_t port = record->portNum;
    // All eight bytes are read; the low 32 bits are the value, signed.
    const auto raw = esw::vlan::request_field<int64_t>(arg, offsetof(EswEgressTagRequest, vlanId));
    const auto value = static_cast<int32_t>(static_cast<uint32_t>(raw));
    // Negative values fall outside both per-port ranges and go on unchanged.
    const uint32_t chipVlan = mrvl_esw_translate_vlan_id(static_cast<uint32_t>(value));

    if (value < 0 && port == DataPlanePort) {
        EswVlanRequest vlan1{kDataPlaneVlan};
        if (!Log::ok(esw::Expect::zero, mrvl_esw_ioctl_add_vlan(dev, &vlan1),
                     "mrvl_esw_add_egress_vlan_tag_mode: value %d, vlan 1 not created for the data plane, "
                     "status %d",
                     value))
            return 1;
    } else if (value < 0 && port == ControlPlanePort) {
        return prepare_control_plane_port(dev, port);
    }
    if (port != DataPlanePort && port != ControlPlanePort) {
        const int32_t status = asic_peridot_double_tagging(dev, chipVlan, port, DataPlanePort);
        if (status != 1) {
            Log::error(
                "mrvl_esw_add_egress_vlan_tag_mode: port %u, double tagging not set, status %d, vlan %u",
                port, status, chipVlan);
            return 1;
        }
    }
    if (!Log::ok(peridot_disable_8021q_mode(dev, static_cast<uint8_t>(port)),
                 "mrvl_esw_add_egress_vlan_tag_mode: port %u, 802.1q mode not disabled, status %d", port))
        return 1;
    return 0;
}

// Never consults the markers and never translates: the port leaves exactly the VLAN named.
ESW_EXPORT uint32_t mrvl_esw_remove_egress_vlan_tag_mode(EswFrameworkHandle* handle, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr || arg == nullptr) {
        Log::error("mrvl_esw_remove_egress_vlan_tag_mode: no open port or no request");
        return 1;
    }
    const auto dev = static_cast<uint8_t>(record->devNum);
    const uint32_t port = record->portNum;
    const auto vlan =
        static_cast<uint32_t>(esw::vlan::request_field<int64_t>(arg, offsetof(EswEgressTagRequest, vlanId)));
    if (asic_vlan_exists(dev, vlan) == 0) return 1;
    const uint8_t status = peridot_set_port_allowed_vlan(dev, static_cast<uint8_t>(port), vlan, 0);
    if (status == 1) return 0;
    const esw::Where where{"%s:%d: port %u cannot leave vlan, status %d, vlan %u"};
    Log::error(where, "mrvl_esw_remove_egress_vlan_tag_mode", static_cast<int>(where.loc.line()), port,
               static_cast<int>(status), vlan);
    return 1;
}

}  // extern "C"
