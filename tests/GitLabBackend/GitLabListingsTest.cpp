// The two lists of a project, read side by side.
#include <gmock/gmock.h>

#include <boost/asio/bind_cancellation_slot.hpp>

#include "GitLabScenario.h"
#include "MarletHTTP/NetworkError.h"
#include "TestSupport/HeldTransport.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const std::string common = "&order_by=updated_at&sort=desc&with_labels_details=true&per_page=100";
const std::string issuesRead = "GET " + projectAddress + "/issues?scope=all" + common;
const std::string mergeRequestsRead = "GET " + projectAddress + "/merge_requests?state=all" + common;

// `count` items numbered from 1, the last of them the newest; one second apart, from `start` on.
std::string itemsFrom(const std::string& start, int count) {
    std::string list = "[";
    Date newest = parseISO8601(start).value() + 2 * count;
    for (int number = count; number > 0; --number) {
        list += issueJSON(number, R"(,"updated_at":")" + iso8601(newest) + "\"") + ",";
        newest = newest - 2;
    }
    list.back() = ']';
    return list;
}

std::vector<std::string> ids(const std::vector<TaskItem>& tasks) {
    std::vector<std::string> result;
    for (const TaskItem& task : tasks) {
        result.push_back(task.id);
    }
    return result;
}

// Two lists of which one is held back until the test lets it go.
struct HeldListing : GitLabScenario {
    explicit HeldListing(const std::string& heldList)
        : held(std::make_shared<HeldTransport>(server, heldList)), slowBackend(account, "k3y", held, 1000, clock) {
        answerLists("[" + issueJSON(1) + "]", "[" + issueJSON(2) + "]");
    }

    TestLoop loop;
    std::shared_ptr<HeldTransport> held;
    GitLabTaskBackend slowBackend;
};

TEST(GitLabListingsTest, bothListsAreAskedForTheNewestChangeFirst) {
    GitLabScenario gitLab;
    gitLab.answerLists("[]");

    EXPECT_TRUE(gitLab.fetchTasks().empty());

    EXPECT_THAT(gitLab.server->log(), ElementsAre(issuesRead, mergeRequestsRead));
    EXPECT_EQ(gitLab.lastHeader("Authorization"), "Bearer glpat-k3y");
}

TEST(GitLabListingsTest, bothListsAreAskedForWhatChangedSinceTheDate) {
    GitLabScenario gitLab;
    gitLab.answerLists("[]");

    gitLab.fetchTasks(dateFromSeconds(1770285600.5));

    const std::string since = "&updated_after=2026-02-05T10%3A00%3A00Z";
    EXPECT_THAT(gitLab.server->log(), ElementsAre(issuesRead + since, mergeRequestsRead + since));
}

TEST(GitLabListingsTest, theListsAreJoinedWithTheNewestChangeFirst) {
    GitLabScenario gitLab;
    gitLab.answerLists(fixture("issues.json"), fixture("merge-requests.json"));
    gitLab.answerGraphQL(workItems(""));
    EXPECT_THAT(ids(gitLab.fetchTasks()), ElementsAre("12", "!7", "13", "14", "!6", "15", "!5"));
}

TEST(GitLabListingsTest, ofEqualDatesIssuesComeFirstAndThoseWithoutOneLast) {
    GitLabScenario gitLab;
    const std::string date = R"(,"updated_at":"2026-02-05T10:00:00.000Z")";
    gitLab.answerLists("[" + issueJSON(1) + "," + issueJSON(2, date) + "," + issueJSON(3, date) + "]",
                       "[" + issueJSON(4) + "," + issueJSON(5, date) + "]");
    EXPECT_THAT(ids(gitLab.fetchTasks()), ElementsAre("2", "3", "!5", "1", "!4"));
}

TEST(GitLabListingsTest, anIssueAndAMergeRequestMayHaveTheSameNumber) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + issueJSON(7) + "]", "[" + issueJSON(7) + "]");
    EXPECT_THAT(ids(gitLab.fetchTasks()), ElementsAre("7", "!7"));
}

