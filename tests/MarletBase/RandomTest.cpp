#include "MarletBase/Random.h"

#include <gtest/gtest.h>

#include "MarletBase/UUID.h"

namespace marlet {
namespace {

TEST(RandomTest, aSeedMakesARunRepeatable) {
    std::vector<UUID> first;
    std::vector<UUID> second;
    for (std::vector<UUID>* run : {&first, &second}) {
        SeededRandom seeded(7);
        for (int index = 0; index < 10; ++index) {
            run->push_back(UUID::random());
        }
    }
    EXPECT_EQ(first, second);
    EXPECT_NE(first[0], first[1]);
}

TEST(RandomTest, withoutASeedNoTwoRunsAreAlike) {
    EXPECT_NE(UUID::random(), UUID::random());
}

}  // namespace
}  // namespace marlet
