// The chip's address table: static entries, the VLAN flush, the learning settings and the copy of
// a port's learned addresses. The entries live in the chip; the driver keeps nothing between
// commands. Static entries and the flush always address switch device 0.
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

#include "driver/esw_alloc.h"
#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::ioctl>;

constexpr uint8_t kTableDevice = 0;
constexpr uint8_t kGroupBit = 0x01;  // bit 0 of the first address byte: a multicast address
// The trailing arguments of every install, and the last one of every uninstall: the chip-access
// layer's contract, passed as they are.
constexpr uint32_t kInstallArgA = 1;
constexpr uint32_t kInstallArgRest = 0;
constexpr uint32_t kUninstallArg = 0;

// ---- static entries ---------------------------------------------------------------------------

enum class EntryAction : uint8_t { install, uninstall };

// Where an installed entry forwards to.
enum class Destination : uint8_t {
    none,           // uninstall
    by_group_word,  // the data-plane port, plus the handle's port or the group word for multicast
    data_plane,     // the data-plane port alone
    handle_port,    // the handle's port alone
};

struct StaticEntryCommand {
    uint32_t cmd;
    bool hostVlan;  // the VLAN id is the host's per-port number and goes through translation
    bool refuseBroadcast;
    EntryAction action;
    Destination destination;
};
constexpr std::array<StaticEntryCommand, 6> kStaticEntryCommands{{
    {NIC_REG_MC_HW, true, true, EntryAction::install, Destination::by_group_word},
    {NIC_UNREG_MC_HW, true, true, EntryAction::uninstall, Destination::none},
    {IOCTL_SW_DEL_DATAPLANE_MAC, false, false, EntryAction::uninstall, Destination::none},
    {IOCTL_SW_ADD_DATAPLANE_MAC, false, false, EntryAction::install, Destination::data_plane},
    {IOCTL_SW_ADD_PORT_MAC, false, false, EntryAction::install, Destination::handle_port},
    {IOCTL_SW_DEL_PORT_MAC, false, false, EntryAction::uninstall, Destination::none},
}};

const StaticEntryCommand* find_static_entry_command(uint32_t cmd) {
    for (const StaticEntryCommand& row : kStaticEntryCommands)
        if (row.cmd == cmd) return &row;
    return nullptr;
}

bool is_broadcast(const uint8_t* mac) {
    for (int i = 0; i < 6; ++i)
        if (mac[i] != 0xFF) return false;
    return true;
}

// The destination record of one command and everything hung on it. Released whatever path the
// handler leaves by, so neither the record nor its lists can outlive the command.
class DestinationRecord {
public:
    DestinationRecord() : record_(static_cast<EswMacDestination*>(esw::zalloc(sizeof(EswMacDestination)))) {}
    ~DestinationRecord() {
        if (record_ == nullptr) return;
        esw::release(record_->ports);
        esw::release(record_->groupWord);
        esw::release(record_);
    }
    DestinationRecord(const DestinationRecord&) = delete;
    DestinationRecord& operator=(const DestinationRecord&) = delete;

    EswMacDestination* get() const { return record_; }

private:
    EswMacDestination* record_;
};

// Fills the destination of an install. False (logged) when an allocation fails.
bool build_destination(EswMacDestination* dest, Destination kind, const EswStaticMacRequest* request,
                       uint32_t port) {
    const uint8_t handlePort = static_cast<uint8_t>(port);
    uint8_t extraPort = 0;
    dest->portCount = 1;
    if (kind == Destination::by_group_word && (request->mac[0] & kGroupBit) != 0) {
        const uint32_t groupWord = request->groupWord;
        if (groupWord != 0) {
            dest->groupWord = static_cast<uint32_t*>(esw::zalloc(sizeof(uint32_t)));
            if (dest->groupWord == nullptr) {
                Log::error("mrvl_esw_ioctl_static_mac_cfg: no memory for the group word");
                return false;
            }
            *dest->groupWord = groupWord;
            dest->groupFlag = 1;
        } else {
            dest->portCount = 2;
            extraPort = handlePort;
        }
    }
    dest->ports = static_cast<EswMacPortEntry*>(esw::zalloc(dest->portCount * sizeof(EswMacPortEntry)));
    if (dest->ports == nullptr) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: no memory for %u destination ports", dest->portCount);
        return false;
    }
    dest->ports[0] = {kTableDevice, kind == Destination::handle_port ? handlePort : DataPlanePort};
    if (dest->portCount == 2) dest->ports[1] = {kTableDevice, extraPort};
    return true;
}

// ---- settings ---------------------------------------------------------------------------------

enum class Field : uint8_t { first_byte, first_word };

struct Setting {
    const char* handler;
    Field field;
    uint16_t min;
    uint16_t max;
};
enum SettingId : std::size_t { kPortSecurity, kMacLearning, kMacLimit, kAgeTime };
constexpr std::array<Setting, 4> kSettings{{
    {"mrvl_esw_ioctl_set_port_security", Field::first_byte, 0, 1},
    {"mrvl_esw_ioctl_set_mac_learning", Field::first_byte, 0, 1},
    {"mrvl_esw_ioctl_set_max_num_mac", Field::first_word, 0, 4095},
    {"mrvl_esw_ioctl_set_age_time", Field::first_word, 1, 956},
}};

