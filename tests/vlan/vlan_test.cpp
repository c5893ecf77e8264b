#include "tests/vlan/vlan_test.h"

namespace vlan_test {

void VlanTest::SetUp() {
    DriverTest::SetUp();
    uc_mac_acl_handle_p[0] = sim::acl_handle(255);
    mc_mac_acl_handle_p[0] = sim::acl_handle(254);
    port3_ = open_port(3);
}

void VlanTest::TearDown() {
    uc_mac_acl_handle_p[0] = 0;
    mc_mac_acl_handle_p[0] = 0;
    DriverTest::TearDown();
}

void VlanTest::add_to_table(uint32_t vlan) { sim::chip().device.vlans.try_emplace(vlan); }

bool VlanTest::in_table(uint32_t vlan) { return sim::chip().device.vlans.count(vlan) == 1; }

void VlanTest::expect_stop_at_each_step(const std::vector<std::string>& expected,
                                        const std::vector<Records>& failures,
                                        const std::function<void()>& arrange,
                                        const std::function<int64_t()>& act, int64_t failResult,
                                        int64_t failValue) {
    std::size_t step = 0;
    for (std::size_t position = 0; position < expected.size(); ++position) {
        const std::string name = expected[position].substr(0, expected[position].find('('));
        if (name == "asic_vlan_exists") continue;
        unsigned nth = 0;
        for (std::size_t i = 0; i <= position; ++i)
            if (expected[i].rfind(name + "(", 0) == 0) ++nth;

        sim::reset();
        arrange();
        forget();
        sim::inject({.call = name, .result = failValue, .nth = nth});
        SCOPED_TRACE("failing " + expected[position]);
        EXPECT_EQ(act(), failResult);
        EXPECT_EQ(journal(), std::vector<std::string>(expected.begin(), expected.begin() + position + 1));
        ASSERT_LT(step, failures.size()) << "no records listed for this step";
        std::vector<testing::Matcher<const sim::LogRecord&>> records;
        for (const Parts& parts : failures[step]) records.push_back(IoctlError(parts));
        EXPECT_THAT(logs(), testing::ElementsAreArray(records));
        ++step;
    }
    EXPECT_EQ(step, failures.size()) << "more records listed than steps";
}

}  // namespace vlan_test
