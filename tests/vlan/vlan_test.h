// Shared by the VLAN and port-mode tests: a fixture with a port handle and the two access-control
// handles in place, and a loop that fails each chip call of a sequence in turn.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/common/driver_test.h"

namespace vlan_test {

using Parts = std::vector<std::string>;
// The records one failed step leaves, in order (a step that calls into another operation leaves
// that operation's record first).
using Records = std::vector<Parts>;

// A record of the VLAN subsystem whose message contains each of `parts`.
inline testing::Matcher<const sim::LogRecord&> IoctlError(const Parts& parts) {
    return esw_test::ErrorFrom("peridot_ioctl", parts);
}

// A record whose message starts "<operation>:<line>:" with the line of its own location prefix.
MATCHER_P(NamesOperationAndLine, operation, "names " + std::string(operation) + " and its source line") {
    const std::string& location = arg.location;  // "[peridot_ioctl:123]:"
    const auto colon = location.rfind(':', location.size() - 3);
    const std::string line = location.substr(colon + 1, location.size() - colon - 3);
    return arg.message.rfind(std::string(operation) + ":" + line + ":", 0) == 0;
}

// A request record on the heap with exactly its own size, so that a read past it is caught.
template <class T>
std::unique_ptr<T> request(T value) {
    return std::make_unique<T>(value);
}

class VlanTest : public esw_test::DriverTest {
protected:
    void SetUp() override;
    void TearDown() override;

    static void add_to_table(uint32_t vlan);
    static bool in_table(uint32_t vlan);

    // For each chip call of `expected` except the table questions (asic_vlan_exists), arranges a
    // fresh host with `arrange`, makes that call fail with `failValue`, runs `act` and checks that
    // it answers -1 (or 1 when `act` calls a handler directly), that the journal stops at the
    // failed call and that the log holds exactly `failures[step]`.
    void expect_stop_at_each_step(const std::vector<std::string>& expected,
                                  const std::vector<Records>& failures, const std::function<void()>& arrange,
                                  const std::function<int64_t()>& act, int64_t failResult,
                                  int64_t failValue = 0);

    EswFrameworkHandle* port3_ = nullptr;
};

}  // namespace vlan_test
