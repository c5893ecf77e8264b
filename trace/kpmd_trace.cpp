// The kpmdTrace family: per-module, per-level trace lines on standard output, separate from the
// error log. Settings are plain statics read without synchronisation: a setter that races a trace
// call takes effect for some lines and not others, which is all a diagnostic switch needs.
#include "trace/kpmd_trace.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "driver/esw_driver.h"

namespace esw {
namespace {

constexpr std::array<const char*, kTraceMaxLevel + 1> kpmdTraceLevelNames = {
    "LEVEL_FATAL", "LEVEL_ALERT", "LEVEL_CRITICAL", "LEVEL_ERROR",
    "LEVEL_WARNING", "LEVEL_NOTICE", "LEVEL_INFO", "LEVEL_DEBUG",
};

std::array<KpmdTraceModule, kTraceModuleCount> kpmdTraceModules = {{
    {0, "M_PORT", 1, 7},
    {1, "M_PCL", 1, 7},
    {2, "M_MAC", 1, 7},
    {3, "M_CLASS", 1, 7},
    {4, "M_PHY", 1, 7},
    {5, "M_CPU", 1, 7},
    {6, "M_DEVELOP", 1, 7},
}};

uint32_t kpmdTraceGlobalEnable = 1;
uint32_t kpmdTraceFilterLevel = 3;
int64_t kpmdTraceStartTime = 0;

void system_clock(struct timeb* now) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    ftime(now);
#pragma GCC diagnostic pop
}

TraceClock traceClock = system_clock;

}  // namespace

void set_trace_clock(TraceClock clock) { traceClock = clock != nullptr ? clock : system_clock; }

}  // namespace esw

using esw::kpmdTraceFilterLevel;
using esw::kpmdTraceGlobalEnable;
using esw::kpmdTraceLevelNames;
using esw::kpmdTraceModules;

extern "C" {

// A module id outside the table is refused: nothing prints, not even at LEVEL_FATAL.
ESW_EXPORT void kpmdTrace(uint32_t moduleId, uint32_t level, const char* format, ...) {
    if (moduleId >= esw::kTraceModuleCount || format == nullptr) return;
    const esw::KpmdTraceModule& module = kpmdTraceModules[moduleId];
    const bool allowed = kpmdTraceGlobalEnable != 0 && module.enable != 0 && level <= module.level &&
                         level <= kpmdTraceFilterLevel;
    if (!allowed && level != 0) return;

    char text[esw::kTraceTextLimit + 3] = {};
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, esw::kTraceTextLimit + 1, format, args);
    va_end(args);
    std::strcat(text, "\n");

    struct timeb now {};
    esw::traceClock(&now);
    std::printf("%s: %ld.%hu | %s | %s", kpmdTraceLevelNames[level],
                static_cast<long>(now.time - esw::kpmdTraceStartTime), now.millitm, module.name, text);
}

ESW_EXPORT void kpmdTraceInit(void) {
    struct timeb now {};
    esw::traceClock(&now);
    esw::kpmdTraceStartTime = now.time;
}

ESW_EXPORT void kpmdTraceSetGlobalEnable(uint32_t enable) { kpmdTraceGlobalEnable = enable; }

ESW_EXPORT uint32_t kpmdTraceSetFilterLevel(uint32_t level) {
    if (level > esw::kTraceMaxLevel) return 1;
    kpmdTraceFilterLevel = level;
    return 0;
}

ESW_EXPORT uint32_t kpmdTraceSetModule(uint32_t moduleId, uint32_t enable, uint32_t level) {
    if (moduleId >= esw::kTraceModuleCount || level > esw::kTraceMaxLevel) return 1;
    esw::KpmdTraceModule& module = kpmdTraceModules[moduleId];
    if (module.id != moduleId) return 1;
    module.enable = enable;
    module.level = level;
    return 0;
}

ESW_EXPORT void kpmdTraceSetAllModulesEnable(uint32_t enable) {
    for (esw::KpmdTraceModule& module : kpmdTraceModules) module.enable = enable;
}

ESW_EXPORT uint32_t kpmdTraceIsEnable(uint32_t moduleId, uint32_t level) {
    if (moduleId >= esw::kTraceModuleCount) return 0;
    const esw::KpmdTraceModule& module = kpmdTraceModules[moduleId];
    return kpmdTraceGlobalEnable == 1 && module.enable == 1 && level <= module.level &&
                   level <= kpmdTraceFilterLevel
               ? 1
               : 0;
}

ESW_EXPORT void kpmdTraceShowModuleIdDb(void) {
    for (uint32_t i = 0; i < esw::kTraceModuleCount; ++i) {
        const esw::KpmdTraceModule& module = kpmdTraceModules[i];
        std::printf(" ID:%2d,%-10s enable:%d  level:%d,%s\n", static_cast<int>(i), module.name,
                    static_cast<int>(module.enable), static_cast<int>(module.level),
                    kpmdTraceLevelNames[module.level]);
    }
    std::printf(" Global trace enable:%d, Trace level filter:%d,%s\n", static_cast<int>(kpmdTraceGlobalEnable),
                static_cast<int>(kpmdTraceFilterLevel), kpmdTraceLevelNames[kpmdTraceFilterLevel]);
}

}
