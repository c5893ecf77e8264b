// The error log of the library. Every record goes to the platform log at level 3 with the module
// tag "port-manager" and a "[source:line]:" prefix naming the library source that wrote it, so one
// helper owns the level, the tag, the prefix and the caller's line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <source_location>
#include <type_traits>

#include "platform/host_abi.h"

namespace esw {

// The library's source names as they appear in log prefixes: one spelling everywhere.
enum class Src : uint8_t { drv, cpu, trunk, init, ioctl };

constexpr const char* source_name(Src s) {
    switch (s) {
        case Src::drv: return "peridot_drv";
        case Src::cpu: return "peridot_cpu";
        case Src::trunk: return "peridot_trunk";
        case Src::init: return "mrvl_periodot_init";
        case Src::ioctl: return "peridot_ioctl";
    }
    return "?";
}

inline constexpr int32_t kLogLevel = 3;
inline constexpr const char* kLogModule = "port-manager";
inline constexpr std::size_t kLogPrefixSize = 1024;

// A format text together with the line of the caller that wrote it.
struct Where {
    const char* fmt;
    std::source_location loc;
    // NOLINTNEXTLINE(google-explicit-constructor): implicit so that callers pass a plain literal.
    Where(const char* f, std::source_location l = std::source_location::current()) : fmt(f), loc(l) {}
};

// How a host call reports success.
enum class Expect : uint8_t {
    one,          // the result equals 1 (for a u8 result that is its only byte)
    low_byte_one, // the low 8 bits of the result equal 1
    zero,         // the result is 0
    nonzero,      // the result is not 0
};

template <class R>
constexpr bool succeeded(R status, Expect rule) {
    static_assert(std::is_integral_v<R>);
    switch (rule) {
        case Expect::one: return status == 1;
        case Expect::low_byte_one: return static_cast<uint8_t>(status) == 1;
        case Expect::zero: return status == 0;
        case Expect::nonzero: return status != 0;
    }
    return false;
}

template <Src S>
struct Log {
    // Writes one error record. Arguments go to the platform log's printf-style formatter as they
    // are, so each must match its conversion in `where.fmt`.
    template <class... A>
    static void error(Where where, A... args) {
        char prefix[kLogPrefixSize] = {};
        std::snprintf(prefix, sizeof prefix, "[%s:%d]:", source_name(S), static_cast<int>(where.loc.line()));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        zel_syslog(kLogLevel, kLogModule, prefix, where.fmt, args...);
#pragma GCC diagnostic pop
    }

    // Tests a host call's status. On failure writes one record with `args` followed by the
    // status (so the format's last conversion is the status, as %d) and returns false.
    template <class R, class... A>
    static bool ok(Expect rule, R status, Where where, A... args) {
        if (succeeded(status, rule)) return true;
        error(where, args..., static_cast<int>(status));
        return false;
    }

    // The common case: the call reports 1 for success.
    template <class R, class... A>
    static bool ok(R status, Where where, A... args) {
        return ok(Expect::one, status, where, args...);
    }
};

}  // namespace esw
