// Fault sweep: run an operation once against a healthy simulated host to learn its chip-call
// sequence, then make each call of that sequence fail in turn and check what the operation does
// about it. One engine, driven by rows of data; every row is one operation with one input.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace esw_sweep {

// What a failure of one chip call is meant to do to the operation.
enum class Outcome : uint8_t {
    stops,             // logged, the operation ends there with its failure result
    stops_silently,    // a "not present" answer: the operation ends with its failure result, no log
    continues_logged,  // logged, the sequence goes on to its end, the result is the healthy one
    continues_silent,  // not looked at: the sequence goes on, nothing logged
    other_branch,      // the answer is a legitimate query result that selects another path
};

struct Exception {
    std::string call;  // host function name
    unsigned nth = 0;  // 1-based occurrence in the healthy sequence, 0 = every occurrence
    Outcome outcome;
    std::string source = {};  // the library source that logs this failure, when not the row's
};

// What one run of an operation left behind.
struct Observed {
    int64_t result = 0;
    std::vector<std::string> journal;
    std::vector<std::string> callNames;
    std::vector<sim::LogRecord> logs;
    std::vector<uint8_t> request;  // the request block after the run
    bool leaked = false;           // a leak check after the run found memory no one holds
};

struct Row {
    std::string name;  // test name suffix: letters, digits and underscores
    uint32_t port = 3;
    // Arranges the model (after sim::reset) so that the healthy run succeeds.
    std::function<void(EswFrameworkHandle*)> setup = [](EswFrameworkHandle*) {};
    // Runs the operation. `request` is the row's request block, handed over at its exact size.
    std::function<int64_t(EswFrameworkHandle*, std::vector<uint8_t>& request)> invoke;
    std::vector<uint8_t> request;
    std::string source;                 // library source whose records report the failure
    std::optional<int64_t> failResult;  // what the caller sees on failure; unset: not the healthy result
    bool zeroedOnFailure = false;       // a failed query leaves the caller an all-zero record
    std::vector<std::pair<std::string, int64_t>> failing;  // failing values that differ from the catalog's
    std::vector<Exception> exceptions;
    Outcome whenFaulted = Outcome::stops;  // for calls without an exception
    bool isolated = false;                 // run every attempt in a child process
};

// gtest names a row by its name rather than dumping its bytes.
inline void PrintTo(const Row& row, std::ostream* os) { *os << row.name; }

// Rows that reach an operation through mrvl_esw_ioctl.
Row command_row(std::string name, uint32_t cmd, std::vector<uint8_t> request, std::string source);
Row value_row(std::string name, uint32_t cmd, uint64_t value, std::string source);

// Request blocks from records.
template <class R>
std::vector<uint8_t> bytes_of(const R& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    return {p, p + sizeof record};
}

// The whole sweep for one row, reported through gtest expectations.
void sweep(const Row& row, EswFrameworkHandle* handle);

// The failing value of `call` for `row`.
int64_t failing_value(const Row& row, const std::string& call);

}  // namespace esw_sweep