TEST(GitLabListingsTest, ofAThousandIssuesAndAThousandMergeRequestsTheNewestThousandAreGiven) {
    GitLabScenario gitLab(1000);
    gitLab.answerLists(itemsFrom("2026-01-01T00:00:00Z", 1000), itemsFrom("2026-01-01T00:00:01Z", 1000));

    std::vector<TaskItem> tasks = gitLab.fetchTasks();

    ASSERT_EQ(tasks.size(), 1000U);
    EXPECT_EQ(tasks[0].id, "!1000");
    EXPECT_EQ(tasks[1].id, "1000");
    EXPECT_EQ(tasks[998].id, "!501");
    EXPECT_EQ(tasks[999].id, "501");
}

TEST(GitLabListingsTest, theLimitHoldsForEachListAndOnlyWithoutADate) {
    GitLabScenario gitLab(2);
    const std::string next = projectAddress + "/issues?page=2";
    gitLab.answer("GET /api/v4/projects/31/issues", 200, itemsFrom("2026-01-01T00:00:00Z", 3),
                  {{"Link", "<" + next + ">; rel=\"next\""}});
    gitLab.answer("GET " + next, 200, "[" + issueJSON(9) + "]");
    gitLab.answer("GET /api/v4/projects/31/merge_requests", 200, itemsFrom("2026-02-01T00:00:00Z", 1));

    EXPECT_THAT(ids(gitLab.fetchTasks()), ElementsAre("!1", "3"));
    EXPECT_EQ(gitLab.server->takeLog().size(), 2U) << "the second page isn't needed";
    EXPECT_THAT(ids(gitLab.fetchTasks(distantPast)), ElementsAre("!1", "3", "2", "1", "9"));
    EXPECT_EQ(gitLab.server->takeLog().size(), 3U);
}

TEST(GitLabListingsTest, aLimitOfNothingAsksForNothing) {
    for (int64_t limit : {0, -1}) {
        GitLabScenario gitLab(limit);
        EXPECT_TRUE(gitLab.fetchTasks().empty());
        EXPECT_TRUE(gitLab.server->log().empty());
    }
}

TEST(GitLabListingsTest, oneListGoesOnWhileTheOtherWaits) {
    for (const char* list : {"/issues", "/merge_requests"}) {
        HeldListing gitLab(list);
        auto outcome = gitLab.loop.start(gitLab.slowBackend.fetchTasks("31", std::nullopt));
        gitLab.loop.runReady();

        EXPECT_EQ(gitLab.held->heldCount(), 1U);
        EXPECT_EQ(gitLab.server->log().size(), 1U) << "the other list was read";
        EXPECT_FALSE(outcome->isFinished);

        gitLab.held->release();
        gitLab.loop.runUntil([&] { return outcome->isFinished; });
        EXPECT_THAT(ids(outcome->value.value()), ElementsAre("1", "!2"));
    }
}

TEST(GitLabListingsTest, aFailureOfEitherListEndsTheOtherAndIsThrown) {
    for (const char* list : {"/issues", "/merge_requests"}) {
        HeldListing gitLab(list);
        gitLab.server->onRequest = [](const URLRequest&) { return ScriptedTransport::Answer{.status = 500}; };

        auto outcome = gitLab.loop.start(gitLab.slowBackend.fetchTasks("31", std::nullopt));
        gitLab.loop.runUntil([&] { return outcome->isFinished; });

        try {
            std::rethrow_exception(outcome->error);
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::http(500));
        }
        EXPECT_EQ(gitLab.held->heldCount(), 0U) << "nothing is left behind";
        EXPECT_EQ(gitLab.server->log().size(), 1U);
    }
}

TEST(GitLabListingsTest, aFailureOfTheListThatEndsLastIsThrown) {
    for (const char* list : {"/issues", "/merge_requests"}) {
        HeldListing gitLab(list);
        gitLab.server->onRequest = [list](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
            if (request.url.components().path.ends_with(list)) {
                return ScriptedTransport::Answer{.status = 404};
            }
            return std::nullopt;
        };
        auto outcome = gitLab.loop.start(gitLab.slowBackend.fetchTasks("31", std::nullopt));
        gitLab.loop.runReady();
        EXPECT_FALSE(outcome->isFinished);

        gitLab.held->release();
        gitLab.loop.runUntil([&] { return outcome->isFinished; });

        ASSERT_TRUE(outcome->error);
        try {
            std::rethrow_exception(outcome->error);
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::notFound());
        }
    }
}

