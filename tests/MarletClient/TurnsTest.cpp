#include "MarletClient/Turns.h"

#include <gtest/gtest.h>

#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

TEST(TurnsTest, whoNamesTheSameThingWaitsForItsTurn) {
    TestLoop loop;
    Turns turns(loop.executor());
    Turns::Turn first = loop.runToEnd(turns.take("rocket"));
    auto second = loop.start(turns.take("rocket"));
    auto third = loop.start(turns.take("rocket"));
    loop.runReady();
    EXPECT_FALSE(second->isFinished || third->isFinished);

    first.reset();
    loop.runReady();
    EXPECT_TRUE(second->isFinished);
    EXPECT_FALSE(third->isFinished);

    second->value.reset();
    loop.runReady();
    EXPECT_TRUE(third->isFinished);
}

TEST(TurnsTest, otherThingsAreHeldUpByNobody) {
    TestLoop loop;
    Turns turns(loop.executor());
    Turns::Turn rocket = loop.runToEnd(turns.take("rocket"));
    Turns::Turn launchpad = loop.runToEnd(turns.take("launchpad"));
    EXPECT_NE(rocket.use_count(), 0);
    EXPECT_NE(launchpad.use_count(), 0);
}

}  // namespace
}  // namespace marlet
