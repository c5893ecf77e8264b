// Internal view of the trace facility, for white-box tests.
#pragma once

#include <cstdint>
#include <sys/timeb.h>

namespace esw {

struct KpmdTraceModule {
    uint32_t id;  // equal to the record's position
    char name[12];
    uint32_t enable;
    uint32_t level;  // the least severe level the module lets through
};
static_assert(sizeof(KpmdTraceModule) == 24);

inline constexpr uint32_t kTraceModuleCount = 7;
inline constexpr uint32_t kTraceMaxLevel = 7;
inline constexpr std::size_t kTraceTextLimit = 1021;  // characters of caller text per line

// Where the facility reads the time; tests replace it to print a known clock. Null restores ftime.
using TraceClock = void (*)(struct timeb* now);
void set_trace_clock(TraceClock clock);

}  // namespace esw
