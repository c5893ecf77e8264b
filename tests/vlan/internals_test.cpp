// The marker paths, reached directly in the statically linked library.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

#include "driver/esw_driver.h"
#include "vlan/switching.h"

namespace {

// Saves and restores the override around each test so that the default can be seen.
class MarkerPathTest : public testing::Test {
protected:
    void SetUp() override {
        if (const char* value = std::getenv(kVar)) saved_ = value;
        unsetenv(kVar);
    }
    void TearDown() override {
        if (saved_)
            setenv(kVar, saved_->c_str(), 1);
        else
            unsetenv(kVar);
    }
    static std::string path(esw::vlan::Marker marker) {
        char out[PATH_MAX];
        EXPECT_TRUE(esw::vlan::switching_marker_path(marker, out, sizeof out));
        return out;
    }
    static constexpr const char* kVar = "ESW_CONFIG_DIR_OVERRIDE";
    std::optional<std::string> saved_;
};

TEST_F(MarkerPathTest, DefaultFolderIsTheProductConfigFolderAlsoForAnEmptyOverride) {
    EXPECT_EQ(path(esw::vlan::Marker::enable), "/opt/ostrel/config/enable_switching.dat");
    EXPECT_EQ(path(esw::vlan::Marker::disable), "/opt/ostrel/config/disable_switching.dat");
    setenv(kVar, "", 1);
    EXPECT_EQ(path(esw::vlan::Marker::enable), "/opt/ostrel/config/enable_switching.dat");
}

TEST_F(MarkerPathTest, OverrideReplacesTheFolder) {
    setenv(kVar, "/tmp/markers", 1);
    EXPECT_EQ(path(esw::vlan::Marker::enable), "/tmp/markers/enable_switching.dat");
    EXPECT_EQ(path(esw::vlan::Marker::disable), "/tmp/markers/disable_switching.dat");
}

TEST_F(MarkerPathTest, PathThatDoesNotFitIsRefusedAndCountsAsNoMarker) {
    setenv(kVar, std::string(PATH_MAX, 'd').c_str(), 1);
    char out[PATH_MAX];
    EXPECT_FALSE(esw::vlan::switching_marker_path(esw::vlan::Marker::enable, out, sizeof out));
    char tiny[8];
    setenv(kVar, "/tmp", 1);
    EXPECT_FALSE(esw::vlan::switching_marker_path(esw::vlan::Marker::enable, tiny, sizeof tiny));
    setenv(kVar, std::string(PATH_MAX, 'd').c_str(), 1);
    EXPECT_EQ(platform_supports_switching(), 0u);
}

}  // namespace