TEST(GitLabListingsTest, whenBothListsFailTheErrorIsTheServersOwn) {
    GitLabScenario gitLab;
    gitLab.server->onRequest = [](const URLRequest&) { return ScriptedTransport::Answer{.status = 401}; };
    EXPECT_EQ(errorOf(gitLab.backend.fetchTasks("31", std::nullopt)), BackendError::unauthorized());
}

TEST(GitLabListingsTest, whoCancelsTheFetchCancelsBothLists) {
    HeldListing gitLab("s");  // both
    boost::asio::cancellation_signal signal;
    std::exception_ptr thrown;
    bool isFinished = false;
    boost::asio::co_spawn(
        gitLab.loop.executor(), gitLab.slowBackend.fetchTasks("31", std::nullopt),
        boost::asio::bind_cancellation_slot(signal.slot(), [&](std::exception_ptr error, const std::vector<TaskItem>&) {
            thrown = error;
            isFinished = true;
        }));
    gitLab.loop.runReady();
    EXPECT_EQ(gitLab.held->heldCount(), 2U);

    signal.emit(boost::asio::cancellation_type::terminal);
    gitLab.loop.runReady();

    EXPECT_TRUE(isFinished);
    EXPECT_EQ(gitLab.held->heldCount(), 0U);
    ASSERT_TRUE(thrown);
    try {
        std::rethrow_exception(thrown);
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.code(), boost::asio::error::operation_aborted);
    }
    EXPECT_TRUE(gitLab.server->log().empty());
}

TEST(GitLabListingsTest, aListThatIsNoneIsAnErrorAndNoEmptyList) {
    for (const char* body :
         {"", "<html></html>", "{}", "null", R"([{"iid":1,"title":"no labels","state":"opened"}])"}) {
        GitLabScenario issues;
        issues.answerLists(body, "[]");
        EXPECT_THROW(issues.fetchTasks(), LocalizedError) << body;
        GitLabScenario mergeRequests;
        mergeRequests.answerLists("[]", body);
        EXPECT_THROW(mergeRequests.fetchTasks(), LocalizedError) << body;
    }
}

TEST(GitLabListingsTest, aFailedSecondPageLosesTheWholeFetch) {
    GitLabScenario gitLab;
    const std::string next = projectAddress + "/merge_requests?page=2";
    gitLab.answer("GET /api/v4/projects/31/issues", 200, "[" + issueJSON(1) + "]");
    gitLab.answer("GET /api/v4/projects/31/merge_requests", 200, "[" + issueJSON(2) + "]",
                  {{"Link", "<" + next + ">; rel=\"next\""}});
    gitLab.answer("GET " + next, 502, "<html>");
    EXPECT_EQ(errorOf(gitLab.backend.fetchTasks("31", std::nullopt)), BackendError::http(502));
}

TEST(GitLabListingsTest, aLostConnectionIsThrownAsItCame) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects/31/issues", 200, "[]");
    NetworkError lost(NetworkError::Kind::interrupted, "The connection was lost.");
    gitLab.server->fail("GET /api/v4/projects/31/merge_requests", std::make_exception_ptr(lost));
    EXPECT_THROW(gitLab.fetchTasks(), NetworkError);
}

TEST(GitLabListingsTest, aLimitOfTheServerSaysUntilWhen) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects/31/issues", 429, "Retry later\n",
                  {{"Content-Type", "text/plain"}, {"RateLimit-Remaining", "0"}, {"Retry-After", "60"}});
    gitLab.answer("GET /api/v4/projects/31/merge_requests", 200, "[]");
    EXPECT_EQ(errorOf(gitLab.backend.fetchTasks("31", std::nullopt)),
              BackendError::rateLimited(gitLab.clock->now() + 60));
}

TEST(GitLabListingsTest, anIdThatLeadsOutOfTheProjectsIsNotFound) {
    GitLabScenario gitLab;
    for (const char* id : {"", "..", "31/..", "."}) {
        EXPECT_EQ(errorOf(gitLab.backend.fetchTasks(id, std::nullopt)), BackendError::notFound()) << id;
    }
    EXPECT_TRUE(gitLab.server->log().empty());
}

}  // namespace
}  // namespace marlet
