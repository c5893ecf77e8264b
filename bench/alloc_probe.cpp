#include "bench/alloc_probe.h"

#include <execinfo.h>
#include <link.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// glibc's own allocator entry points, which the replacements below forward to.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void __libc_free(void* p);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

struct Span {
    uintptr_t lo = 0;
    uintptr_t hi = 0;
    bool holds(uintptr_t a) const { return a >= lo && a < hi; }
};

Span librarySpan;
Span programSpan;
const char* wanted = nullptr;

std::atomic<bool> counting{false};
std::atomic<uint64_t> byLibrary{0};
std::atomic<uint64_t> byHost{0};
std::atomic<uint64_t> byUnknown{0};
// Set while this thread is inside the probe: the stack walk itself may allocate (the unwinder is
// loaded on first use), and those allocations are nobody's.
thread_local bool inProbe = false;

Span span_of(const dl_phdr_info* info) {
    Span s{UINTPTR_MAX, 0};
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& ph = info->dlpi_phdr[i];
        if (ph.p_type != PT_LOAD) continue;
        const uintptr_t lo = info->dlpi_addr + ph.p_vaddr;
        if (lo < s.lo) s.lo = lo;
        if (lo + ph.p_memsz > s.hi) s.hi = lo + ph.p_memsz;
    }
    return s;
}

int find_objects(dl_phdr_info* info, size_t, void* first) {
    const Span s = span_of(info);
    if (*static_cast<bool*>(first)) {  // the executable comes first
        programSpan = s;
        *static_cast<bool*>(first) = false;
    }
    if (info->dlpi_name != nullptr && std::strstr(info->dlpi_name, wanted) != nullptr) librarySpan = s;
    return 0;
}

// frames[0] is this function, frames[1] the replaced allocator; the caller starts at frames[2].
__attribute__((noinline)) void note() {
    if (!counting.load(std::memory_order_relaxed) || inProbe) return;
    inProbe = true;
    void* frames[64];
    const int n = backtrace(frames, 64);
    std::atomic<uint64_t>* owner = &byUnknown;
    for (int i = 2; i < n; ++i) {
        const auto pc = reinterpret_cast<uintptr_t>(frames[i]);
        if (librarySpan.holds(pc)) {
            owner = &byLibrary;
            break;
        }
        if (programSpan.holds(pc)) {
            owner = &byHost;
            break;
        }
    }
    owner->fetch_add(1, std::memory_order_relaxed);
    inProbe = false;
}

}  // namespace

namespace probe {

bool locate_library(const char* fileName) {
    wanted = fileName;
    bool first = true;
    dl_iterate_phdr(find_objects, &first);
    void* warm[4];
    backtrace(warm, 4);  // loads the unwinder now rather than while counting
    return librarySpan.hi != 0 && programSpan.hi != 0;
}

void start() {
    byLibrary = 0;
    byHost = 0;
    byUnknown = 0;
    counting = true;
}

Counts stop() {
    counting = false;
    return Counts{byLibrary.load(), byHost.load(), byUnknown.load()};
}

}  // namespace probe

extern "C" {

void* malloc(size_t size) noexcept {
    note();
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
    note();
    return __libc_calloc(count, size);
}

void* realloc(void* p, size_t size) noexcept {
    note();
    return __libc_realloc(p, size);
}

void free(void* p) noexcept { __libc_free(p); }

void* memalign(size_t alignment, size_t size) noexcept {
    note();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
    note();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** out, size_t alignment, size_t size) noexcept {
    if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0) return EINVAL;
    note();
    void* p = __libc_memalign(alignment, size);
    if (p == nullptr) return ENOMEM;
    *out = p;
    return 0;
}

}  // extern "C"
