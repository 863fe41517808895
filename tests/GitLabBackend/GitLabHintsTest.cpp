#include <gmock/gmock.h>

#include "GitLabScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

Date utc(const char* text) {
    return parseISO8601(text).value();
}

TEST(GitLabHintsTest, todosTellWhereIssuesAndMergeRequestsChanged) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/todos", 200, fixture("todos.json"));

    ChangeHints hints = runToEnd(gitLab.backend.notifiedTaskUpdates(utc("2026-02-06T04:00:00Z")));

    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET https://gitlab.example/api/v4/todos?per_page=100"));
    ChangeHints expected = {{"31", {utc("2026-02-06T11:00:00Z"), std::nullopt}},
                            {"32", {utc("2026-02-06T08:00:00Z"), std::nullopt}}};
    EXPECT_EQ(hints, expected);
}

TEST(GitLabHintsTest, readingStopsAtTheFirstTodoThatWasMadeBeforeTheDate) {
    GitLabScenario gitLab;
    auto todo = [](const std::string& project, const std::string& created, const std::string& updated) {
        return R"({"project":{"id":)" + project + R"(},"target_type":"Issue","created_at":"2026-02-06T)" + created +
               R"(:00.000Z","updated_at":"2026-02-06T)" + updated + R"(:00.000Z"})";
    };
    gitLab.answer("GET /api/v4/todos", 200,
                  "[" + todo("1", "09:00", "09:00") + "," + todo("2", "08:00", "08:30") + "," +
                      todo("3", "07:59", "12:00") + "," + todo("4", "08:30", "13:00") + "]",
                  {{"Link", "<https://gitlab.example/api/v4/todos?page=2>; rel=\"next\""}});

    ChangeHints hints = runToEnd(gitLab.backend.notifiedTaskUpdates(utc("2026-02-06T08:00:00Z")));

    EXPECT_THAT(hints, SizeIs(2)) << "also those behind it that changed later";
    EXPECT_TRUE(hints.contains("1") && hints.contains("2"));
    EXPECT_THAT(gitLab.server->requests(), SizeIs(1));
}

TEST(GitLabHintsTest, noMoreThanTwoHundredTodosAreRead) {
    GitLabScenario gitLab;
    int projects = 0;
    gitLab.server->onRequest = [&projects](const URLRequest& request) {
        std::string page = "[";
        for (int index = 0; index < 90; ++index) {
            page += R"({"project":{"id":)" + std::to_string(++projects) +
                    R"(},"target_type":"Issue","created_at":"2026-02-05T10:00:00.000Z"},)";
        }
        page.back() = ']';
        ScriptedTransport::Answer answer{.body = page};
        answer.headers.emplace_back("Link", "<" + request.url.text() + "&more=1>; rel=\"next\"");
        return answer;
    };
    EXPECT_THAT(runToEnd(gitLab.backend.notifiedTaskUpdates(distantPast)), SizeIs(200));
    EXPECT_THAT(gitLab.server->requests(), SizeIs(3));
}

TEST(GitLabHintsTest, theNewestTodoOfAProjectCounts) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/todos", 200,
                  R"([{"project":{"id":1},"target_type":"Issue","created_at":"2026-02-06T09:00:00Z"},)"
                  R"({"project":{"id":1},"target_type":"MergeRequest","created_at":"2026-02-06T08:00:00Z",)"
                  R"("updated_at":"2026-02-06T10:00:00Z"}])");
    EXPECT_EQ(runToEnd(gitLab.backend.notifiedTaskUpdates(distantPast)),
              (ChangeHints{{"1", {utc("2026-02-06T10:00:00Z"), std::nullopt}}}));
}

TEST(GitLabHintsTest, aFailureToReadTheTodosIsThrown) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/todos", 403, R"({"error":"insufficient_scope"})");
    EXPECT_EQ(errorOf(gitLab.backend.notifiedTaskUpdates(distantPast)), BackendError::http(403));
    for (const char* body : {"", "<html>", "{}"}) {
        GitLabScenario broken;
        broken.answer("GET /api/v4/todos", 200, body);
        EXPECT_THROW(runToEnd(broken.backend.notifiedTaskUpdates(distantPast)), LocalizedError) << body;
    }
}

}  // namespace
}  // namespace marlet
