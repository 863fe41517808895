#include "MarletCore/TaskItem.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

Project project(ProjectKind kind, std::vector<std::string> options) {
    Project result;
    result.kind = kind;
    result.statusOptions = std::move(options);
    return result;
}

TaskItem task(std::optional<std::string> status, bool isCompleted) {
    TaskItem item;
    item.status = std::move(status);
    item.isCompleted = isCompleted;
    return item;
}

TEST(TaskItemTest, aNumberIsSpokenOfWithAHash) {
    EXPECT_EQ(TaskItem::reference("42"), "#42");
    EXPECT_EQ(TaskItem::reference("ABC-7"), "ABC-7");
    EXPECT_EQ(TaskItem::reference(""), "#");
    EXPECT_EQ(TaskItem::reference("٤٢"), "#٤٢");
    EXPECT_EQ(TaskItem::reference("Ⅷ½"), "#Ⅷ½");
    TaskItem item;
    item.id = "7";
    EXPECT_EQ(item.reference(), "#7");
}

TEST(TaskItemTest, theDoneStatusCompletesATaskAndEveryOtherReopensIt) {
    Project board = project(ProjectKind::board, {"Todo", "Done"});
    TaskItem item;
    item.setStatus("Done", board);
    EXPECT_TRUE(item.isCompleted);
    item.setStatus("Todo", board);
    EXPECT_FALSE(item.isCompleted);
    EXPECT_EQ(item.status, "Todo");
}

TEST(TaskItemTest, theDoneStatusIsComparedExactly) {
    TaskItem item;
    item.setStatus("done", project(ProjectKind::board, {"Todo", "Done"}));
    EXPECT_FALSE(item.isCompleted);
}

TEST(TaskItemTest, aProjectWithoutStatusesMakesATaskNotCompleted) {
    TaskItem item = task(std::nullopt, true);
    item.setStatus("Done", project(ProjectKind::list, {}));
    EXPECT_FALSE(item.isCompleted);
}

TEST(TaskItemTest, completingOutsideABoardLeavesTheStatus) {
    for (ProjectKind kind : {ProjectKind::repository, ProjectKind::list}) {
        TaskItem item = task("In review", false);
        item.setCompleted(true, project(kind, {"Todo", "Done"}));
        EXPECT_TRUE(item.isCompleted);
        EXPECT_EQ(item.status, "In review");
    }
}

TEST(TaskItemTest, completingOnABoardTakesTheDoneStatus) {
    TaskItem item = task("Todo", false);
    item.setCompleted(true, project(ProjectKind::board, {"Todo", "Done"}));
    EXPECT_EQ(item.status, "Done");
}

TEST(TaskItemTest, completingOnABoardWithoutStatusesClearsTheStatus) {
    TaskItem item = task("Todo", false);
    item.setCompleted(true, project(ProjectKind::board, {}));
    EXPECT_EQ(item.status, std::nullopt);
}

TEST(TaskItemTest, reopeningOnABoardFollowsTheStatus) {
    struct Row {
        std::optional<std::string> before;
        std::vector<std::string> options;
        std::optional<std::string> after;
    };
    const std::vector<Row> rows{
        {"Done", {"Todo", "Done"}, "Todo"},        // the done status gives way to the open one
        {std::nullopt, {"Todo", "Done"}, "Todo"},  // none at all as well
        {"Doing", {"Todo", "Doing", "Done"}, "Doing"},
        {"Lost", {}, "Lost"},  // no done status: nothing more happens
        {std::nullopt, {}, std::nullopt},
        {"Only", {"Only"}, std::nullopt},  // no open status to go to
    };
    for (const Row& row : rows) {
        TaskItem item = task(row.before, true);
        item.setCompleted(false, project(ProjectKind::board, row.options));
        EXPECT_FALSE(item.isCompleted);
        EXPECT_EQ(item.status, row.after);
    }
}

}  // namespace
}  // namespace marlet
