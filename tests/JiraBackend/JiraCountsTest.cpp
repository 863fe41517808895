#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ownChanges =
    "(assignee = currentUser() OR reporter = currentUser() OR watcher = currentUser()) AND updated >= \"-70m\" "
    "ORDER BY updated DESC";

TEST(JiraCountsTest, cloudIsAskedForAboutHowManyThereAre) {
    Cloud jira;
    std::string url = "https://larch.example/rest/api/3/search/approximate-count";
    jira.server->answer("POST " + url, R"({"count":153})");

    EXPECT_EQ(runToEnd(jira.backend.taskCount("10301")), 153);
    EXPECT_THAT(jira.server->takeLog(), ElementsAre("POST " + url));
    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"jql":"project = 10301"})"));
}

TEST(JiraCountsTest, aServerCountsInASearchWithoutIssues) {
    Server jira;
    jira.answer("GET /search", R"({"startAt":0,"maxResults":0,"total":48,"issues":[]})");

    EXPECT_EQ(runToEnd(jira.backend.taskCount("10400")), 48);
    EXPECT_THAT(jira.requests(), ElementsAre("GET /search?jql=project = 10400&maxResults=0&fields=id"));
}

TEST(JiraCountsTest, aServerWithoutATotalTellsNoCount) {
    Server jira;
    jira.answer("GET /search", R"({"issues":[]})");

    EXPECT_EQ(runToEnd(jira.backend.taskCount("10400")), std::nullopt);
}

TEST(JiraCountsTest, whatIsNoCountIsNeverZero) {
    for (const char* body : {"", "<html></html>", "{}", R"({"count":null})"}) {
        Cloud jira;
        jira.server->answer("POST /rest/api/3/search/approximate-count", body);
        EXPECT_THROW(runToEnd(jira.backend.taskCount("10301")), DecodingError) << body;
    }
}

TEST(JiraHintsTest, theNewestChangeOfEachProjectIsHintedAt) {
    Cloud jira;
    ASSERT_TRUE(jira.backend.providesChangeHints());
    auto changed = [](const std::string& project, const std::string& time) {
        return issueJSON("K-1", R"("project":{"id":")" + project + R"("},"updated":"2026-02-05T)" + time + "\"");
    };
    jira.answer("GET /search/jql", R"({"issues":[)" + changed("10301", "18:00:00.000+0100") + "," +
                                       changed("10302", "17:00:00.000+0100") + "," +
                                       changed("10301", "16:00:00.000+0100") + "," + changed("10303", "late") + "," +
                                       issueJSON("K-2", R"("updated":"2026-02-05T18:00:00.000+0100")") + "," +
                                       issueJSON("K-3", R"("project":{"id":"10304"})") + "]}");

    ChangeHints hints = runToEnd(jira.backend.notifiedTaskUpdates(jira.clock->now() - 3600));

    EXPECT_EQ(hints, (ChangeHints{{"10301", {*parseISO8601("2026-02-05T17:00:00Z"), std::nullopt}},
                                  {"10302", {*parseISO8601("2026-02-05T16:00:00Z"), std::nullopt}}}));
    EXPECT_THAT(jira.requests(),
                ElementsAre("GET /search/jql?jql=" + ownChanges + "&fields=project,updated&maxResults=100"));
}

TEST(JiraHintsTest, moreThanTwoHundredAreNotReadOn) {
    Server jira;
    std::string issues;
    for (int number = 0; number < 100; ++number) {
        issues += (issues.empty() ? "" : ",") + issueJSON("K-" + std::to_string(number));
    }
    jira.answer("GET /search", R"({"total":900,"issues":[)" + issues + "]}");

    EXPECT_THAT(runToEnd(jira.backend.notifiedTaskUpdates(jira.clock->now() - 3600)), IsEmpty());

    std::string line = "GET /search?jql=" + ownChanges + "&fields=project,updated&maxResults=100&startAt=";
    EXPECT_THAT(jira.requests(), ElementsAre(line + "0", line + "100"));
}

TEST(JiraHintsTest, theFirstTwoHundredOfALongerPageAreHintedAt) {
    Cloud jira;
    std::string issues;
    for (int number = 1; number <= 201; ++number) {
        std::string fields = R"("project":{"id":")" + std::to_string(number) + R"("},"updated":"2026-02-05T17:00:00Z")";
        issues += (issues.empty() ? "" : ",") + issueJSON("K-1", fields);
    }
    jira.answer("GET /search/jql", R"({"issues":[)" + issues + "]}");

    ChangeHints hints = runToEnd(jira.backend.notifiedTaskUpdates(jira.clock->now() - 3600));

    EXPECT_EQ(hints.size(), 200U);
    EXPECT_FALSE(hints.contains("201"));
}

}  // namespace
}  // namespace marlet
