// A test fixture that runs the real driver against a fresh simulated host.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "driver/esw_driver.h"
#include "sim/sim.h"

namespace esw_test {

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Opens mrvl_switch/0/<port> (or the given path) on a new framework handle; fails the test
    // when open does not return 0. The journal and the log are cleared afterwards.
    EswFrameworkHandle* open_port(uint32_t port);
    EswFrameworkHandle* open_path(const std::string& path);

    // mrvl_esw_ioctl with a pointer argument or a value carried in the pointer itself.
    static int32_t ioctl(EswFrameworkHandle* handle, uint32_t cmd, void* arg);
    static int32_t ioctl_value(EswFrameworkHandle* handle, uint32_t cmd, uintptr_t value);

    // Clears journal and log, so that a test asserts only what its own command did.
    static void forget();

    static std::vector<std::string> journal() { return sim::journal(); }
    static std::vector<sim::LogRecord> logs() { return sim::logs(); }

private:
    std::deque<EswFrameworkHandle> handles_;  // stable addresses
};

// DriverTest with one handle open on port P before each test.
template <uint32_t P>
class PortTest : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        handle_ = open_port(P);
    }
    EswFrameworkHandle* handle_ = nullptr;
};

// Every record is an error record of the library: level 3, tag "port-manager", and a location
// prefix "[<source>:<line>]:" naming `source`.
testing::Matcher<const sim::LogRecord&> ErrorFrom(const std::string& source);
// Same, and the formatted message contains each of `parts`.
testing::Matcher<const sim::LogRecord&> ErrorFrom(const std::string& source,
                                                  const std::vector<std::string>& parts);

}  // namespace esw_test