// The setting's value from the start of the host's buffer, or nothing when the buffer is missing
// (silently) or the value is outside the accepted range (logged).
std::optional<uint16_t> accepted_setting(SettingId id, const void* arg) {
    if (arg == nullptr) return std::nullopt;
    const Setting& setting = kSettings[id];
    uint16_t value = 0;
    if (setting.field == Field::first_byte) {
        value = *static_cast<const uint8_t*>(arg);
    } else {
        std::memcpy(&value, arg, sizeof value);
    }
    if (value < setting.min || value > setting.max) {
        Log::error("%s: value %u refused", setting.handler, static_cast<unsigned>(value));
        return std::nullopt;
    }
    return value;
}

}  // namespace

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_static_mac_cfg(uint32_t /*dev*/, uint32_t port, void* arg,
                                                             uint32_t cmd) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: no request for command %u", cmd);
        return 1;
    }
    const DestinationRecord destination;
    if (destination.get() == nullptr) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: no memory for the destination record");
        return 1;
    }
    const auto* request = static_cast<const EswStaticMacRequest*>(arg);
    const uint8_t* mac = request->mac;  // handed to the chip layer in place
    const StaticEntryCommand* command = find_static_entry_command(cmd);
    uint32_t vlan = request->vlanId;
    if (command != nullptr && command->hostVlan) vlan = mrvl_esw_translate_vlan_id(vlan);
    if (asic_vlan_exists(kTableDevice, vlan) == 0) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: VLAN %u does not exist", vlan);
        return 1;
    }
    if (command == nullptr) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: command %u refused", cmd);
        return 1;
    }
    if (command->refuseBroadcast && is_broadcast(mac)) {
        Log::error("mrvl_esw_ioctl_static_mac_cfg: the broadcast address is refused");
        return 1;
    }
    // The chip-access layer takes the VLAN as 16 bits; the existence check above saw all 32.
    const auto chipVlan = static_cast<uint16_t>(vlan);
    int32_t result = 0;
    if (command->action == EntryAction::install) {
        if (!build_destination(destination.get(), command->destination, request, port)) return 1;
        result = asic_vlan_install_mac_addr(kTableDevice, chipVlan, mac, destination.get(), kInstallArgA,
                                            kInstallArgRest, kInstallArgRest, kInstallArgRest);
    } else {
        result = asic_vlan_uninstall_mac_addr(kTableDevice, chipVlan, mac, kUninstallArg);
    }
    if (!Log::ok(result, "mrvl_esw_ioctl_static_mac_cfg: command %u VLAN %u, status %d", cmd, vlan)) return 1;
    return 0;
}

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_flush_mac_cfg(uint32_t /*dev*/, uint32_t /*port*/, void* arg,
                                                            uint32_t cmd) {
    if (arg == nullptr) {
        Log::error("mrvl_esw_ioctl_flush_mac_cfg: no request for command %u", cmd);
        return 1;
    }
    const uint32_t vlan = static_cast<const EswVlanRequest*>(arg)->vlanId;
    if (asic_vlan_exists(kTableDevice, vlan) == 0) {
        Log::error("mrvl_esw_ioctl_flush_mac_cfg: VLAN %u does not exist", vlan);
        return 1;
    }
    if (cmd != IOCTL_SW_FLUSH_VLAN_MACS) {
        Log::error("mrvl_esw_ioctl_flush_mac_cfg: command %u refused", cmd);
        return 1;
    }
    if (!Log::ok(asic_delete_all_mac_addresses_vlan(kTableDevice, vlan),
                 "mrvl_esw_ioctl_flush_mac_cfg: VLAN %u, status %d", vlan))
        return 1;
    return 0;
}

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_port_security(uint32_t dev, uint32_t port, void* arg) {
    const std::optional<uint16_t> on = accepted_setting(kPortSecurity, arg);
    if (!on) return 1;
    if (!Log::ok(peridot_set_SA_filtering(static_cast<uint8_t>(dev), static_cast<uint8_t>(port),
                                          static_cast<uint8_t>(*on)),
                 "mrvl_esw_ioctl_set_port_security: port %u, status %d", port))
        return 1;
    return 0;
}

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_mac_learning(uint32_t dev, uint32_t port, void* arg) {
    const std::optional<uint16_t> on = accepted_setting(kMacLearning, arg);
    if (!on) return 1;
    if (!Log::ok(peridot_set_mac_learning(static_cast<uint8_t>(dev), static_cast<uint8_t>(port),
                                          static_cast<uint8_t>(*on)),
                 "mrvl_esw_ioctl_set_mac_learning: port %u, status %d", port))
        return 1;
    return 0;
}

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_max_num_mac(uint32_t dev, uint32_t port, void* arg) {
    const std::optional<uint16_t> limit = accepted_setting(kMacLimit, arg);
    if (!limit) return 1;
    if (!Log::ok(
            peridot_set_port_maximum_num_mac(static_cast<uint8_t>(dev), static_cast<uint8_t>(port), *limit),
            "mrvl_esw_ioctl_set_max_num_mac: port %u, status %d", port))
        return 1;
    return 0;
}

extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_set_age_time(uint32_t dev, void* arg) {
    const std::optional<uint16_t> ageTime = accepted_setting(kAgeTime, arg);
    if (!ageTime) return 1;
    if (!Log::ok(peridot_set_global_age(static_cast<uint8_t>(dev), *ageTime),
                 "mrvl_esw_ioctl_set_age_time: age time %u, status %d", static_cast<unsigned>(*ageTime)))
        return 1;
    return 0;
}

// The buffer's layout is agreed between the host and the chip-access layer; it passes through.
extern "C" ESW_EXPORT uint32_t mrvl_esw_ioctl_populate_vlan_mac_db(uint32_t dev, uint32_t port, void* arg) {
    if (arg == nullptr) return 1;
    if (!Log::ok(peridot_get_dynamic_mac_addresses_port(static_cast<uint8_t>(dev), static_cast<uint8_t>(port),
                                                        arg),
                 "mrvl_esw_ioctl_populate_vlan_mac_db: port %u, status %d", port))
        return 1;
    return 0;
}
