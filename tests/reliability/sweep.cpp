#include "tests/reliability/sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tests/common/driver_test.h"
#include "tests/reliability/catalog.h"

#if defined(__SANITIZE_ADDRESS__)
#define ESW_SWEEP_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ESW_SWEEP_LEAK_CHECK 1
#endif
#endif
#ifdef ESW_SWEEP_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace esw_sweep {

namespace {

using testing::AnyOfArray;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

bool leak_check() {
#ifdef ESW_SWEEP_LEAK_CHECK
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

struct Attempt {
    Observed first;
    std::optional<Observed> again;
};

// Whether a run failed as its caller sees it: by the result, or for the queries whose result is
// always 0, by the all-zero record they leave.
bool failed(const Row& row, const Observed& seen, int64_t healthyResult) {
    if (row.zeroedOnFailure)
        return std::all_of(seen.request.begin(), seen.request.end(), [](uint8_t b) { return b == 0; });
    return row.failResult ? seen.result == *row.failResult : seen.result != healthyResult;
}

Observed run_here(const Row& row, EswFrameworkHandle* handle, const std::optional<sim::Fault>& fault) {
    sim::reset();
    row.setup(handle);
    if (fault) sim::inject(*fault);
    sim::clear_journal();
    sim::clear_logs();
    Observed seen;
    seen.request = row.request;
    seen.result = row.invoke(handle, seen.request);
    seen.journal = sim::journal();
    for (const sim::Call& call : sim::calls()) seen.callNames.push_back(call.name);
    seen.logs = sim::logs();
    return seen;
}

// ---- a run in a child process, reported back through a pipe ----------------------------------------
class Wire {
public:
    void put(const void* p, std::size_t n) {
        if (n == 0) return;
        const auto* b = static_cast<const uint8_t*>(p);
        bytes_.insert(bytes_.end(), b, b + n);
    }
    void put(int64_t v) { put(&v, sizeof v); }
    void put(const std::string& s) {
        put(static_cast<int64_t>(s.size()));
        put(s.data(), s.size());
    }
    void put(const std::vector<std::string>& list) {
        put(static_cast<int64_t>(list.size()));
        for (const std::string& s : list) put(s);
    }
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

class Unwire {
public:
    explicit Unwire(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    int64_t num() {
        int64_t v = 0;
        take(&v, sizeof v);
        return v;
    }
    std::string str() {
        std::string s(static_cast<std::size_t>(num()), '\0');
        take(s.data(), s.size());
        return s;
    }
    std::vector<std::string> list() {
        std::vector<std::string> l(static_cast<std::size_t>(num()));
        for (std::string& s : l) s = str();
        return l;
    }
    bool ok() const { return ok_; }
    void take(void* p, std::size_t n) {
        if (n == 0) return;
        if (pos_ + n > bytes_.size()) {
            ok_ = false;
            std::memset(p, 0, n);
            return;
        }
        std::memcpy(p, bytes_.data() + pos_, n);
        pos_ += n;
    }

private:
    std::vector<uint8_t> bytes_;
    std::size_t pos_ = 0;
    bool ok_ = true;
};

void write_all(int fd, const std::vector<uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) return;
        done += static_cast<std::size_t>(n);
    }
}

void put(Wire& wire, const Observed& seen) {
    wire.put(seen.result);
    wire.put(seen.journal);
    wire.put(seen.callNames);
    wire.put(static_cast<int64_t>(seen.logs.size()));
    for (const sim::LogRecord& rec : seen.logs) {
        wire.put(static_cast<int64_t>(rec.level));
        wire.put(rec.module);
        wire.put(rec.location);
        wire.put(rec.message);
    }
    wire.put(static_cast<int64_t>(seen.request.size()));
    wire.put(seen.request.data(), seen.request.size());
    wire.put(static_cast<int64_t>(seen.leaked));
}

Observed take(Unwire& in) {
    Observed seen;
    seen.result = in.num();
    seen.journal = in.list();
    seen.callNames = in.list();
    seen.logs.resize(static_cast<std::size_t>(in.num()));
    for (sim::LogRecord& rec : seen.logs) {
        rec.level = static_cast<int32_t>(in.num());
        rec.module = in.str();
        rec.location = in.str();
        rec.message = in.str();
    }
    seen.request.resize(static_cast<std::size_t>(in.num()));
    in.take(seen.request.data(), seen.request.size());
    seen.leaked = in.num() != 0;
    return seen;
}

// A faulted run and, when it failed, the same run again with the fault gone, in this process.
Attempt attempt_here(const Row& row, EswFrameworkHandle* handle, const std::optional<sim::Fault>& fault,
                     int64_t healthyResult) {
    Attempt attempt;
    attempt.first = run_here(row, handle, fault);
    attempt.first.leaked = leak_check();
    if (fault && failed(row, attempt.first, healthyResult)) {
        attempt.again = run_here(row, handle, std::nullopt);
        attempt.again->leaked = leak_check();
    }
    return attempt;
}

// The same in a child process: for operations that start what cannot be stopped (the bring-up's
// receive thread and capture interfaces).
Attempt attempt_isolated(const Row& row, EswFrameworkHandle* handle, const std::optional<sim::Fault>& fault,
                         int64_t healthyResult) {
    int fds[2];
    if (::pipe(fds) != 0) {
        ADD_FAILURE() << "pipe failed";
        return {};
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(fds[0]);
        const Attempt attempt = attempt_here(row, handle, fault, healthyResult);
        Wire wire;
        put(wire, attempt.first);
        wire.put(static_cast<int64_t>(attempt.again.has_value()));
        if (attempt.again) put(wire, *attempt.again);
        write_all(fds[1], wire.bytes());
        ::close(fds[1]);
        std::fflush(nullptr);
        ::_exit(0);
    }
    ::close(fds[1]);
    std::vector<uint8_t> bytes;
    uint8_t chunk[4096];
    for (;;) {
        const ssize_t n = ::read(fds[0], chunk, sizeof chunk);
        if (n <= 0) break;
        bytes.insert(bytes.end(), chunk, chunk + n);
    }
    ::close(fds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    Attempt attempt;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        ADD_FAILURE() << "the child running " << row.name << " ended with status " << status;
        return attempt;
    }
    Unwire in(std::move(bytes));
    attempt.first = take(in);
    if (in.num() != 0) attempt.again = take(in);
    EXPECT_TRUE(in.ok()) << "short report from the child running " << row.name;
    return attempt;
}

Attempt attempt(const Row& row, EswFrameworkHandle* handle, const std::optional<sim::Fault>& fault,
                int64_t healthyResult) {
    return row.isolated ? attempt_isolated(row, handle, fault, healthyResult)
                        : attempt_here(row, handle, fault, healthyResult);
}

std::optional<Exception> exception_for(const Row& row, const std::string& call, unsigned nth) {
    for (const Exception& e : row.exceptions)
        if (e.call == call && (e.nth == 0 || e.nth == nth)) return e;
    return std::nullopt;
}

const char* outcome_name(Outcome o) {
    switch (o) {
        case Outcome::stops:
            return "stops";
        case Outcome::stops_silently:
            return "stops silently";
        case Outcome::continues_logged:
            return "continues, logged";
        case Outcome::continues_silent:
            return "continues silently";
        case Outcome::other_branch:
            return "takes another branch";
    }
    return "?";
}

testing::Matcher<const sim::LogRecord&> from_library() {
    std::vector<testing::Matcher<const sim::LogRecord&>> any;
    for (std::string_view s : esw_catalog::kSources) any.push_back(esw_test::ErrorFrom(std::string(s)));
    return AnyOfArray(any);
}

std::vector<std::string> prefix(const std::vector<std::string>& lines, std::size_t n) {
    return {lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(n, lines.size()))};
}

}  // namespace

