// The LACP capture interfaces lacp-swp1..8 and the receive thread that waits on all eight and
// hands each frame to the receive dispatch.
#include "cpu/lacp_capture.h"

#include <sys/select.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "driver/esw_log.h"
#include "driver/internal.h"
#include "platform/host_abi.h"

extern "C" {
LacpCaptureIf lacpCaptureIfs[esw::kLacpInterfaceCount] = {};
int32_t lacpMaxFd = -1;
}

namespace {

using Log = esw::Log<esw::Src::init>;

constexpr uint32_t kCaptureSlot = 1;
constexpr int kSnapLength = 65536;
constexpr int kPromiscuous = 1;
constexpr int kReadTimeoutMs = 1000;
// A wait or read that keeps failing (a descriptor gone bad, an interface removed) would otherwise
// turn the receive thread into a busy loop that floods the log and holds a core.
constexpr auto kErrorPause = std::chrono::milliseconds(10);

bool immediate_requested() {
    const char* value = std::getenv(esw::kLacpImmediateEnv);
    return value != nullptr && std::strcmp(value, "1") == 0;
}

// The same settings as the default open, plus delivery of every frame as it arrives. On failure
// the handle is closed and errbuf holds the reason.
pcap_t* open_immediate(const char* name, char* errbuf) {
    pcap_t* pcap = pcap_create(name, errbuf);
    if (pcap == nullptr) return nullptr;
    int status = pcap_set_snaplen(pcap, kSnapLength);
    if (status == 0) status = pcap_set_promisc(pcap, kPromiscuous);
    if (status == 0) status = pcap_set_timeout(pcap, kReadTimeoutMs);
    if (status == 0) status = pcap_set_immediate_mode(pcap, 1);
    if (status == 0) status = pcap_activate(pcap);
    if (status >= 0) return pcap;  // a positive status is a warning: the handle works
    const char* reason = pcap_geterr(pcap);
    if (reason == nullptr || reason[0] == '\0') reason = pcap_statustostr(status);
    std::snprintf(errbuf, PCAP_ERRBUF_SIZE, "%s", reason);
    pcap_close(pcap);
    return nullptr;
}

// Opens one record's interface; on any failure logs, closes what it opened and leaves the record
// unopened, so a record is either fully usable or has no handle at all.
bool open_interface(LacpCaptureIf& rec, bool immediate) {
    char errbuf[PCAP_ERRBUF_SIZE] = {};
    pcap_t* pcap = immediate ? open_immediate(rec.ifName, errbuf)
                             : pcap_open_live(rec.ifName, kSnapLength, kPromiscuous, kReadTimeoutMs, errbuf);
    if (pcap == nullptr) {
        Log::error("%s: cannot open %s: %s", "open_all_lacp_interfaces", rec.ifName, errbuf);
        return false;
    }
    // A read on an interface whose frame was dropped earlier must not hold up the other seven.
    if (pcap_setnonblock(pcap, 1, errbuf) != 0) {
        Log::error("%s: cannot open %s: %s", "open_all_lacp_interfaces", rec.ifName, errbuf);
        pcap_close(pcap);
        return false;
    }
    const int fd = pcap_get_selectable_fd(pcap);
    if (fd == -1) {
        Log::error("%s: %s has no selectable descriptor", "open_all_lacp_interfaces", rec.ifName);
        pcap_close(pcap);
        return false;
    }
    // select cannot watch a descriptor beyond its set; FD_SET on it would write past the set.
    if (fd >= FD_SETSIZE) {
        Log::error("%s: %s has descriptor %d, beyond what select can watch", "open_all_lacp_interfaces",
                   rec.ifName, fd);
        pcap_close(pcap);
        return false;
    }
    rec.pcap = pcap;
    rec.fd = fd;
    if (fd > lacpMaxFd) lacpMaxFd = fd;
    return true;
}

bool watchable(const LacpCaptureIf& rec) { return rec.fd >= 0 && rec.fd < FD_SETSIZE; }

}  // namespace

