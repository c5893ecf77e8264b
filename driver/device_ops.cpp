// The device operations the framework reaches through devtab: open and close of a port handle,
// and the port path grammar (mrvl_switch/U/P, mrvl_switch/cpu/P).
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>

#include "driver/esw_alloc.h"
#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::drv>;

// Positions in a port path. The 11-character device name before the slash is not examined.
constexpr std::size_t kSlashPos = 11;
constexpr std::size_t kUnitPos = 12;
constexpr std::size_t kUnitPortPos = 14;
constexpr std::size_t kCpuPortPos = 16;
constexpr int32_t kParseOk = 0;
constexpr int32_t kParseNoSlash = 1;
constexpr int32_t kParseBadUnit = 11;
constexpr int32_t kOpenNoMemory = 28;

// Every record that open handed out and close has not yet freed, with the framework handle it was
// hung on. Close frees a record only through the handle that owns it, so a second close of the
// same handle (whose priv still points at the freed record) frees nothing, and neither does a
// stale close after the allocator reused the address for another handle's record. Open, close and
// commands run on the host's calling thread only.
std::unordered_map<const EswPortHandle*, const EswFrameworkHandle*>& live_records() {
    // Never destroyed: a record replaced by a second open stays reachable for the process's life.
    static auto* records = new std::unordered_map<const EswPortHandle*, const EswFrameworkHandle*>();
    return *records;
}

// atoi as glibc does it, without atoi's undefined behaviour on overflow: strtol saturates, and
// the conversion to int keeps the low 32 bits.
uint32_t read_port_number(const char* text) {
    return static_cast<uint32_t>(static_cast<int32_t>(std::strtol(text, nullptr, 10)));
}

}  // namespace

namespace esw {

EswPortHandle* port_handle(const EswFrameworkHandle* handle) {
    if (handle == nullptr || handle->priv == nullptr) return nullptr;
    auto* record = static_cast<EswPortHandle*>(handle->priv);
    return live_records().contains(record) ? record : nullptr;
}

}  // namespace esw

// A path is read only up to its terminating NUL. A digit-form path that ends before the port
// field (shorter than 14 characters, e.g. "mrvl_switch/3") or a "cpu" path shorter than 16 has no
// port at all and is refused as unusable (1) rather than opened as port 0.
extern "C" ESW_EXPORT int32_t getPortNumByName(const char* path, uint32_t* portOut) {
    if (path == nullptr) return kParseNoSlash;
    const std::size_t len = strnlen(path, kCpuPortPos + 1);
    if (len <= kSlashPos || path[kSlashPos] != '/') return kParseNoSlash;
    if (len <= kUnitPos) return kParseBadUnit;
    const char unit = path[kUnitPos];
    std::size_t portPos = 0;
    if (unit >= '0' && unit <= '9') {
        portPos = kUnitPortPos;
    } else if (len >= kUnitPos + 3 && std::memcmp(path + kUnitPos, "cpu", 3) == 0) {
        portPos = kCpuPortPos;
    } else {
        return kParseBadUnit;
    }
    if (len < portPos) return kParseNoSlash;
    if (portOut != nullptr) *portOut = read_port_number(path + portPos);
    return kParseOk;
}

extern "C" ESW_EXPORT int32_t mrvl_esw_open(EswFrameworkHandle* handle, const char* path) {
    if (handle == nullptr || path == nullptr) {
        Log::error("mrvl_esw_open: no %s given", handle == nullptr ? "handle" : "path");
        return 1;
    }
    uint32_t port = 0;
    const int32_t parsed = getPortNumByName(path, &port);
    if (parsed == kParseOk) {
        auto* record = static_cast<EswPortHandle*>(esw::zalloc(sizeof(EswPortHandle)));
        if (record != nullptr) {
            try {
                live_records()[record] = handle;
            } catch (const std::bad_alloc&) {
                esw::release(record);
                record = nullptr;
            }
        }
        if (record == nullptr) {
            Log::error("mrvl_esw_open: no memory for the handle of port %u", port);
            return kOpenNoMemory;
        }
        record->devNum = 0;
        record->portNum = port;
        record->rxCallback = nullptr;
        // A record that priv held before stays allocated: the host may still use it elsewhere.
        handle->priv = record;
        return 0;
    }
    if (parsed == kParseBadUnit && handle->priv != nullptr) return 1;
    Log::error("mrvl_esw_open: unusable port path \"%s\"", path);
    return 1;
}

extern "C" ESW_EXPORT EswFrameworkHandle* mrvl_esw_close(EswFrameworkHandle* handle) {
    if (handle == nullptr) return handle;
    auto& records = live_records();
    const auto it = records.find(static_cast<const EswPortHandle*>(handle->priv));
    if (it == records.end() || it->second != handle) {
        Log::error("mrvl_esw_close: the handle holds no open port record");
        return handle;
    }
    records.erase(it);
    esw::release(handle->priv);
    return handle;
}
