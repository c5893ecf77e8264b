// Port paths as the framework might hand them to open: any bytes, ending at the first NUL, in a
// heap block of exactly that size so that a read past the terminator is an ASan report. Checks the
// parser against the path grammar and open against the parser.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace {

constexpr std::size_t kSlashPos = 11;
constexpr std::size_t kUnitPos = 12;
constexpr std::size_t kUnitPortPos = 14;
constexpr std::size_t kCpuPortPos = 16;

void check(bool holds) {
    if (!holds) std::abort();
}

// What the grammar allows for a path of `len` characters. A path cut off before its port field
// may be refused (1) or opened as port 0: the grammar leaves that choice to the parser.
struct Expected {
    int32_t result;
    bool shortFieldMayRefuse;
    std::size_t portPos;
};

Expected expected_parse(const char* path, std::size_t len) {
    if (len <= kSlashPos || path[kSlashPos] != '/') return {1, false, 0};
    const char unit = len > kUnitPos ? path[kUnitPos] : '\0';
    if (unit >= '0' && unit <= '9') return {0, len < kUnitPortPos, kUnitPortPos};
    if (len >= kUnitPos + 3 && std::memcmp(path + kUnitPos, "cpu", 3) == 0)
        return {0, len < kCpuPortPos, kCpuPortPos};
    return {11, false, 0};
}

uint32_t atoi_port(const char* text) {
    return static_cast<uint32_t>(static_cast<int32_t>(std::strtol(text, nullptr, 10)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    sim::reset();
    const std::size_t len = strnlen(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<char[]> path(new char[len + 1]);
    std::memcpy(path.get(), data, len);
    path[len] = '\0';

    const Expected want = expected_parse(path.get(), len);
    uint32_t port = 0xDEADBEEF;
    const int32_t parsed = getPortNumByName(path.get(), &port);
    if (want.result == 0 && want.shortFieldMayRefuse) {
        check(parsed == 1 || (parsed == 0 && port == 0));
    } else {
        check(parsed == want.result);
        if (parsed == 0)
            check(port == atoi_port(path.get() + want.portPos));
        else
            check(port == 0xDEADBEEF);
    }

    // Open on a fresh handle: a record exactly when the parser accepted the path, logged once
    // otherwise.
    EswFrameworkHandle fresh{nullptr, nullptr};
    const int32_t opened = mrvl_esw_open(&fresh, path.get());
    if (parsed == 0) {
        check(opened == 0 && fresh.priv != nullptr);
        const auto* record = static_cast<const EswPortHandle*>(fresh.priv);
        check(record->devNum == 0 && record->portNum == port && record->rxCallback == nullptr);
        check(mrvl_esw_ioctl(&fresh, IOCTL_SW_ENABLE_CPU_VLAN, nullptr) == 0);
        check(mrvl_esw_close(&fresh) == &fresh);
    } else {
        check(opened == 1 && fresh.priv == nullptr && sim::logs().size() == 1);
    }

    // Open on a handle that already holds a record: a path with a bad unit leaves it alone,
    // silently.
    EswFrameworkHandle held{nullptr, nullptr};
    check(mrvl_esw_open(&held, "mrvl_switch/0/4") == 0);
    void* const record = held.priv;
    sim::clear_logs();
    const int32_t reopened = mrvl_esw_open(&held, path.get());
    if (parsed == 11) check(reopened == 1 && held.priv == record && sim::logs().empty());
    if (reopened == 0 && held.priv != record) {
        // A second open replaces the pointer; both records are the host's to close.
        mrvl_esw_close(&held);
        held.priv = record;
    }
    mrvl_esw_close(&held);
    return 0;
}
