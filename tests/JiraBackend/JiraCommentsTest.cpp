#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

std::string page(int count, const std::string& more) {
    std::string comments;
    for (int number = 0; number < count; ++number) {
        comments += std::string(comments.empty() ? "" : ",") + R"({"id":"1","body":"b"})";
    }
    return "{\"comments\":[" + comments + "]" + more + "}";
}

TEST(JiraCommentsTest, commentsAreMappedWhole) {
    Cloud jira;
    jira.answer("GET /issue/ORCH-41/comment", fixture("comments.json"));

    std::vector<TaskComment> comments = runToEnd(jira.backend.fetchComments(task("ORCH-41")));

    User wren{"61f0a5b2c3d4", "Wren Ö.", "Wren Ö.", std::nullopt};
    TaskComment first{"40001", wren, "Is it **ready**? 👍", parseISO8601("2026-02-03T09:00:00Z"),
                      parseISO8601("2026-02-03T10:30:00.5Z")};
    TaskComment second{"40002", std::nullopt, "", parseISO8601("2026-02-04T09:00:00Z"),
                       parseISO8601("2026-02-04T09:00:00Z")};
    EXPECT_THAT(comments, ElementsAre(first, second));
    EXPECT_THAT(jira.requests(), ElementsAre("GET /issue/ORCH-41/comment?orderBy=created&startAt=0&maxResults=100"));
}

TEST(JiraCommentsTest, theyAreReadOnByTheNumberGathered) {
    Server jira;
    jira.answer("GET /issue/WHEEL-12/comment", page(100, R"(,"total":103)"));
    jira.answer("GET /issue/WHEEL-12/comment", page(3, R"(,"total":103)"));

    EXPECT_EQ(runToEnd(jira.backend.fetchComments(task("WHEEL-12"))).size(), 103U);
    EXPECT_THAT(jira.requests(), ElementsAre("GET /issue/WHEEL-12/comment?orderBy=created&startAt=0&maxResults=100",
                                             "GET /issue/WHEEL-12/comment?orderBy=created&startAt=100&maxResults=100"));
}

TEST(JiraCommentsTest, aPageWithoutTotalOrWithoutCommentsEndsTheList) {
    for (const std::string& body : {page(2, ""), page(0, R"(,"total":9)")}) {
        Cloud jira;
        jira.answer("GET /issue/ORCH-41/comment", body);

        runToEnd(jira.backend.fetchComments(task("ORCH-41")));

        EXPECT_EQ(jira.requests().size(), 1U) << body;
    }
}

TEST(JiraCommentsTest, whatIsNoPageIsNeverAnEmptyOne) {
    for (const char* body : {"", "<html>Sign in</html>", "{}", "[]"}) {
        Cloud jira;
        jira.answer("GET /issue/ORCH-41/comment", body);
        EXPECT_THROW(runToEnd(jira.backend.fetchComments(task("ORCH-41"))), DecodingError) << body;
    }
}

TEST(JiraCommentsTest, aCommentIsSentAsWikiText) {
    Cloud jira;
    jira.answer("POST /issue/ORCH-41/comment",
                R"({"id":"40003","author":{"displayName":"Wren Ö."},"body":"*Ready* \"now\"",)"
                R"("created":"2026-02-06T10:00:00.000+0100","updated":"2026-02-06T10:00:00.000+0100"})",
                201);

    TaskComment comment = runToEnd(jira.backend.addComment("**Ready** \"now\"", task("ORCH-41")));

    EXPECT_EQ(comment.id, "40003");
    EXPECT_EQ(comment.body, "**Ready** \"now\"");
    EXPECT_EQ(comment.author->login, "Wren Ö.");
    EXPECT_EQ(comment.createdAt, parseISO8601("2026-02-06T09:00:00Z"));
    EXPECT_THAT(jira.requests(), ElementsAre("POST /issue/ORCH-41/comment"));
    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"body":"*Ready* \"now\""})"));
    EXPECT_EQ(jira.server->lastRequest().headers.at("Content-Type"), "application/json");
}

TEST(JiraCommentsTest, aCommentOfWhichOnlyTheIdCanBeReadIsAsItWasSent) {
    Server jira;
    jira.answer("POST /issue/WHEEL-12/comment", R"({"id":"7","body":{"type":"doc"}})", 201);

    TaskComment comment = runToEnd(jira.backend.addComment("**Ready**", task("WHEEL-12")));

    EXPECT_EQ(comment, (TaskComment{"7", std::nullopt, "**Ready**", std::nullopt, std::nullopt}));
}

}  // namespace
}  // namespace marlet