extern "C" {

// A record that is already open keeps its handle: the bring-up is not meant to run twice, and if
// it does, neither leaking the handle nor closing it under the receive thread is acceptable.
void init_lacp_interfaces(void) {
    Log::error("%s: filling the capture records", "init_lacp_interfaces");
    for (std::size_t i = 0; i < esw::kLacpInterfaceCount; ++i) {
        LacpCaptureIf& rec = lacpCaptureIfs[i];
        const auto port = static_cast<uint32_t>(i + 1);
        rec.ifIndex = if_index_phy_ethernet_get(kCaptureSlot, port);
        if (rec.pcap == nullptr) rec.fd = -1;
        rec.length = 0;
        std::memset(rec.frame, 0, sizeof rec.frame);
        rec.ready = 0;
        std::snprintf(rec.ifName, sizeof rec.ifName, "lacp-swp%u", port);
    }
}

int32_t open_all_lacp_interfaces(void) {
    const bool immediate = immediate_requested();
    for (LacpCaptureIf& rec : lacpCaptureIfs) {
        if (rec.pcap != nullptr) continue;
        if (!open_interface(rec, immediate)) return 1;
    }
    return 0;
}

ESW_EXPORT pcap_t* get_pcap_from_ifindex(uint32_t ifIndex) {
    for (const LacpCaptureIf& rec : lacpCaptureIfs)
        if (rec.ifIndex == ifIndex) return rec.pcap;
    return nullptr;
}

int32_t wait_lacp_interfaces(int32_t maxFd) {
    fd_set readable;
    FD_ZERO(&readable);
    for (const LacpCaptureIf& rec : lacpCaptureIfs)
        if (watchable(rec)) FD_SET(rec.fd, &readable);
    const int limit = maxFd < FD_SETSIZE ? maxFd + 1 : FD_SETSIZE;
    const int n = select(limit, &readable, nullptr, nullptr, nullptr);
    if (n > 0)
        for (LacpCaptureIf& rec : lacpCaptureIfs)
            if (watchable(rec) && FD_ISSET(rec.fd, &readable)) rec.ready = 1;
    return n;
}

void* rx_poll_task(void* /*arg*/) {
    for (;;) {
        const int32_t n = wait_lacp_interfaces(lacpMaxFd);
        if (n < 0) {
            Log::error("%s: waiting for frames failed, result %d", "rx_poll_task", n);
            std::this_thread::sleep_for(kErrorPause);
            continue;
        }
        if (n == 0) continue;
        bool failed = false;
        // At most one frame per interface and pass, in port order.
        for (LacpCaptureIf& rec : lacpCaptureIfs) {
            if (rec.ready == 0 || rec.pcap == nullptr) continue;
            const int got = pcap_dispatch(rec.pcap, 1, capture_lacp_packet, reinterpret_cast<u_char*>(&rec));
            if (got < 0) {
                Log::error("%s: reading %s failed, result %d", "rx_poll_task", rec.ifName, got);
                failed = true;
            }
        }
        if (failed) std::this_thread::sleep_for(kErrorPause);
    }
}

void capture_lacp_packet(u_char* user, const struct pcap_pkthdr* header, const u_char* bytes) {
    auto* rec = reinterpret_cast<LacpCaptureIf*>(user);
    if (rec == nullptr || header == nullptr || bytes == nullptr) return;
    // The record holds at most kLacpFrameMax bytes; a longer frame is no LACP frame and stays
    // ready so that the interface is read again in the next pass.
    if (header->caplen > esw::kLacpFrameMax) {
        Log::error("%s: frame of %u bytes is longer than %u", "capture_lacp_packet", header->caplen,
                   esw::kLacpFrameMax);
        return;
    }
    rec->length = header->caplen;
    std::memcpy(rec->frame, bytes, rec->length);
    mrvl_esw_cpu_rx_callback(rec->ifIndex, static_cast<uint16_t>(rec->length), rec->frame);
    std::memset(rec->frame, 0, sizeof rec->frame);
    rec->ready = 0;
}

}  // extern "C"
