#include "TestSupport/FakeJira.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string root = "https://jira.example/rest/api/2/";

class FakeJiraTest : public testing::TestWithParam<FakeJiraKind> {
protected:
    FakeJiraTest() { jira.serveAt("https://jira.example"); }

    bool isCloud() const { return GetParam() == FakeJiraKind::cloud; }
    FakeAnswer ask(const std::string& method, const std::string& path, const std::string& body = {}) {
        FakeRequest request{method, root + path, {{"authorization", "Bearer " + token}}, body};
        request.headers["accept"] = "application/json";
        if (!body.empty()) {
            request.headers["content-type"] = "application/json";
        }
        return jira.handle(request);
    }
    boost::json::value read(const std::string& path) { return boost::json::parse(ask("GET", path).body); }
    FakeAnswer edit(const std::string& edited, const std::string& fields) {
        return ask("PUT", "issue/" + edited, "{\"fields\":{" + fields + "}}");
    }
    std::string searchPath(const std::string& jql) const {
        return (isCloud() ? "search/jql?jql=" : "search?jql=") + percentEncoded(jql);
    }
    FakeAnswer move(const std::string& moved, const std::string& body) {
        return ask("POST", "issue/" + moved + "/transitions", body);
    }

    std::string token = "secret";
    Date time = dateFromSeconds(1'800'000'000.25);
    FakeJira jira{GetParam(), [this] { return time; }, "secret"};
    std::string project = jira.addProject("ORCH", "Orchard");
    std::string epic = jira.addIssue(project, {.summary = "All", .type = "Epic"});
    std::string key = jira.addIssue(project, {.summary = "Prune"});
};

INSTANTIATE_TEST_SUITE_P(Kinds, FakeJiraTest, testing::Values(FakeJiraKind::cloud, FakeJiraKind::server),
                         [](const auto& info) { return info.param == FakeJiraKind::cloud ? "Cloud" : "Server"; });

TEST_P(FakeJiraTest, anIssueLooksAsTheRealOneDoes) {
    jira.editIssue(key, [](FakeJiraIssue& issue) {
        issue.points = 5;
        issue.parent = "ORCH-1";
    });

    boost::json::value fields = read("issue/" + key).at("fields");

    EXPECT_EQ(fields.at("summary"), "Prune");
    EXPECT_TRUE(fields.at("description").is_null());
    EXPECT_EQ(fields.at("created"), "2027-01-15T10:00:00.250+0200");
    EXPECT_EQ(fields.at("status").at("statusCategory").at("key"), "new");
    EXPECT_EQ(fields.at("project").at("id"), project.c_str());
    EXPECT_EQ(fields.at(FakeJira::pointsField), 5.0);
    EXPECT_EQ(fields.at("issuetype").as_object().contains("hierarchyLevel"), isCloud());
    if (isCloud()) {
        EXPECT_EQ(fields.at("parent").at("fields").at("summary"), "All");
    } else {
        EXPECT_EQ(fields.at(FakeJira::epicLinkField), "ORCH-1");
    }
}

TEST_P(FakeJiraTest, onlyTheFieldsThatAreAskedForAreGiven) {
    EXPECT_EQ(boost::json::serialize(read("issue/" + key + "?fields=summary").at("fields")), R"({"summary":"Prune"})");
    boost::json::value found = read(searchPath("project = " + project)).at("issues").at(0);
    EXPECT_TRUE(found.at("fields").as_object().empty());
}

TEST_P(FakeJiraTest, aQueryKeepsToItsConditions) {
    time = time + 601;
    std::string later = jira.addIssue(project, {.summary = "Later", .isWatched = false});
    auto keys = [&](const std::string& jql) {
        std::vector<std::string> keys;
        boost::json::value page = read(searchPath(jql));
        for (const boost::json::value& issue : page.at("issues").as_array()) {
            keys.emplace_back(issue.at("key").as_string().c_str());
        }
        return keys;
    };

    EXPECT_THAT(keys("project = " + project + " ORDER BY updated DESC"), ElementsAre(later, epic, key));
    EXPECT_THAT(keys("project = " + project + " AND updated >= \"-10m\""), ElementsAre(later));
    EXPECT_THAT(keys("(assignee = currentUser() OR reporter = currentUser() OR watcher = currentUser()) AND "
                     "updated >= \"-60m\" ORDER BY updated DESC"),
                ElementsAre(epic, key));
    EXPECT_THAT(keys("key in (\"" + key + "\",\"" + later + "\")"), ElementsAre(later, key));
    EXPECT_THAT(jira.violations(), IsEmpty());
}

TEST_P(FakeJiraTest, aQueryThatCannotBeAnsweredIsRefused) {
    EXPECT_THAT(ask("GET", searchPath("key in (\"ORCH-1\",\"ORCH-99\")")).body, HasSubstr("'ORCH-99' does not exist"));
    EXPECT_THAT(ask("GET", searchPath("project = 1")).body, HasSubstr("'1' does not exist"));
    EXPECT_THAT(jira.violations(), IsEmpty());
    for (const char* jql : {"", "project = ORCH", "updated >= \"2026-01-01\"", "project = 1 AND assignee = ada"}) {
        EXPECT_EQ(ask("GET", searchPath(jql)).status, 400) << jql;
    }
    EXPECT_EQ(jira.violations().size(), 4U);
}

TEST_P(FakeJiraTest, aFieldIsSetInItsFormAlone) {
    EXPECT_EQ(edit(key, R"("summary":"Graft","description":"*a*","labels":["b"],"duedate":"2027-01-31")").status, 204);
    FakeJiraIssue edited = jira.issue(key);
    EXPECT_EQ(edited.summary + edited.description + edited.labels.at(0) + *edited.dueDay, "Graft*a*b2027-01-31");
    EXPECT_EQ(edit(key, R"("duedate":null)").status, 204);
    EXPECT_EQ(jira.issue(key).dueDay, std::nullopt);
    EXPECT_THAT(edit(key, R"("labels":["two words"])").body, HasSubstr("contains spaces"));
    EXPECT_THAT(edit(key, R"("summary":"")").body, HasSubstr("You must specify a summary"));
    EXPECT_THAT(jira.violations(), IsEmpty());
    for (const char* wrong : {R"("duedate":"31.1.27")", R"("description":null)", R"("status":"Done")",
                              R"("priority":{"id":"1"})", R"("customfield10016":5)"}) {
        EXPECT_EQ(edit(key, wrong).status, 400) << wrong;
    }
    EXPECT_EQ(jira.violations().size(), 5U);
    EXPECT_EQ(jira.issue(key).summary, "Graft");
}

TEST_P(FakeJiraTest, aParentIsAnEpicInTheFormOfTheDeployment) {
    auto parent = [&](const std::string& parentKey) {
        return isCloud() ? R"("parent":{"key":")" + parentKey + R"("})"
                         : "\"" + FakeJira::epicLinkField + "\":\"" + parentKey + "\"";
    };
    EXPECT_EQ(edit(key, parent(epic)).status, 204);
    EXPECT_EQ(jira.issue(key).parent, epic);
    EXPECT_THAT(edit(epic, parent(key)).body, HasSubstr("hierarchy"));
    EXPECT_EQ(edit(key, parent("ORCH-99")).status, 400);
    EXPECT_THAT(jira.violations(), IsEmpty());
    EXPECT_EQ(edit(key, isCloud() ? R"("parent":"ORCH-1")" : R"("parent":{"key":"ORCH-1"})").status, 400);
    EXPECT_EQ(jira.violations().size(), 1U);
}

TEST_P(FakeJiraTest, theWorkflowDecidesWhatIsPossible) {
    boost::json::value list = read("issue/" + key + "/transitions?expand=transitions.fields").at("transitions");
    EXPECT_EQ(list.as_array().size(), 2U);
    EXPECT_EQ(list.at(1).at("fields").at("resolution").at("required"), true);

    EXPECT_THAT(move(key, R"({"transition":{"id":"42"}})").body, HasSubstr("not valid for the current state"));
    EXPECT_THAT(move(key, R"({"transition":{"id":"31"}})").body, HasSubstr("Resolution is required."));
    EXPECT_EQ(move(key, R"({"transition":{"id":"31"},"fields":{"resolution":{"id":"10701"}}})").status, 204);
    EXPECT_EQ(jira.issue(key).status, "Done");
    EXPECT_EQ(jira.issue(key).resolution, "10701");
    EXPECT_EQ(move(key, R"({"transition":{"id":"42"}})").status, 204);
    EXPECT_EQ(jira.issue(key).resolution, std::nullopt);
    EXPECT_THAT(jira.violations(), IsEmpty());
}

TEST_P(FakeJiraTest, pointsGoWhereTheEditScreenHasThem) {
    EXPECT_EQ(edit(key, "\"" + FakeJira::pointsField + "\":2.5").status, 204);
    EXPECT_EQ(jira.issue(key).points, 2.5);
    EXPECT_TRUE(read("issue/" + key + "/editmeta").at("fields").as_object().contains(FakeJira::pointsField));

    jira.editProject(project, [](FakeJiraProject& edited) { edited.hasPointsOnScreen = false; });

    EXPECT_FALSE(read("issue/" + key + "/editmeta").at("fields").as_object().contains(FakeJira::pointsField));
    EXPECT_THAT(edit(key, "\"" + FakeJira::pointsField + "\":3").body, HasSubstr("not on the appropriate screen"));
}

TEST_P(FakeJiraTest, aDeadTokenIsAnsweredAsTheDeploymentDoes) {
    token = "dead";
    FakeAnswer answer = ask("GET", searchPath("project = " + project));

    EXPECT_EQ(answer.header("X-Seraph-LoginReason"), "AUTHENTICATED_FAILED");
    EXPECT_EQ(answer.status, isCloud() ? 200 : 401);
    if (isCloud()) {
        EXPECT_EQ(answer.body, R"({"issues":[],"isLast":true})");
        EXPECT_EQ(ask("GET", "project/search?startAt=0").status, 200);
        EXPECT_EQ(ask("GET", "issue/" + key).status, 404);
    }
}

}  // namespace
}  // namespace marlet
