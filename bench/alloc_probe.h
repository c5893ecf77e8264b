// Counts heap allocations by who asked for them: the driver library, or the program that loaded it
// (here the simulated host and the benchmark itself).
//
// A program that links alloc_probe.cpp replaces malloc, calloc, realloc and the aligned
// allocators for the whole process (the shared library's references bind to the executable's
// definitions), so every allocation passes here, including those of operator new, which calls
// malloc. While counting, each allocation walks its own call stack: the innermost frame that lies
// in either the driver library or the executable decides, and frames in libstdc++, libc or libpcap
// are passed over. An allocation that the library makes through std::vector (libstdc++) or
// pcap_open_live (libpcap) is the library's; one that the simulated host makes while the library
// calls it is the host's.
#pragma once

#include <cstdint>

namespace probe {

struct Counts {
    uint64_t library = 0;  // allocations asked for by code of the driver library
    uint64_t host = 0;     // by code of the executable (simulated host, benchmark)
    uint64_t unknown = 0;  // no frame in either (a thread of libc or libpcap, say)
};

// Finds the loaded object whose file name contains `fileName` (the driver library). Call once,
// single-threaded, before start(); false if no such object is loaded.
bool locate_library(const char* fileName);

// Counting is process-wide: allocations of every thread count while it is on.
void start();
Counts stop();

}  // namespace probe
