#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string comments = api + "tasks/71/comments";

TEST(VikunjaCommentsTest, commentsAreReadInTheirOrderWithTheirHTML) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71/comments", 200, fixture("comments.json"));

    std::vector<TaskComment> found = runToEnd(vikunja.backend.fetchComments(taskWithTitle("71")));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + comments + "?order_by=asc&per_page=50"));
    ASSERT_EQ(found.size(), 3u);
    TaskComment first{"41", User{"4", "mira", "Mira Holm", std::nullopt},
                      "<p>I will ask <mention-user data-id=\"tove\"></mention-user> 📞</p>",
                      parseISO8601("2026-01-11T10:00:00Z"), parseISO8601("2026-01-11T11:00:00Z")};
    EXPECT_EQ(found[0], first);
    EXPECT_EQ(found[1].body, "");
    EXPECT_EQ(found[1].author, (User{"9", "tove", std::nullopt, std::nullopt}));
    EXPECT_EQ(found[1].createdAt, parseISO8601("2026-01-12T09:00:00.5Z"));
    EXPECT_EQ(found[2].author, std::nullopt);
}

TEST(VikunjaCommentsTest, commentsAreReadToTheLastPage) {
    Vikunja vikunja;
    vikunja.answer("GET " + comments + "?order_by=asc&per_page=50", 200, R"([{"id":1,"comment":"a"}])",
                   {{"x-pagination-total-pages", "2"}});
    vikunja.answer("GET " + comments + "?order_by=asc&per_page=50&page=2", 200, R"([{"id":2,"comment":"b"}])",
                   {{"x-pagination-total-pages", "2"}});
    EXPECT_EQ(runToEnd(vikunja.backend.fetchComments(taskWithTitle("71"))).size(), 2u);
}

TEST(VikunjaCommentsTest, aTaskMayHaveNone) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71/comments", 200, "[]");
    EXPECT_THAT(runToEnd(vikunja.backend.fetchComments(taskWithTitle("71"))), IsEmpty());
}

TEST(VikunjaCommentsTest, aNewCommentIsSentAsItIs) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/tasks/71/comments", 201,
                   R"({"id":44,"comment":"<p>Danke</p>","author":{"id":4,"name":"","username":"mira"},"reactions":null,
                       "created":"2026-01-15T10:07:00.172137773+01:00","updated":"2026-01-15T10:07:00+01:00"})");

    TaskComment comment = runToEnd(vikunja.backend.addComment("<p>Danke</p>", taskWithTitle("71")));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("PUT " + comments));
    EXPECT_EQ(vikunja.lastBody(), R"({"comment":"<p>Danke</p>"})");
    EXPECT_EQ(vikunja.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(comment.id, "44");
    EXPECT_EQ(comment.body, "<p>Danke</p>");
    EXPECT_EQ(comment.author.value().login, "mira");
    EXPECT_EQ(comment.updatedAt, parseISO8601("2026-01-15T09:07:00Z"));
}

TEST(VikunjaCommentsTest, aCommentThatWasMadeIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/tasks/71/comments", 201, R"({"id":44,"comment":"a","created":"soon"})");
    TaskComment comment = runToEnd(vikunja.backend.addComment("a", taskWithTitle("71")));
    EXPECT_EQ(comment, (TaskComment{"44", std::nullopt, "a", std::nullopt, std::nullopt}));
}

}  // namespace
}  // namespace marlet
