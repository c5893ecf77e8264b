// The VLAN translation and the marker paths, reached directly in the statically linked library.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

#include "driver/internal.h"
#include "vlan/switching.h"

namespace {

struct Translation {
    uint32_t host;
    uint32_t chip;
};

class TranslationTest : public testing::TestWithParam<Translation> {};

TEST_P(TranslationTest, MapsPerPortNumbersAndLeavesTheRest) {
    EXPECT_EQ(mrvl_esw_translate_vlan_id(GetParam().host), GetParam().chip);
}

INSTANTIATE_TEST_SUITE_P(Bounds, TranslationTest,
                         testing::Values(Translation{100, 100}, Translation{101, 4071},
                                         Translation{104, 4074}, Translation{108, 4078},
                                         Translation{109, 109}, Translation{1000, 1000},
                                         Translation{1001, 4079}, Translation{1005, 4083},
                                         Translation{1008, 4086}, Translation{1009, 1009}, Translation{0, 0},
                                         Translation{4071, 4071}, Translation{0xFFFFFFFF, 0xFFFFFFFF}));

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

TEST_F(MarkerPathTest, DefaultFolderIsTheProductConfigFolder) {
    EXPECT_EQ(path(esw::vlan::Marker::enable), "/opt/ostrel/config/enable_switching.dat");
    EXPECT_EQ(path(esw::vlan::Marker::disable), "/opt/ostrel/config/disable_switching.dat");
}

TEST_F(MarkerPathTest, EmptyOverrideMeansTheDefault) {
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
