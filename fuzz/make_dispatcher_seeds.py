#!/usr/bin/env python3
"""Writes the seed corpus of dispatcher_fuzzer: one well-formed request per command of the range,
a null request per command, a failing first chip call per command, and receive-dispatch inputs.
The layout is the one dispatcher_fuzzer.cpp reads."""
import os
import struct
import sys

out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "corpus", "dispatcher_fuzzer")
os.makedirs(out, exist_ok=True)

MAC_MC = bytes([0x01, 0x00, 0x5E, 0x00, 0x00, 0x01])
MAC_UC = bytes([0x00, 0x11, 0x22, 0x33, 0x44, 0x55])


def static_mac(mac, vlan, group=0):
    return mac + b"\0\0" + struct.pack("<I", vlan) + b"\0" * 8 + struct.pack("<I", group)


# A request that takes each command down its main path (VLAN 100 exists in the seeds' model).
REQUESTS = {
    0x2000: struct.pack("<Q", 11),            # NIC_LNK_TYPE value
    0x2004: struct.pack("<Q", 1),             # NIC_STATUS value
    0x2007: struct.pack("<Q", 9000),          # NIC_SET_MAX_FRM_LEN value
    0x2008: struct.pack("<q", 103),
    0x2009: struct.pack("<q", 100),
    0x200A: struct.pack("<I", 5),
    0x200B: struct.pack("<IH", 1003, 64) + bytes(range(64)),
    0x200E: struct.pack("<HHII", 2, 0, 1, 3),
    0x200F: struct.pack("<HHII", 2, 0, 3, 4),
    0x2016: struct.pack("<I", 1),
    0x2017: struct.pack("<I", 8),
    0x2019: static_mac(MAC_MC, 105, 7),
    0x201A: static_mac(MAC_MC, 100),
    0x2023: struct.pack("<I", 7),
    0x2035: static_mac(MAC_UC, 100),
    0x2036: static_mac(MAC_UC, 100),
    0x2037: static_mac(MAC_UC, 100),
    0x2038: static_mac(MAC_UC, 100),
    0x202E: struct.pack("<I", 4),
    0x2030: struct.pack("<H", 4),
    0x2031: bytes([2, 100]),
    0x2032: bytes([1, 0, 0, 0]) + struct.pack("<I", 0),
    0x2033: bytes([1]),
    0x2034: bytes([0]),
    0x203A: struct.pack("<H", 4095),
    0x203B: struct.pack("<H", 956),
    0x203D: struct.pack("<I", 101),
    0x203E: struct.pack("<I", 1001),
    0x203F: struct.pack("<IB3x", 3, 1),
}
for cmd in range(0x2024, 0x202C):
    REQUESTS[cmd] = struct.pack("<I", 100)
REQUESTS[0x2039] = struct.pack("<I", 100)


def seed(port, cmd_index, request, faults=(), null=False, model=0x03, path_mode=0):
    body = bytes([path_mode, port]) + struct.pack("<H", cmd_index) + bytes([model, len(faults)])
    for call, result, nth in faults:
        body += bytes([call]) + struct.pack("<h", result) + bytes([nth, 0]) + struct.pack("<I", 0)
    body += bytes([0x00 if null else 0xFF]) + request
    return body


for k in range(64):
    cmd = 0x2000 + k
    req = REQUESTS.get(cmd, b"\0" * 8)
    with open(os.path.join(out, f"cmd_{cmd}"), "wb") as f:
        f.write(seed(3, k, req))
    with open(os.path.join(out, f"cmd_{cmd}_null"), "wb") as f:
        f.write(seed(3, k, b"", null=True))
    # The first call of host_abi.h's chip-access list fails: index 10 is peridot_init_reg, so use
    # a spread of call indexes instead to reach the failure branches of different handlers.
    with open(os.path.join(out, f"cmd_{cmd}_fault"), "wb") as f:
        f.write(seed(3, k, req, faults=[(23 + k % 60, 0, 1)]))

# Ports outside the switch, a cpu path, the receive dispatch.
with open(os.path.join(out, "port_200_link"), "wb") as f:
    f.write(seed(200, 2, b"\0" * 28, path_mode=1))
for name, if_index in (("rx_port3", 1003), ("rx_slot0", 5), ("rx_slot2_port9", 2009), ("rx_zero", 0)):
    body = bytes([0, 10]) + struct.pack("<H", 0xE000) + bytes([0, 0, 1]) + struct.pack("<IH", if_index, 60)
    with open(os.path.join(out, name), "wb") as f:
        f.write(body + bytes(range(60)))