Row command_row(std::string name, uint32_t cmd, std::vector<uint8_t> request, std::string source) {
    Row row;
    row.name = std::move(name);
    row.request = std::move(request);
    row.source = std::move(source);
    row.failResult = -1;
    row.invoke = [cmd](EswFrameworkHandle* handle, std::vector<uint8_t>& req) -> int64_t {
        // The request travels in a heap block of exactly its size, so that a read past its end
        // is an ASan report.
        std::unique_ptr<uint8_t[]> block(new uint8_t[std::max<std::size_t>(req.size(), 1)]);
        std::copy(req.begin(), req.end(), block.get());
        const int32_t result = mrvl_esw_ioctl(handle, cmd, req.empty() ? nullptr : block.get());
        std::copy(block.get(), block.get() + req.size(), req.begin());
        return result;
    };
    return row;
}

Row value_row(std::string name, uint32_t cmd, uint64_t value, std::string source) {
    Row row;
    row.name = std::move(name);
    row.source = std::move(source);
    row.failResult = -1;
    row.invoke = [cmd, value](EswFrameworkHandle* handle, std::vector<uint8_t>&) -> int64_t {
        return mrvl_esw_ioctl(handle, cmd, reinterpret_cast<void*>(static_cast<uintptr_t>(value)));
    };
    return row;
}

