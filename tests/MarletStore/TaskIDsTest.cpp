#include <gtest/gtest.h>

#include <algorithm>

#include "MarletBase/Random.h"
#include "StoreFixture.h"

namespace marlet {
namespace {

struct TaskIDsTest : testing::Test {
    std::vector<UUID> makeTasks(int count) {
        for (int number = 0; number < count; ++number) {
            runToEnd(fixture.store.createTask({.title = "Water the beans"}, fixture.account.id, "p1", noon));
        }
        return runToEnd(fixture.store.taskIDs("", 1000));
    }

    SeededRandom random{7};
    StoreFixture fixture;
};

TEST_F(TaskIDsTest, aBeginningInAnyCaseFindsTheTasksThatHaveIt) {
    std::vector<UUID> ids = makeTasks(20);
    ASSERT_EQ(ids.size(), 20U);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    for (const UUID& id : ids) {
        EXPECT_EQ(runToEnd(fixture.store.taskIDs(id.text().substr(0, 10), 10)), std::vector{id});
        EXPECT_EQ(runToEnd(fixture.store.taskIDs(id.lowercaseText().substr(0, 10), 10)), std::vector{id});
        EXPECT_EQ(runToEnd(fixture.store.taskIDs(id.text(), 10)), std::vector{id});
    }
}

TEST_F(TaskIDsTest, noMoreThanTheLimitAreGiven) {
    makeTasks(20);
    EXPECT_EQ(runToEnd(fixture.store.taskIDs("", 3)).size(), 3U);
}

TEST_F(TaskIDsTest, aBeginningThatNoTaskHasFindsNothing) {
    makeTasks(3);
    EXPECT_TRUE(runToEnd(fixture.store.taskIDs("zzzz", 10)).empty());
}

}  // namespace
}  // namespace marlet
