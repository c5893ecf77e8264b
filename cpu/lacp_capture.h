// Internal view of the LACP capture interfaces: the per-port records the receive thread fills and
// the pieces of its loop, for the bring-up and for white-box tests.
#pragma once

#include <pcap/pcap.h>

#include <cstddef>
#include <cstdint>

#include "driver/esw_driver.h"

namespace esw {

inline constexpr std::size_t kLacpInterfaceCount = 8;  // one per user port, port = index + 1
inline constexpr uint32_t kLacpFrameMax = 1522;        // bytes a record can hold
inline constexpr std::size_t kLacpNameSize = 20;

// Set to "1" when the interfaces are opened to have each frame handed over as soon as it arrives
// instead of in batches at the end of the read timeout.
inline constexpr const char* kLacpImmediateEnv = "ESW_LACP_IMMEDIATE";

}  // namespace esw

// One capture interface. Filled by init_lacp_interfaces and opened by open_all_lacp_interfaces
// before the receive thread starts; after that only the receive thread touches length, frame and
// ready, and the command thread only reads pcap and ifIndex.
struct LacpCaptureIf {
    pcap_t* pcap;                       // null until opened
    uint32_t length;                    // bytes held in frame
    uint8_t frame[esw::kLacpFrameMax];  // all zero between frames
    uint32_t ifIndex;
    int32_t fd;  // selectable descriptor, -1 until opened
    char ifName[esw::kLacpNameSize];
    uint32_t ready;  // readable and not yet delivered
};

extern "C" {
extern LacpCaptureIf lacpCaptureIfs[esw::kLacpInterfaceCount];
extern int32_t lacpMaxFd;  // highest fd among the opened records, -1 before

// Blocks until a capture descriptor is readable; marks those records ready. Returns select's result.
int32_t wait_lacp_interfaces(int32_t maxFd);
// libpcap's per-frame handler; user is the record of the interface.
void capture_lacp_packet(u_char* user, const struct pcap_pkthdr* header, const u_char* bytes);
}
