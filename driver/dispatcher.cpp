// mrvl_esw_ioctl: every command after open reaches the library here.
#include <type_traits>

#include "driver/command_table.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::drv>;

constexpr int64_t kDefaultBranch = -1;

template <class... Ts>
struct overloaded : Ts... {
    using Ts::operator()...;
};
// Spelled out for compilers without deduction for aggregates (clang before 17 builds the fuzzers).
template <class... Ts>
overloaded(Ts...) -> overloaded<Ts...>;

}  // namespace

extern "C" ESW_EXPORT int32_t mrvl_esw_ioctl(EswFrameworkHandle* handle, uint32_t cmd, void* arg) {
    // The framework must only send commands on a handle whose open succeeded and that is not
    // closed; anything else is refused here rather than read through.
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_ioctl: command %u on a handle without an open port", cmd);
        return -1;
    }
    const uint32_t dev = record->devNum;
    const uint32_t port = record->portNum;

    const esw::Command* command = esw::find_command(cmd);
    if (command == nullptr) {
        Log::error("mrvl_esw_ioctl: unknown command %u", cmd);
        return -1;
    }
    const auto low32 = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(arg));
    const int64_t result = std::visit(
        overloaded{
            [&](esw::Unhandled) -> int64_t {
                Log::error("mrvl_esw_ioctl: command %u is not handled", cmd);
                return kDefaultBranch;
            },
            [](esw::Accepted) -> int64_t { return 0; },
            [&](esw::F1 f) -> int64_t { return f(dev, port, arg); },
            [&](esw::F2 f) -> int64_t { return f(dev, port, arg, cmd); },
            [&](esw::F3 f) -> int64_t { return f(handle, arg); },
            [&](esw::F4 f) -> int64_t { return f(handle, cmd, arg); },
            [&](esw::F5 f) -> int64_t { return f(dev, arg); },
            [&](esw::F6 f) -> int64_t { return f(dev, port); },
            [&](esw::F7 f) -> int64_t { return f(dev, port, low32); },
            [&](esw::F8 f) -> int64_t { return f(handle, static_cast<int32_t>(low32)); },
            [&](esw::F9 f) -> int64_t { return f(handle); },
            [&](esw::F10 f) -> int64_t { return f(arg); },
        },
        command->action);
    if (result == kDefaultBranch) return -1;
    if (command->report == esw::Report::always_zero) return 0;
    return result == 0 ? 0 : -1;
}
