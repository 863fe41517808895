#include "ForgeBackend/GitHubBoard.h"

#include <gtest/gtest.h>

namespace marlet {

TEST(GitHubBoardTest, anOrganizationsBoardIsReadFromItsID) {
    std::optional<GitHubBoard> board = GitHubBoard::parse("projects/orgs/acme/12");

    ASSERT_TRUE(board);
    EXPECT_EQ(*board, (GitHubBoard{GitHubBoard::Owner::orgs, "acme", 12}));
    EXPECT_EQ(board->projectID(), "projects/orgs/acme/12");
    EXPECT_EQ(board->apiPath(), "orgs/acme/projectsV2/12");
}

TEST(GitHubBoardTest, aUsersBoardIsReadFromItsID) {
    std::optional<GitHubBoard> board = GitHubBoard::parse("projects/users/mona-lisa/3");

    ASSERT_TRUE(board);
    EXPECT_EQ(*board, (GitHubBoard{GitHubBoard::Owner::users, "mona-lisa", 3}));
    EXPECT_EQ(board->projectID(), "projects/users/mona-lisa/3");
    EXPECT_EQ(board->apiPath(), "users/mona-lisa/projectsV2/3");
}

TEST(GitHubBoardTest, anythingElseIsNoBoard) {
    for (const char* text : {"",
                             "owner/repo",
                             "projects",
                             "projects/orgs/acme",
                             "projects/teams/acme/12",
                             "projects/org/acme/12",
                             "projects/Orgs/acme/12",
                             "project/orgs/acme/12",
                             "Projects/orgs/acme/12",
                             "projects/orgs//12",
                             "projects/orgs/../12",
                             "projects/users/./12",
                             "projects/orgs/acme/",
                             "projects/orgs/acme/x",
                             "projects/orgs/acme/12a",
                             "projects/orgs/acme/1.5",
                             "projects/orgs/acme/12/",
                             "/projects/orgs/acme/12",
                             "projects/orgs/acme/team/12",
                             "projects//acme/12",
                             "projects/orgs/acme/-",
                             "projects/orgs/acme/0x1",
                             "projects/orgs/acme/ 12",
                             "projects/orgs/acme/12 "}) {
        EXPECT_FALSE(GitHubBoard::parse(text)) << text;
    }
}

TEST(GitHubBoardTest, aNumberThatDoesNotFitIsNoBoard) {
    EXPECT_EQ(GitHubBoard::parse("projects/orgs/acme/9223372036854775807")->number, INT64_MAX);
    EXPECT_FALSE(GitHubBoard::parse("projects/orgs/acme/9223372036854775808"));
    EXPECT_FALSE(GitHubBoard::parse("projects/orgs/acme/99999999999999999999"));
}

TEST(GitHubBoardTest, anotherSpellingOfANumberIsNoSecondBoard) {
    for (const char* text : {"projects/orgs/acme/+12", "projects/orgs/acme/012", "projects/orgs/acme/-0"}) {
        EXPECT_FALSE(GitHubBoard::parse(text)) << text;
    }
}

}  // namespace marlet
