#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string issues(int count) {
    std::string list;
    for (int number = 0; number < count; ++number) {
        list += (list.empty() ? "" : ",") + issueJSON("ORCH-" + std::to_string(number));
    }
    return "{\"issues\":[" + list + "]";
}

std::string asked(const std::string& kind, const std::string& jql) {
    return "GET /" + (kind + "?jql=") + jql + "&fields=" + (kind == "search" ? serverFields : cloudFields) +
           "&maxResults=100";
}

const std::string allOfOrchard = "project = 10301 ORDER BY updated DESC";

TEST(JiraTasksTest, aSearchIsEncodedToTheLetter) {
    Server jira;
    jira.answer("GET /search", issues(0) + "}");

    runToEnd(jira.backend.fetchTasks("10400", jira.clock->now() - 3600));

    EXPECT_EQ(jira.server->lastRequest().url.text(),
              "https://mill.example/jira/rest/api/2/search?jql=project%20%3D%2010400%20AND%20updated%20%3E%3D%20"
              "%22-70m%22%20ORDER%20BY%20updated%20DESC&fields=summary%2Cdescription%2Cstatus%2Ccreated%2Cupdated%2C"
              "duedate%2Cpriority%2Clabels%2Cassignee%2CfixVersions%2Cproject%2Cissuetype%2Cparent%2C"
              "customfield_10301%2Ccustomfield_10306&maxResults=100&startAt=0");
}

TEST(JiraTasksTest, cloudIsReadOnByToken) {
    Cloud jira;
    std::string first = asked("search/jql", allOfOrchard);
    jira.answer("GET /search/jql", issues(100) + R"(,"nextPageToken":"a b+c/=","isLast":false})");
    jira.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"d"})");
    jira.answer("GET /search/jql", issues(1) + R"(,"nextPageToken":null,"isLast":true})");

    EXPECT_EQ(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).size(), 103U);
    EXPECT_EQ(jira.server->requests().back().url.text().substr(0, 43), "https://larch.example/rest/api/2/search/jql");
    EXPECT_THAT(jira.requests(), ElementsAre(first, first + "&nextPageToken=a b+c/=", first + "&nextPageToken=d"));
}

TEST(JiraTasksTest, whateverEndsASearchOfCloudEndsIt) {
    for (std::string end : {R"(,"isLast":true,"nextPageToken":"a"})", R"(,"isLast":false})", "}"}) {
        Cloud jira;
        jira.answer("GET /search/jql", issues(2) + end);
        EXPECT_EQ(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).size(), 2U);
        EXPECT_EQ(jira.requests().size(), 1U) << end;
    }
    Cloud jira;
    jira.answer("GET /search/jql", issues(0) + R"(,"isLast":false,"nextPageToken":"a"})");
    EXPECT_THAT(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)), IsEmpty());
    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraTasksTest, aListThatLeadsBackToAPageIsAnErrorAndNotEndless) {
    Cloud jira;
    jira.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"a"})");
    jira.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"b"})");
    jira.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"a"})");

    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", jira.clock->now())), BackendError::invalidResponse());
    EXPECT_EQ(jira.requests().size(), 3U);
}

// Every answer names another page.
void answerWithoutEnd(JiraScenario& jira) {
    jira.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        std::string token = std::to_string(std::hash<std::string>()(request.url.text()));
        std::string page = R"({"issues":[)" + issueJSON("ORCH-1") + R"(],"values":[{"id":"1","key":"K","name":"N"}],)" +
                           R"("comments":[{"id":"1","body":"b"}],"total":900000000,"isLast":false,)" +
                           R"("nextPageToken":")" + token + "\"}";
        return ScriptedTransport::Answer{.body = page};
    };
}

