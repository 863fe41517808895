#include <gmock/gmock.h>

#include "GitLabScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const std::string notesQuery = "?order_by=created_at&sort=asc&per_page=100";

TEST(GitLabCommentsTest, theNotesOfPeopleAreReadAndNotThoseOfTheService) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects/31/issues/12/notes", 200, fixture("notes.json"));

    std::vector<TaskComment> comments = runToEnd(gitLab.backend.fetchComments(taskWithTitle("12")));

    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET " + projectAddress + "/issues/12/notes" + notesQuery));
    ASSERT_EQ(comments.size(), 2U);
    TaskComment first;
    first.id = "302";
    first.author = User{"72", "heron", "H. Eron", URL::parse("https://pictures.example/u/72")};
    first.body = "Yes 👍\r\n\r\n> quoted";
    first.createdAt = parseISO8601("2026-02-03T09:05:00Z");
    first.updatedAt = parseISO8601("2026-02-03T09:30:00.500Z");
    EXPECT_EQ(comments[0], first);
    EXPECT_EQ(comments[1].id, "303");
    EXPECT_EQ(comments[1].body, "");
    EXPECT_EQ(comments[1].updatedAt, std::nullopt);
}

TEST(GitLabCommentsTest, commentsAreReadToTheLastPageAndMayLackEverything) {
    GitLabScenario gitLab;
    const std::string address = projectAddress + "/merge_requests/7/notes";
    gitLab.answer("GET " + address + notesQuery, 200, R"([{"id":1,"body":null,"author":null}])",
                  {{"Link", "<" + address + "?page=2>; rel=\"next\""}});
    gitLab.answer("GET " + address + "?page=2", 200, R"([{"id":2}])");

    std::vector<TaskComment> comments = runToEnd(gitLab.backend.fetchComments(taskWithTitle("!7")));

    ASSERT_EQ(comments.size(), 2U);
    EXPECT_EQ(comments[0].body, "");
    EXPECT_EQ(comments[0].author, std::nullopt);
    EXPECT_EQ(comments[1].createdAt, std::nullopt);
}

TEST(GitLabCommentsTest, aCommentIsPostedAndComesBackAsItStands) {
    for (const char* id : {"12", "!7"}) {
        GitLabScenario gitLab;
        std::string path = id[0] == '!' ? "/merge_requests/7/notes" : "/issues/12/notes";
        gitLab.answer("POST /api/v4/projects/31" + path, 201,
                      R"({"id":77,"author":{"id":71,"username":"otter"},"body":"Done!","system":false,)"
                      R"("created_at":"2026-02-03T09:00:00.000Z"})");

        TaskComment comment = runToEnd(gitLab.backend.addComment("Done \"now\"", taskWithTitle(id)));

        EXPECT_THAT(gitLab.server->log(), ElementsAre("POST " + projectAddress + path));
        EXPECT_EQ(gitLab.lastBody(), R"({"body":"Done \"now\""})");
        EXPECT_EQ(comment.id, "77");
        EXPECT_EQ(comment.body, "Done!");
        EXPECT_EQ(comment.author->login, "otter");
        EXPECT_EQ(comment.createdAt, parseISO8601("2026-02-03T09:00:00Z"));
    }
}

TEST(GitLabCommentsTest, aPostedCommentIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    GitLabScenario gitLab;
    gitLab.answer("POST /api/v4/projects/31/issues/12/notes", 201, R"({"id":77,"body":"x","created_at":"now"})");
    TaskComment comment = runToEnd(gitLab.backend.addComment("Done", taskWithTitle("12")));
    EXPECT_EQ(comment.id, "77");
    EXPECT_EQ(comment.body, "Done");
}

TEST(GitLabCommentsTest, anAnswerWithoutACommentIsAnError) {
    for (const char* body : {"", "<html>", "{}", "[]"}) {
        GitLabScenario gitLab;
        gitLab.answer("GET /api/v4/projects/31/issues/12/notes", 200, body == std::string("[]") ? "{}" : body);
        gitLab.answer("POST /api/v4/projects/31/issues/12/notes", 200, body);
        EXPECT_THROW(runToEnd(gitLab.backend.fetchComments(taskWithTitle("12"))), LocalizedError) << body;
        EXPECT_THROW(runToEnd(gitLab.backend.addComment("x", taskWithTitle("12"))), LocalizedError) << body;
    }
}

}  // namespace
}  // namespace marlet
