#include "MarletClient/Naming.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "TestSupport/ServicesHarness.h"

namespace marlet {
namespace {

bool isDigits(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

TEST(NamingTest, whatListsShowOfAnIDNamesItsTaskAlsoWhenItIsAllDigits) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    std::string id;
    // One id in forty begins so.
    for (int count = 0; count < 5000 && (id.empty() || !isDigits(id.substr(0, 8))); ++count) {
        id = harness.createTask(account, "Water").text();
    }
    std::string shown = id.substr(0, 8);
    ASSERT_TRUE(isDigits(shown));

    EXPECT_EQ(harness.run(completedTaskID(harness.store(), shown)), id);
    EXPECT_EQ(harness.run(completedTaskID(harness.store(), shown.substr(0, 7))), shown.substr(0, 7));
    EXPECT_EQ(harness.run(completedTaskID(harness.store(), "00000000000000")), "00000000000000");
}

}  // namespace
}  // namespace marlet
