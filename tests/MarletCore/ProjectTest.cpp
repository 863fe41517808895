#include "MarletCore/Project.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

Project board(std::vector<std::string> options) {
    Project project;
    project.kind = ProjectKind::board;
    project.statusOptions = std::move(options);
    return project;
}

TEST(ProjectTest, doneInAnyCaseIsTheDoneStatus) {
    Project project = board({"To do", "Doing", "DONE"});
    EXPECT_EQ(project.doneStatus(), "DONE");
    EXPECT_EQ(project.openStatus(), "To do");
}

TEST(ProjectTest, withoutDoneTheLastStatusIsTheDoneStatus) {
    Project project = board({"Backlog", "Shipped"});
    EXPECT_EQ(project.doneStatus(), "Shipped");
    EXPECT_EQ(project.openStatus(), "Backlog");
}

TEST(ProjectTest, doneInFrontLeavesTheNextAsTheOpenStatus) {
    Project project = board({"Done", "done", "Later"});
    EXPECT_EQ(project.doneStatus(), "Done");
    EXPECT_EQ(project.openStatus(), "done");
}

TEST(ProjectTest, aSingleStatusIsDoneAndNoneIsOpen) {
    Project project = board({"Only"});
    EXPECT_EQ(project.doneStatus(), "Only");
    EXPECT_EQ(project.openStatus(), std::nullopt);
}

TEST(ProjectTest, noStatusOptionsGiveNeither) {
    EXPECT_EQ(board({}).doneStatus(), std::nullopt);
    EXPECT_EQ(board({}).openStatus(), std::nullopt);
}

TEST(ProjectTest, aCloneAddressMakesARepository) {
    EXPECT_EQ(projectKind(std::nullopt, URL::parse("https://h/r.git"), std::nullopt), ProjectKind::repository);
    EXPECT_EQ(projectKind(std::nullopt, std::nullopt, "git@h:r.git"), ProjectKind::repository);
    EXPECT_EQ(projectKind(std::nullopt, std::nullopt, std::nullopt), ProjectKind::list);
    EXPECT_EQ(projectKind(ProjectKind::board, URL::parse("https://h/r.git"), std::nullopt), ProjectKind::board);
}

}  // namespace
}  // namespace marlet
