// The CPU counters as text, so that a test states every counter it expects to be non-zero and a
// stray count anywhere in the 175 shows up in the diff.
#pragma once

#include <array>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "driver/esw_driver.h"

namespace esw_test {

inline constexpr std::array<std::pair<const char*, uint32_t EswCpuPortStats::*>, 7> kCpuCounterNames{{
    {"txPackets", &EswCpuPortStats::txPackets},
    {"txDrops", &EswCpuPortStats::txDrops},
    {"txBytes", &EswCpuPortStats::txBytes},
    {"rxPackets", &EswCpuPortStats::rxPackets},
    {"rxDrops", &EswCpuPortStats::rxDrops},
    {"rxBytes", &EswCpuPortStats::rxBytes},
    {"spareCount", &EswCpuPortStats::spareCount},
}};

// "3.rxPackets=1" for every non-zero counter, entries in order. Reads the counters the way the
// receive thread writes them, so a test may call it while that thread runs.
inline std::vector<std::string> nonzero_cpu_counters(EswCpuPortStats* stats = eswCpuStats) {
    std::vector<std::string> lines;
    for (int entry = 0; entry < 25; ++entry)
        for (const auto& [name, field] : kCpuCounterNames) {
            const uint32_t value =
                std::atomic_ref<uint32_t>(stats[entry].*field).load(std::memory_order_relaxed);
            if (value != 0) lines.push_back(std::to_string(entry) + "." + name + "=" + std::to_string(value));
        }
    return lines;
}

}  // namespace esw_test
