// The one results table that scripts/bench.sh prints: every program writes its rows to standard
// output as markdown table lines and everything else (progress, raw numbers) to standard error.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

inline std::string fmt(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline std::string fmt(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// Goal verdicts: "yes" / "NO", or "-" for a figure that has no goal.
inline const char* verdict(bool met) { return met ? "yes" : "NO"; }

// One line of the table. `ratio` is the measured figure against the baseline of the same run.
inline void row(const std::string& figure, const std::string& measured, const std::string& baseline,
                const std::string& ratio, const std::string& goal, const std::string& met) {
    std::printf("| %s | %s | %s | %s | %s | %s |\n", figure.c_str(), measured.c_str(), baseline.c_str(),
                ratio.c_str(), goal.c_str(), met.c_str());
    std::fflush(stdout);
}

inline std::string ns(double v) { return v >= 10000 ? fmt("%.1f µs", v / 1000) : fmt("%.0f ns", v); }
inline std::string us(double v) { return v >= 10000 ? fmt("%.1f ms", v / 1000) : fmt("%.1f µs", v); }

// The p-th percentile (0..100) of `v` by the nearest-rank rule; `v` is sorted in place.
inline double percentile(std::vector<double>& v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    auto rank = static_cast<std::size_t>(p / 100.0 * static_cast<double>(v.size()) + 0.999999);
    rank = std::clamp<std::size_t>(rank, 1, v.size());
    return v[rank - 1];
}

}  // namespace bench
