#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// Answers a fetch of these issues, and all searches for parents with `parents`.
void answerIssues(JiraScenario& jira, std::string issues, ScriptedTransport::Answer parents) {
    jira.server->onRequest = [issues, parents](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        bool isForParents = request.url.text().find("jql=key") != std::string::npos;
        return isForParents ? parents : ScriptedTransport::Answer{.body = "{\"issues\":[" + issues + "]}"};
    };
}

std::string epicLinkTo(const std::string& key) {
    return R"("customfield_10301":")" + key + "\"";
}

std::vector<TaskItem> fetch(JiraScenario& jira) {
    return runToEnd(jira.backend.fetchTasks("10400", std::nullopt));
}

TEST(JiraParentsTest, titlesOfParentsElsewhereAreSearchedFor) {
    Server jira;
    answerIssues(jira,
                 issueJSON("WHEEL-1", epicLinkTo("DAM-9")) + "," + issueJSON("WHEEL-2", epicLinkTo("DAM-10")) + "," +
                     issueJSON("WHEEL-3", epicLinkTo("DAM-9")) + "," + issueJSON("WHEEL-4", epicLinkTo("WHEEL-5")) +
                     "," + issueJSON("WHEEL-5", R"("summary":"Here")") + "," +
                     issueJSON("WHEEL-6", R"("parent":{"key":"DAM-7"},)" + epicLinkTo("DAM-9")),
                 {.body = R"({"issues":[)" + issueJSON("DAM-9", R"("summary":"There")") + "," +
                          issueJSON("DAM-7", R"("summary":"Above")") + "]}"});

    std::vector<TaskItem> tasks = fetch(jira);

    EXPECT_EQ(tasks[0].parent, (TaskParent{"DAM-9", "There"}));
    EXPECT_EQ(tasks[1].parent, (TaskParent{"DAM-10", ""}));
    EXPECT_EQ(tasks[3].parent, (TaskParent{"WHEEL-5", "Here"}));
    EXPECT_EQ(tasks[4].parent, std::nullopt);
    EXPECT_EQ(tasks[5].parent, (TaskParent{"DAM-7", "Above"}));
    EXPECT_EQ(jira.requests().at(1),
              "GET /search?jql=key in (\"DAM-10\",\"DAM-7\",\"DAM-9\")&fields=summary"
              "&maxResults=100&startAt=0");
}

TEST(JiraParentsTest, nothingIsSearchedForWhereAllAreKnown) {
    Server jira;
    answerIssues(jira, issueJSON("WHEEL-4", epicLinkTo("WHEEL-5")) + "," + issueJSON("WHEEL-5"), {.status = 500});

    fetch(jira);

    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraParentsTest, cloudNeverSearchesForParents) {
    Cloud jira;
    answerIssues(jira,
                 issueJSON("ORCH-1", R"("parent":{"key":"ORCH-9","fields":{"summary":"Told"}})") + "," +
                     issueJSON("ORCH-2", R"("parent":{"key":"ORCH-8","fields":{"summary":""}})") + "," +
                     issueJSON("ORCH-8", R"("summary":"Known","parent":{"key":"ORCH-7"})"),
                 {.status = 500});

    std::vector<TaskItem> tasks = fetch(jira);

    EXPECT_EQ(tasks[0].parent, (TaskParent{"ORCH-9", "Told"}));
    EXPECT_EQ(tasks[1].parent, (TaskParent{"ORCH-8", "Known"}));
    EXPECT_EQ(tasks[2].parent, (TaskParent{"ORCH-7", ""}));
    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraParentsTest, theTitleThatAnIssueTellsOfItsParentComesFirst) {
    Cloud jira;
    answerIssues(jira,
                 issueJSON("ORCH-1", R"("parent":{"key":"ORCH-2","fields":{"summary":"Told"}})") + "," +
                     issueJSON("ORCH-2", R"("summary":"Known")"),
                 {.status = 500});

    EXPECT_EQ(fetch(jira).at(0).parent, (TaskParent{"ORCH-2", "Told"}));
}

TEST(JiraParentsTest, aSearchForTitlesThatFailsLeavesTheParentsWithoutThem) {
    for (int status : {400, 401, 404, 429, 500}) {
        Server jira;
        answerIssues(jira, issueJSON("WHEEL-1", R"("summary":"Oil",)" + epicLinkTo("DAM-9")), {.status = status});

        TaskItem task = fetch(jira).at(0);

        EXPECT_EQ(task.title, "Oil");
        EXPECT_EQ(task.parent, (TaskParent{"DAM-9", ""})) << status;
    }
}

TEST(JiraParentsTest, aPageOfAProxyForTheTitlesLeavesThemOut) {
    Server jira;
    answerIssues(jira, issueJSON("WHEEL-1", epicLinkTo("DAM-9")), {.body = "<html></html>"});

    EXPECT_EQ(fetch(jira).at(0).parent, (TaskParent{"DAM-9", ""}));
}

TEST(JiraParentsTest, anEpicLinkThatHoldsAQuoteStaysAKey) {
    Server jira;
    answerIssues(jira, issueJSON("WHEEL-1", epicLinkTo(R"(A\") OR (\\)")), {.body = R"({"issues":[]})"});

    EXPECT_EQ(fetch(jira).at(0).parent, (TaskParent{R"(A") OR (\)", ""}));
    EXPECT_THAT(jira.requests().at(1), StartsWith(R"(GET /search?jql=key in ("A\") OR (\\")&fields)"));
}

// An address holds only so many keys.
class ManyParents : public testing::Test {
protected:
    ManyParents() {
        for (int number = 1000; number < 1250; ++number) {
            std::string text = std::to_string(number);
            issues += (issues.empty() ? "" : ",") + issueJSON("WHEEL-" + text, epicLinkTo("DAM-" + text));
        }
    }

    Server jira;
    std::string issues;
};

TEST_F(ManyParents, areSearchedForByTheHundred) {
    answerIssues(jira, issues, {.body = R"({"issues":[)" + issueJSON("DAM-1249", R"("summary":"There")") + "]}"});

    EXPECT_EQ(fetch(jira).at(249).parent, (TaskParent{"DAM-1249", "There"}));

    Lines lines = jira.requests();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_THAT(lines[1], StartsWith("GET /search?jql=key in (\"DAM-1000\",\"DAM-1001\","));
    EXPECT_THAT(lines[1], HasSubstr(",\"DAM-1099\")"));
    EXPECT_THAT(lines[3], StartsWith("GET /search?jql=key in (\"DAM-1200\","));
    EXPECT_THAT(lines[3], HasSubstr(",\"DAM-1249\")"));
    for (const URLRequest& request : jira.server->requests()) {
        EXPECT_LT(request.url.text().size(), 4000U);
    }
}

TEST_F(ManyParents, ofWhichOneIsRefusedCostTheTitlesOfItsHundred) {
    answerIssues(jira, issues, {.status = 400, .body = R"({"errorMessages":["No such key"]})"});

    EXPECT_EQ(fetch(jira).size(), 250U);
    EXPECT_EQ(jira.requests().size(), 4U);
}

TEST_F(ManyParents, areNotSearchedForOnOnceTheServerIsInTrouble) {
    answerIssues(jira, issues, {.status = 429});

    EXPECT_EQ(fetch(jira).size(), 250U);
    EXPECT_EQ(jira.requests().size(), 2U);
}

}  // namespace
}  // namespace marlet
