#include <gmock/gmock.h>

#include "ForgeScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

TaskItem boardTicket() {
    return taskWithTitle("31", "projects/orgs/acme/12");
}

TEST(ForgeCommentsTest, gitHubsCommentsKeepTheirTextAndMayHaveLostTheirAuthor) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues/41/comments", 200, fixture("github-comments.json"));

    std::vector<TaskComment> comments = runToEnd(gitHub.backend.fetchComments(taskWithTitle("41", "larch/orchard")));

    EXPECT_THAT(gitHub.server->log(),
                ElementsAre("GET https://api.github.com/repos/larch/orchard/issues/41/comments?per_page=100"));
    ASSERT_EQ(comments.size(), 3U);
    TaskComment first;
    first.id = "6000000001";
    first.author = User{"72", "tit", std::nullopt, URL::parse("https://pictures.example/u/72?v=4")};
    first.body = "Yes 👍\r\n\r\n> quoted";
    first.createdAt = parseISO8601("2026-02-03T09:00:00Z");
    first.updatedAt = parseISO8601("2026-02-03T09:30:00Z");
    EXPECT_EQ(comments[0], first);
    EXPECT_EQ(comments[1].author, std::nullopt);
    EXPECT_EQ(comments[1].body, "From someone who left");
    EXPECT_EQ(comments[2].body, "");
}

TEST(ForgeCommentsTest, forgejosCommentsMayComeFromNobody) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/issues/12/comments", 200, fixture("forgejo-comments.json"));

    std::vector<TaskComment> comments = runToEnd(forgejo.backend.fetchComments(taskWithTitle("12", "mill/wheel")));

    EXPECT_THAT(forgejo.server->log(),
                ElementsAre("GET https://forge.example/api/v1/repos/mill/wheel/issues/12/comments?limit=50"));
    ASSERT_EQ(comments.size(), 2U);
    EXPECT_EQ(comments[0].author->displayName, "Otter Brook");
    EXPECT_EQ(comments[0].createdAt, parseISO8601("2026-02-03T09:00:00Z"));
    EXPECT_EQ(comments[1].author, (User{"-1", "Ghost", "", std::nullopt}));
}

TEST(ForgeCommentsTest, commentsAreReadToTheLastPage) {
    GitHub gitHub;
    const std::string address = "https://api.github.com/repos/a/b/issues/1/comments";
    gitHub.answer("GET " + address + "?per_page=100", 200, R"([{"id":1}])",
                  {{"Link", "<" + address + "?page=2>; rel=\"next\", <" + address + "?page=2>; rel=\"last\""}});
    gitHub.answer("GET " + address + "?page=2", 200, R"([{"id":2,"user":null,"body":null}])");
    EXPECT_EQ(runToEnd(gitHub.backend.fetchComments(taskWithTitle("1", "a/b"))).size(), 2U);
}

TEST(ForgeCommentsTest, aCommentIsPostedAndComesBackAsItStands) {
    GitHub gitHub;
    gitHub.answer("POST /repos/a/b/issues/1/comments", 201,
                  R"({"id":77,"user":{"id":71,"login":"wren"},"body":"Done!","created_at":"2026-02-03T09:00:00Z"})");

    TaskComment comment = runToEnd(gitHub.backend.addComment("Done \"now\"", taskWithTitle("1", "a/b")));

    EXPECT_THAT(gitHub.server->log(), ElementsAre("POST https://api.github.com/repos/a/b/issues/1/comments"));
    EXPECT_EQ(gitHub.lastBody(), R"({"body":"Done \"now\""})");
    EXPECT_EQ(comment.id, "77");
    EXPECT_EQ(comment.body, "Done!");
    EXPECT_EQ(comment.author->login, "wren");
}

TEST(ForgeCommentsTest, aPostedCommentIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    Forgejo forgejo;
    forgejo.answer("POST /api/v1/repos/a/b/issues/1/comments", 201, R"({"id":77,"body":"x","created_at":"now"})");
    TaskComment comment = runToEnd(forgejo.backend.addComment("Done", taskWithTitle("1", "a/b")));
    EXPECT_EQ(comment.id, "77");
    EXPECT_EQ(comment.body, "Done");
}

TEST(ForgeCommentsTest, anAnswerWithoutACommentIsAnError) {
    Forgejo forgejo;
    forgejo.answer("POST /api/v1/repos/a/b/issues/1/comments", 201, "<html>");
    EXPECT_THROW(runToEnd(forgejo.backend.addComment("Done", taskWithTitle("1", "a/b"))), LocalizedError);
    forgejo.answer("GET /api/v1/repos/a/b/issues/1/comments", 200, "");
    EXPECT_THROW(runToEnd(forgejo.backend.fetchComments(taskWithTitle("1", "a/b"))), LocalizedError);
}

TEST(ForgeCommentsTest, ticketsOfABoardHaveNoCommentsAndTakeNone) {
    GitHub gitHub;
    EXPECT_TRUE(runToEnd(gitHub.backend.fetchComments(boardTicket())).empty());
    EXPECT_EQ(errorOf(gitHub.backend.addComment("x", boardTicket())),
              BackendError::rejected("Draft tickets of a GitHub Project have no comments."));
    EXPECT_TRUE(gitHub.server->requests().empty());
}

TEST(ForgeCommentsTest, theRawTaskIsTheAnswerByteForByte) {
    for (BackendKind kind : {BackendKind::github, BackendKind::forgejo}) {
        ForgeScenario scenario(kind);
        const std::string bytes = "{ \"number\" : 1, \"odd\":\"\xff\"}\n";
        scenario.server->onRequest = [&](const URLRequest&) { return ScriptedTransport::Answer{.body = bytes}; };

        EXPECT_EQ(runToEnd(scenario.backend.rawTask(taskWithTitle("1", "a/b"))), bytes);

        const std::string root =
            kind == BackendKind::github ? "https://api.github.com" : "https://forge.example/api/v1";
        EXPECT_THAT(scenario.server->log(), ElementsAre("GET " + root + "/repos/a/b/issues/1"));
    }
}

}  // namespace
}  // namespace marlet
