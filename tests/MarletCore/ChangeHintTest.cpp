#include "MarletCore/ChangeHint.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

const Date early = dateFromSeconds(100);
const Date late = dateFromSeconds(200);

TEST(ChangeHintTest, theNewestChangeStands) {
    ChangeHint hint{early, std::nullopt};
    hint.add(late, false);
    EXPECT_EQ(hint, (ChangeHint{late, std::nullopt}));
    hint.add(early, false);
    EXPECT_EQ(hint, (ChangeHint{late, std::nullopt}));
}

TEST(ChangeHintTest, anOldDeletionLeavesTheLatestChangeAndIsStillTheLatestDeletion) {
    ChangeHint hint{late, std::nullopt};
    hint.add(early, true);
    EXPECT_EQ(hint, (ChangeHint{late, early}));
}

TEST(ChangeHintTest, theNewestDeletionStands) {
    ChangeHint hint{early, late};
    hint.add(early, true);
    EXPECT_EQ(hint, (ChangeHint{early, late}));
}

TEST(ChangeHintTest, aProjectSeenForTheFirstTimeGetsAHintOfThatDate) {
    ChangeHints hints;
    add(hints, early, "p", false);
    EXPECT_EQ(hints, (ChangeHints{{"p", {early, std::nullopt}}}));
    add(hints, late, "p", true);
    EXPECT_EQ(hints, (ChangeHints{{"p", {late, late}}}));
    add(hints, early, "q", true);
    EXPECT_EQ(hints.at("q"), (ChangeHint{early, early}));
}

}  // namespace
}  // namespace marlet
