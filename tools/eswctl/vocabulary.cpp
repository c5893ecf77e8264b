#include "tools/eswctl/vocabulary.h"

#include <strings.h>

#include "driver/esw_commands.h"

namespace eswctl {

#define ESWCTL_COMMAND(name, form) \
    CommandName { name, #name, ArgForm::form }

const std::array<CommandName, 63> kCommandNames = {{
    ESWCTL_COMMAND(NIC_LNK_TYPE, value),
    ESWCTL_COMMAND(NIC_STATS, buffer),
    ESWCTL_COMMAND(NIC_LINK, buffer),
    ESWCTL_COMMAND(NIC_CLR_STATS, buffer),
    ESWCTL_COMMAND(NIC_STATUS, value),
    ESWCTL_COMMAND(NIC_GET_SFP_INFO, buffer),
    ESWCTL_COMMAND(NIC_GET_MAX_FRM_LEN, buffer),
    ESWCTL_COMMAND(NIC_SET_MAX_FRM_LEN, value),
    ESWCTL_COMMAND(NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE, buffer),
    ESWCTL_COMMAND(NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE, buffer),
    ESWCTL_COMMAND(NIC_MC_MODE, buffer),
    ESWCTL_COMMAND(IOCTL_SW_CPU_TX, buffer),
    ESWCTL_COMMAND(IOCTL_SW_REG_CPU_RX_CALLBACK, callback),
    ESWCTL_COMMAND(IOCTL_SW_CLR_CPU_STATS, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TRUNK_MEMBERS_SET, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TRUNK_MEMBER_CFG, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_TOS_PORT_PORT_FWDING, buffer),
    ESWCTL_COMMAND(IOCTL_SW_REM_TOS_PORT_PORT_FWDING, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_ETYPE_PORT_REDIRECT, buffer),
    ESWCTL_COMMAND(IOCTL_SW_REMOVE_ETYPE_PORT_REDIRECT, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_CCL_PORT_REDIRECT, buffer),
    ESWCTL_COMMAND(IOCTL_SW_REMOVE_CCL_PORT_REDIRECT, buffer),
    ESWCTL_COMMAND(NIC_SET_MAX_CAP, buffer),
    ESWCTL_COMMAND(NIC_MODE, buffer),
    ESWCTL_COMMAND(NIC_SETMAC, buffer),
    ESWCTL_COMMAND(NIC_REG_MC_HW, buffer),
    ESWCTL_COMMAND(NIC_UNREG_MC_HW, buffer),
    ESWCTL_COMMAND(NIC_SET_MAC_TABLE, buffer),
    ESWCTL_COMMAND(NIC_SET_MCAST_MAC_TABLE, buffer),
    ESWCTL_COMMAND(NIC_SHOW_SWITCH_GLOBAL_INFO, buffer),
    ESWCTL_COMMAND(IOCTL_GET_SWDRV_DBG_CNTRS, buffer),
    ESWCTL_COMMAND(IOCTL_DBG_GET_PHY_REGS, buffer),
    ESWCTL_COMMAND(IOCTL_SW_PORT_MODE_ACCESS, buffer),
    ESWCTL_COMMAND(IOCTL_SW_PORT_MODE_TRUNK, buffer),
    ESWCTL_COMMAND(IOCTL_SW_PORT_MODE_PROTECTED, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_NEW_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_REMOVE_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_APORT_ADD_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_APORT_REMOVE_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TPORT_ADD_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TPORT_REMOVE_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TPORT_ADD_NATIVE_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ENABLE_CPU_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_DISABLE_CPU_VLAN, buffer),
    ESWCTL_COMMAND(IOCTL_SW_PORT_MONITOR, buffer),
    ESWCTL_COMMAND(IOCTL_GET_EEE_STATUS, buffer),
    ESWCTL_COMMAND(IOCTL_SET_EEE_MODE, buffer),
    ESWCTL_COMMAND(IOCTL_SW_CONFIG_STORM_CTRL, buffer),
    ESWCTL_COMMAND(IOCTL_GET_STORM_CTRL_STATUS, buffer),
    ESWCTL_COMMAND(IOCTL_SET_PORT_SECURITY, buffer),
    ESWCTL_COMMAND(IOCTL_SET_MAC_LEARNING, buffer),
    ESWCTL_COMMAND(IOCTL_SW_DEL_DATAPLANE_MAC, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_DATAPLANE_MAC, buffer),
    ESWCTL_COMMAND(IOCTL_SW_ADD_PORT_MAC, buffer),
    ESWCTL_COMMAND(IOCTL_SW_DEL_PORT_MAC, buffer),
    ESWCTL_COMMAND(IOCTL_SW_FLUSH_VLAN_MACS, buffer),
    ESWCTL_COMMAND(IOCTL_SET_MAX_NUM_MAC, buffer),
    ESWCTL_COMMAND(IOCTL_SET_AGE_TIME, buffer),
    ESWCTL_COMMAND(IOCTL_POPULATE_VLAN_MAC_DB, buffer),
    ESWCTL_COMMAND(IOCTL_SET_PORT_L2_MODE, buffer),
    ESWCTL_COMMAND(IOCTL_REMOVE_PORT_L2_MODE, buffer),
    ESWCTL_COMMAND(IOCTL_SET_VLAN_MODE, buffer),
}};

#undef ESWCTL_COMMAND

std::optional<uint32_t> link_type_by_token(std::string_view token) {
    for (const LinkType& t : kLinkTypes)
        if (token == t.token) return t.code;
    return std::nullopt;
}

std::string link_type_text(uint32_t code) {
    return code < kLinkTypes.size() ? kLinkTypes[code].text : "code " + std::to_string(code);
}

const CommandName* command_by_number(uint32_t number) {
    for (const CommandName& c : kCommandNames)
        if (c.number == number) return &c;
    return nullptr;
}

const CommandName* command_by_name(std::string_view name) {
    for (const CommandName& c : kCommandNames) {
        const std::string_view n = c.name;
        if (n.size() == name.size() && strncasecmp(n.data(), name.data(), n.size()) == 0) return &c;
    }
    return nullptr;
}

std::string command_label(uint32_t number) {
    const CommandName* c = command_by_number(number);
    return c ? c->name : std::to_string(number);
}

}  // namespace eswctl
