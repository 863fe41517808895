#include <gtest/gtest.h>

#include <initializer_list>

#include "MarletWorkspace/Worktree.h"

namespace marlet {
namespace {

const UUID localID = UUID::parse("1F2E3D4C-0000-4000-8000-000000000000").value();

std::string name(const std::string& taskID, TaskKind kind, const std::string& title) {
    return Worktree::name(taskID, kind, localID, title);
}

std::optional<std::string> pullRequestRef(const std::string& taskID, BackendKind backend) {
    return Worktree::pullRequestRef(taskID, TaskKind::pullRequest, backend);
}

TEST(WorktreeNamesTest, aTaskIsNamedByItsNumberAndTitle) {
    EXPECT_EQ(name("42", TaskKind::issue, "Fix login"), "42-fix-login");
    EXPECT_EQ(name("PROJ-12", TaskKind::task, "Fix login"), "proj-12-fix-login");
}

TEST(WorktreeNamesTest, aPullRequestHasAPrefix) {
    EXPECT_EQ(name("17", TaskKind::pullRequest, "Bump deps"), "pr-17-bump-deps");
    EXPECT_EQ(name("!17", TaskKind::pullRequest, "Bump deps"), "mr-17-bump-deps");
    EXPECT_EQ(name("!17", TaskKind::issue, "Bump deps"), "17-bump-deps");
}

TEST(WorktreeNamesTest, aTaskThatNoServerHasSeenIsNamedByItsLocalID) {
    EXPECT_EQ(name("local-9A", TaskKind::task, "Écrire"), "new-1f2e3d4c-ecrire");
    EXPECT_EQ(name("local-9A", TaskKind::pullRequest, ""), "new-1f2e3d4c");
    EXPECT_EQ(name("Local-9A", TaskKind::task, ""), "local-9a");
}

TEST(WorktreeNamesTest, aTitleThatSlugsToNothingLeavesTheStemAlone) {
    EXPECT_EQ(name("42", TaskKind::issue, "…!"), "42");
}

TEST(WorktreeNamesTest, bothPartsAreCutAtFortyCharacters) {
    std::string letters(60, 'x');
    std::string part(40, 'x');
    EXPECT_EQ(name(letters, TaskKind::task, letters), part + "-" + part);
    EXPECT_EQ(name(letters, TaskKind::pullRequest, letters), "pr-" + part + "-" + part);
    EXPECT_TRUE(Worktree::isValidName(name(letters, TaskKind::task, letters)));
}

TEST(WorktreeNamesTest, aValidNameIsOfLowerCaseLettersDigitsAndDashes) {
    for (const std::string& valid : {std::string("a"), std::string("0"), std::string("a-"), std::string("42-fix-login"),
                                     std::string(81, 'z'), "9" + std::string(80, '-')}) {
        EXPECT_TRUE(Worktree::isValidName(valid)) << valid;
    }
}

TEST(WorktreeNamesTest, everythingElseIsNoName) {
    for (const std::string& invalid :
         {std::string(), std::string("-a"), std::string("A"), std::string("a_b"), std::string("a/b"), std::string(".."),
          std::string("a.b"), std::string("a "), std::string("a\n"), std::string("a\0", 2), std::string("é"),
          std::string("a\xFF"), std::string("a{"), std::string("a`"), std::string(82, 'a')}) {
        EXPECT_FALSE(Worktree::isValidName(invalid)) << invalid;
    }
}

TEST(WorktreeNamesTest, aMergeRequestLosesItsMarks) {
    EXPECT_EQ(pullRequestRef("!!12", BackendKind::gitlab), "refs/merge-requests/12/head");
    EXPECT_EQ(pullRequestRef("!7", BackendKind::gitlab), "refs/merge-requests/7/head");
    EXPECT_EQ(pullRequestRef("007", BackendKind::gitlab), "refs/merge-requests/7/head");
}

TEST(WorktreeNamesTest, aPullRequestIsItsNumber) {
    EXPECT_EQ(pullRequestRef("12", BackendKind::github), "refs/pull/12/head");
    EXPECT_EQ(pullRequestRef("12", BackendKind::forgejo), "refs/pull/12/head");
}

TEST(WorktreeNamesTest, whatIsNoNumberHasNoRef) {
    for (const char* taskID :
         {"abc", "", "12a", "a12", " 12", "1.5", "-1", "+1", "#12", "99999999999999999999", "١٢"}) {
        EXPECT_EQ(pullRequestRef(taskID, BackendKind::github), std::nullopt) << taskID;
        EXPECT_EQ(pullRequestRef(taskID, BackendKind::gitlab), std::nullopt) << taskID;
    }
    EXPECT_EQ(pullRequestRef("!12", BackendKind::github), std::nullopt);
    EXPECT_EQ(pullRequestRef("!!", BackendKind::gitlab), std::nullopt);
    EXPECT_EQ(pullRequestRef("!1!", BackendKind::gitlab), std::nullopt);
}

TEST(WorktreeNamesTest, onlyPullRequestsOfForgesHaveARef) {
    for (BackendKind backend : {BackendKind::github, BackendKind::gitlab, BackendKind::vikunja, BackendKind::forgejo,
                                BackendKind::jira, BackendKind::local}) {
        EXPECT_EQ(Worktree::pullRequestRef("12", TaskKind::issue, backend), std::nullopt);
        EXPECT_EQ(Worktree::pullRequestRef("12", TaskKind::task, backend), std::nullopt);
    }
    for (BackendKind backend : {BackendKind::vikunja, BackendKind::jira, BackendKind::local}) {
        EXPECT_EQ(pullRequestRef("12", backend), std::nullopt);
    }
}

TEST(WorktreeNamesTest, worktreesLiveBesideTheirCheckout) {
    EXPECT_EQ(Worktree::container("/code/team/app"), "/code/team/app.worktrees");
    EXPECT_EQ(Worktree::container("/code/team/app/"), "/code/team/app.worktrees");
    EXPECT_EQ(Worktree::container("/app"), "/app.worktrees");
    EXPECT_EQ(Worktree::container("/"), "/.worktrees");
}

TEST(WorktreeNamesTest, branchesHaveAPrefixOfTheirOwn) {
    EXPECT_EQ(Worktree::branchPrefix, "marlet/");
}

}  // namespace
}  // namespace marlet
