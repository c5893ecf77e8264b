#include "driver/esw_alloc.h"

#include <cstdlib>

namespace esw {
namespace {
AllocFailHook failHook = nullptr;  // set by tests on the command thread only
}

void set_alloc_fail_hook(AllocFailHook hook) { failHook = hook; }

void* zalloc(std::size_t size) {
    if (failHook != nullptr && failHook(size)) return nullptr;
    return std::calloc(1, size);
}

void release(void* p) { std::free(p); }

}  // namespace esw
