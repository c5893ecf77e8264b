/* Command numbers of mrvl_esw_ioctl. Numbers without a handler fall to the dispatcher's default
 * branch and fail with -1; they are listed so that a host can name them. */
#ifndef ESW_DRIVER_ESW_COMMANDS_H
#define ESW_DRIVER_ESW_COMMANDS_H

enum {
    NIC_LNK_TYPE = 0x2000,                         /* 8192 */
    NIC_STATS = 0x2001,                            /* 8193 */
    NIC_LINK = 0x2002,                             /* 8194 */
    NIC_CLR_STATS = 0x2003,                        /* 8195 */
    NIC_STATUS = 0x2004,                           /* 8196 */
    NIC_GET_SFP_INFO = 0x2005,                     /* 8197, default branch */
    NIC_GET_MAX_FRM_LEN = 0x2006,                  /* 8198 */
    NIC_SET_MAX_FRM_LEN = 0x2007,                  /* 8199 */
    NIC_MRVL_ADD_EGRESS_VLAN_TAG_MODE = 0x2008,    /* 8200 */
    NIC_MRVL_REMOVE_EGRESS_VLAN_TAG_MODE = 0x2009, /* 8201 */
    NIC_MC_MODE = 0x200A,                          /* 8202 */
    IOCTL_SW_CPU_TX = 0x200B,                      /* 8203 */
    IOCTL_SW_REG_CPU_RX_CALLBACK = 0x200C,         /* 8204 */
    IOCTL_SW_CLR_CPU_STATS = 0x200D,               /* 8205 */
    IOCTL_SW_TRUNK_MEMBERS_SET = 0x200E,           /* 8206 */
    IOCTL_SW_TRUNK_MEMBER_CFG = 0x200F,            /* 8207 */
    IOCTL_SW_ADD_TOS_PORT_PORT_FWDING = 0x2010,    /* 8208, default branch */
    IOCTL_SW_REM_TOS_PORT_PORT_FWDING = 0x2011,    /* 8209, default branch */
    IOCTL_SW_ADD_ETYPE_PORT_REDIRECT = 0x2012,     /* 8210, default branch */
    IOCTL_SW_REMOVE_ETYPE_PORT_REDIRECT = 0x2013,  /* 8211, default branch */
    IOCTL_SW_ADD_CCL_PORT_REDIRECT = 0x2014,       /* 8212, default branch */
    IOCTL_SW_REMOVE_CCL_PORT_REDIRECT = 0x2015,    /* 8213, default branch */
    NIC_SET_MAX_CAP = 0x2016,                      /* 8214 */
    NIC_MODE = 0x2017,                             /* 8215 */
    NIC_SETMAC = 0x2018,                           /* 8216, default branch */
    NIC_REG_MC_HW = 0x2019,                        /* 8217 */
    NIC_UNREG_MC_HW = 0x201A,                      /* 8218 */
    NIC_SET_MAC_TABLE = 0x201B,                    /* 8219, default branch */
    NIC_SET_MCAST_MAC_TABLE = 0x201C,              /* 8220, default branch */
    NIC_SHOW_SWITCH_GLOBAL_INFO = 0x201D,          /* 8221 */
    IOCTL_GET_SWDRV_DBG_CNTRS = 0x201E,            /* 8222, default branch */
    IOCTL_DBG_GET_PHY_REGS = 0x201F,               /* 8223, default branch; 8224 has no name */
    IOCTL_SW_PORT_MODE_ACCESS = 0x2021,            /* 8225 */
    IOCTL_SW_PORT_MODE_TRUNK = 0x2022,             /* 8226 */
    IOCTL_SW_PORT_MODE_PROTECTED = 0x2023,         /* 8227 */
    IOCTL_SW_ADD_NEW_VLAN = 0x2024,                /* 8228 */
    IOCTL_SW_REMOVE_VLAN = 0x2025,                 /* 8229 */
    IOCTL_SW_APORT_ADD_VLAN = 0x2026,              /* 8230 */
    IOCTL_SW_APORT_REMOVE_VLAN = 0x2027,           /* 8231 */
    IOCTL_SW_TPORT_ADD_VLAN = 0x2028,              /* 8232 */
    IOCTL_SW_TPORT_REMOVE_VLAN = 0x2029,           /* 8233 */
    IOCTL_SW_TPORT_ADD_NATIVE_VLAN = 0x202A,       /* 8234 */
    IOCTL_SW_TPORT_REMOVE_NATIVE_VLAN = 0x202B,    /* 8235 */
    IOCTL_SW_ENABLE_CPU_VLAN = 0x202C,             /* 8236, accepted, no action */
    IOCTL_SW_DISABLE_CPU_VLAN = 0x202D,            /* 8237, accepted, no action */
    IOCTL_SW_PORT_MONITOR = 0x202E,                /* 8238 */
    IOCTL_GET_EEE_STATUS = 0x202F,                 /* 8239 */
    IOCTL_SET_EEE_MODE = 0x2030,                   /* 8240 */
    IOCTL_SW_CONFIG_STORM_CTRL = 0x2031,           /* 8241 */
    IOCTL_GET_STORM_CTRL_STATUS = 0x2032,          /* 8242 */
    IOCTL_SET_PORT_SECURITY = 0x2033,              /* 8243 */
    IOCTL_SET_MAC_LEARNING = 0x2034,               /* 8244 */
    IOCTL_SW_DEL_DATAPLANE_MAC = 0x2035,           /* 8245 */
    IOCTL_SW_ADD_DATAPLANE_MAC = 0x2036,           /* 8246 */
    IOCTL_SW_ADD_PORT_MAC = 0x2037,                /* 8247 */
    IOCTL_SW_DEL_PORT_MAC = 0x2038,                /* 8248 */
    IOCTL_SW_FLUSH_VLAN_MACS = 0x2039,             /* 8249 */
    IOCTL_SET_MAX_NUM_MAC = 0x203A,                /* 8250 */
    IOCTL_SET_AGE_TIME = 0x203B,                   /* 8251 */
    IOCTL_POPULATE_VLAN_MAC_DB = 0x203C,           /* 8252 */
    IOCTL_SET_PORT_L2_MODE = 0x203D,               /* 8253 */
    IOCTL_REMOVE_PORT_L2_MODE = 0x203E,            /* 8254 */
    IOCTL_SET_VLAN_MODE = 0x203F                   /* 8255 */
};

#define ESW_FIRST_COMMAND 0x2000u
#define ESW_LAST_COMMAND 0x203Fu
#define ESW_COMMAND_COUNT 64u

#endif
