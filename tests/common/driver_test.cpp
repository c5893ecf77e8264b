#include "tests/common/driver_test.h"

#include <regex>

namespace esw_test {

void DriverTest::SetUp() {
    sim::reset();
}

void DriverTest::TearDown() {
    for (EswFrameworkHandle& handle : handles_)
        if (handle.priv != nullptr) mrvl_esw_close(&handle);
    sim::reset();
}

EswFrameworkHandle* DriverTest::open_port(uint32_t port) {
    return open_path("mrvl_switch/0/" + std::to_string(port));
}

EswFrameworkHandle* DriverTest::open_path(const std::string& path) {
    EswFrameworkHandle& handle = handles_.emplace_back();
    handle.framework = nullptr;
    handle.priv = nullptr;
    EXPECT_EQ(mrvl_esw_open(&handle, path.c_str()), 0) << path;
    forget();
    return &handle;
}

int32_t DriverTest::ioctl(EswFrameworkHandle* handle, uint32_t cmd, void* arg) {
    return mrvl_esw_ioctl(handle, cmd, arg);
}

int32_t DriverTest::ioctl_value(EswFrameworkHandle* handle, uint32_t cmd, uintptr_t value) {
    return mrvl_esw_ioctl(handle, cmd, reinterpret_cast<void*>(value));
}

void DriverTest::forget() {
    sim::clear_journal();
    sim::clear_logs();
}

testing::Matcher<const sim::LogRecord&> ErrorFrom(const std::string& source) {
    using testing::AllOf;
    using testing::Field;
    return AllOf(Field(&sim::LogRecord::level, 3), Field(&sim::LogRecord::module, "port-manager"),
                 Field(&sim::LogRecord::location, testing::MatchesRegex("\\[" + source + ":[0-9]+\\]:")));
}

testing::Matcher<const sim::LogRecord&> ErrorFrom(const std::string& source, const std::vector<std::string>& parts) {
    std::vector<testing::Matcher<const std::string&>> contains;
    for (const std::string& part : parts) contains.push_back(testing::HasSubstr(part));
    return testing::AllOf(ErrorFrom(source), testing::Field(&sim::LogRecord::message, testing::AllOfArray(contains)));
}

}  // namespace esw_test