int64_t failing_value(const Row& row, const std::string& call) {
    for (const auto& [name, value] : row.failing)
        if (name == call) return value;
    return esw_catalog::failing_value(call);
}

void sweep(const Row& row, EswFrameworkHandle* handle) {
    const Observed healthy = attempt(row, handle, std::nullopt, 0).first;
    ASSERT_FALSE(healthy.journal.empty()) << "the healthy run of " << row.name << " made no chip call";
    ASSERT_FALSE(failed(row, healthy, healthy.result)) << "the healthy run of " << row.name << " failed";
    EXPECT_FALSE(healthy.leaked) << "memory left behind by the healthy run";

    std::map<std::string, unsigned> seenOf;
    for (std::size_t i = 0; i < healthy.callNames.size(); ++i) {
        const std::string& call = healthy.callNames[i];
        const unsigned nth = ++seenOf[call];
        const std::optional<Exception> exception = exception_for(row, call, nth);
        const Outcome outcome = exception ? exception->outcome : row.whenFaulted;
        sim::Fault fault;
        fault.call = call;
        fault.result = failing_value(row, call);
        fault.nth = nth;
        SCOPED_TRACE(testing::Message()
                     << row.name << ": call " << i << " " << healthy.journal[i] << " (occurrence " << nth
                     << ") fails with " << fault.result << ", " << outcome_name(outcome));

        const Attempt tried = attempt(row, handle, fault, healthy.result);
        const Observed& faulted = tried.first;
        switch (outcome) {
            case Outcome::stops:
            case Outcome::stops_silently:
                if (row.failResult) {
                    EXPECT_EQ(faulted.result, *row.failResult);
                } else {
                    EXPECT_NE(faulted.result, healthy.result);
                }
                EXPECT_EQ(faulted.journal, prefix(healthy.journal, i + 1));
                if (outcome == Outcome::stops) {
                    EXPECT_THAT(faulted.logs, Each(from_library()));
                    const std::string& source =
                        exception && !exception->source.empty() ? exception->source : row.source;
                    EXPECT_THAT(faulted.logs, Contains(esw_test::ErrorFrom(source)));
                } else {
                    EXPECT_THAT(faulted.logs, IsEmpty());
                }
                if (row.zeroedOnFailure) {
                    EXPECT_THAT(faulted.request, Each(0)) << "a failed query must leave a zeroed record";
                }
                break;
            case Outcome::continues_logged:
            case Outcome::continues_silent:
                EXPECT_EQ(faulted.result, healthy.result);
                EXPECT_EQ(prefix(faulted.journal, i + 1), prefix(healthy.journal, i + 1));
                if (!faulted.journal.empty()) {
                    EXPECT_EQ(faulted.journal.back(), healthy.journal.back());
                }
                if (outcome == Outcome::continues_logged) {
                    EXPECT_THAT(faulted.logs, Each(from_library()));
                    EXPECT_GT(faulted.logs.size(), healthy.logs.size());
                } else {
                    EXPECT_EQ(faulted.logs.size(), healthy.logs.size());
                }
                break;
            case Outcome::other_branch:
                EXPECT_EQ(prefix(faulted.journal, i + 1), prefix(healthy.journal, i + 1));
                EXPECT_THAT(faulted.logs, Each(from_library()));
                break;
        }
        EXPECT_FALSE(faulted.leaked) << "memory left behind";

        // The fault gone, the same operation runs its whole sequence again.
        if (tried.again) {
            EXPECT_EQ(tried.again->result, healthy.result) << "after the fault";
            EXPECT_EQ(tried.again->journal, healthy.journal) << "after the fault";
            EXPECT_THAT(tried.again->logs, SizeIs(healthy.logs.size())) << "after the fault";
            EXPECT_FALSE(tried.again->leaked) << "memory left behind after the fault";
        }
    }
}

}  // namespace esw_sweep