TEST(JiraTasksTest, aListThatNamesEverNewPagesIsReadForTenThousandAndIsAnErrorThen) {
    Cloud cloud;
    answerWithoutEnd(cloud);
    Server server;
    answerWithoutEnd(server);

    EXPECT_EQ(errorOf(cloud.backend.fetchTasks("10301", cloud.clock->now())), BackendError::invalidResponse());
    EXPECT_EQ(cloud.requests().size(), 10'000U);
    EXPECT_EQ(errorOf(cloud.backend.fetchProjects()), BackendError::invalidResponse());
    EXPECT_EQ(errorOf(server.backend.fetchTasks("10301", server.clock->now())), BackendError::invalidResponse());
    EXPECT_EQ(errorOf(server.backend.fetchComments(task("WHEEL-12"))), BackendError::invalidResponse());
}

TEST(JiraTasksTest, aServerIsReadOnByTheNumberGathered) {
    Server jira;
    std::string first = asked("search", allOfOrchard);
    jira.answer("GET /search", issues(50) + R"(,"total":53})");
    jira.answer("GET /search", issues(3) + R"(,"total":53})");

    EXPECT_EQ(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).size(), 53U);
    EXPECT_THAT(jira.requests(), ElementsAre(first + "&startAt=0", first + "&startAt=50"));
}

TEST(JiraTasksTest, aServersPageWithoutTotalEndsTheSearch) {
    Server jira;
    jira.answer("GET /search", issues(100) + "}");

    EXPECT_EQ(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).size(), 100U);
    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraTasksTest, anEmptyPageOfAServerEndsTheSearch) {
    Server jira;
    jira.answer("GET /search", issues(2) + R"(,"total":9})");
    jira.answer("GET /search", issues(0) + R"(,"total":9})");

    EXPECT_EQ(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).size(), 2U);
    EXPECT_EQ(jira.requests().size(), 2U);
}

TEST(JiraTasksTest, theItemLimitEndsAFullFetchAndNoOther) {
    Cloud cloud(3);
    cloud.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"a"})");
    cloud.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"b"})");
    cloud.answer("GET /search/jql", issues(1) + "}");
    EXPECT_EQ(runToEnd(cloud.backend.fetchTasks("10301", cloud.clock->now())).size(), 5U);
    Cloud another(3);
    another.answer("GET /search/jql", issues(2) + R"(,"nextPageToken":"a"})");
    EXPECT_EQ(runToEnd(another.backend.fetchTasks("10301", std::nullopt)).size(), 3U);
    EXPECT_EQ(another.requests().size(), 2U);

    Server server(3);
    server.answer("GET /search", issues(2) + R"(,"total":9})");
    EXPECT_EQ(runToEnd(server.backend.fetchTasks("10301", std::nullopt)).size(), 3U);
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST(JiraTasksTest, theAgeOfADateIsRoundedUpToMinutesWithTenToSpare) {
    Cloud jira;
    jira.answer("GET /search/jql", issues(0) + "}");
    auto age = [&](double seconds) {
        runToEnd(jira.backend.fetchTasks("10301", jira.clock->now() - seconds));
        std::string line = jira.requests().at(0);
        size_t start = line.find(">= ") + 3;
        return line.substr(start, line.find(" ORDER") - start);
    };

    EXPECT_EQ(age(90), "\"-12m\"");
    EXPECT_EQ(age(3600), "\"-70m\"");
    EXPECT_EQ(age(3600.5), "\"-71m\"");
    EXPECT_EQ(age(0), "\"-10m\"");
    EXPECT_EQ(age(-540), "\"-1m\"");
    EXPECT_EQ(age(-86400), "\"-1m\"");
    EXPECT_EQ(age(86400 * 365.0), "\"-525610m\"");
}

TEST(JiraTasksTest, whatIsNoPageIsNeverAnEmptyOne) {
    for (const char* body : {"", "<html>Sign in</html>", "{}", "[]", "null", R"({"issues":null,"total":0})"}) {
        Cloud cloud;
        cloud.answer("GET /search/jql", body);
        EXPECT_THROW(runToEnd(cloud.backend.fetchTasks("10301", std::nullopt)), DecodingError) << body;
        Server server;
        server.answer("GET /search", body);
        EXPECT_THROW(runToEnd(server.backend.fetchTasks("10301", std::nullopt)), DecodingError) << body;
    }
}

TEST(JiraTasksTest, aFailureAmidTheListLosesAllOfIt) {
    Server jira;
    jira.answer("GET /search", issues(2) + R"(,"total":9})");
    jira.answer("GET /search", "", 500);

    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::http(500));
}

}  // namespace
}  // namespace marlet
