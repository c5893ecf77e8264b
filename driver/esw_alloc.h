// The library's few allocations (port handles, static-MAC destination records) go through here,
// so that tests can make any one of them fail and prove that every path releases what it took.
#pragma once

#include <cstddef>

namespace esw {

// Returns true to make the allocation of `size` bytes fail. Tests only; null restores calloc.
using AllocFailHook = bool (*)(std::size_t size);
void set_alloc_fail_hook(AllocFailHook hook);

void* zalloc(std::size_t size);  // zeroed memory or null
void release(void* p);

}  // namespace esw
