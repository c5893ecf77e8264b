// The command set's tables, walked as the library holds them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "driver/command_table.h"
#include "driver/esw_alloc.h"
#include "tests/common/driver_test.h"

namespace {

TEST(CommandTable, EveryDescriptionNamesTheCommandItDescribes) {
    for (uint32_t k = 0; k < esw::eswCommandDescriptions.size(); ++k) {
        const esw::Command* row = esw::find_command(esw::description_command(k));
        ASSERT_NE(row, nullptr) << k;
        ASSERT_NE(row->name, nullptr) << k;
        EXPECT_EQ(std::strncmp(esw::eswCommandDescriptions[k], row->name, std::strlen(row->name)), 0)
            << "entry " << k << " \"" << esw::eswCommandDescriptions[k] << "\" vs " << row->name;
    }
}

TEST(CommandTable, DescriptionsSkipTheStaticMacCommandsAndTheUnnamedCode) {
    EXPECT_EQ(esw::description_command(29), 8221u);
    EXPECT_EQ(esw::description_command(30), 8222u);
    EXPECT_EQ(esw::description_command(31), 8223u);
    EXPECT_EQ(esw::description_command(32), 8225u);
    EXPECT_EQ(esw::description_command(51), 8244u);
    EXPECT_EQ(esw::description_command(52), 8250u);
    EXPECT_EQ(esw::description_command(57), 8255u);
}

TEST(CommandTable, OnlyNicStatsAndNicLinkHideTheirHandlersResult) {
    for (const esw::Command& row : esw::kCommands) {
        const bool hidden = row.number == NIC_STATS || row.number == NIC_LINK;
        EXPECT_EQ(row.report == esw::Report::always_zero, hidden) << row.number;
    }
}

TEST(CommandTable, ExactlyOneCodeHasNoName) {
    int unnamed = 0;
    for (const esw::Command& row : esw::kCommands) unnamed += row.name == nullptr ? 1 : 0;
    EXPECT_EQ(unnamed, 1);
    EXPECT_EQ(esw::find_command(8224)->name, nullptr);
    EXPECT_EQ(esw::find_command(8191), nullptr);
    EXPECT_EQ(esw::find_command(8256), nullptr);
}

TEST(SpeedDuplexNames, IndexedBySpeedTypeCode) {
    EXPECT_STREQ(esw::eswSpeedDuplexNames[ESW_SPEED_UNKNOWN], "Unknown");
    EXPECT_STREQ(esw::eswSpeedDuplexNames[ESW_SPEED_10_FULL], "10 Mbps / Full");
    EXPECT_STREQ(esw::eswSpeedDuplexNames[ESW_SPEED_1000_FULL], "1000 Mbps / Full");
    EXPECT_STREQ(esw::eswSpeedDuplexNames[ESW_SPEED_NOSPEED], "NoSpeed");
    EXPECT_STREQ(esw::eswSpeedDuplexNames[ESW_SPEED_2500_FULL], "2500 Mbps / Full");
}

TEST(SfpTypeNames, CoverTheFiveFamiliesAndNothingElse) {
    EXPECT_STREQ(esw::esw_sfp_type_name(0x11), "SFP_10G_PAS_CX1_1");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x19), "SFP_10G_PAS_CX1");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x27), "SFP_10G_ACT_LIMIT_CX1");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x4B), "SFP_10GB_ELPBK_BER");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x85), "SFP_10G_ZR");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x101), "SFP_1G_NS");
    EXPECT_STREQ(esw::esw_sfp_type_name(0x108), "SFP_1G_ZX");
    for (int32_t code : {0, -1, 0x10, 0x1A, 0x20, 0x28, 0x40, 0x4C, 0x80, 0x86, 0x100, 0x109, 0x7FFFFFFF})
        EXPECT_STREQ(esw::esw_sfp_type_name(code), "SFP_UNKNOWN") << code;
}

class AllocationFailure : public esw_test::DriverTest {
protected:
    void TearDown() override {
        esw::set_alloc_fail_hook(nullptr);
        DriverTest::TearDown();
    }
};

TEST_F(AllocationFailure, OpenReturns28AndLeavesPrivAsItWas) {
    esw::set_alloc_fail_hook([](std::size_t) { return true; });
    EswFrameworkHandle handle{nullptr, reinterpret_cast<void*>(0x10)};
    EXPECT_EQ(mrvl_esw_open(&handle, "mrvl_switch/0/6"), 28);
    EXPECT_EQ(handle.priv, reinterpret_cast<void*>(0x10));
    EXPECT_THAT(logs(), testing::ElementsAre(esw_test::ErrorFrom("peridot_drv", {"port 6"})));
}

}  // namespace
