#include "JiraBackend/JiraFieldsInternal.h"

#include "JiraScenario.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<JiraField> fieldsIn(const std::string& name) {
    return JSONCoding::decode<std::vector<JiraField>>(fixture(name));
}

JiraIssue issue(const std::string& fields) {
    return JSONCoding::decode<JiraIssue>(issueJSON("ORCH-1", fields));
}

// A backend that knows its deployment, and is about to ask for the fields.
struct BeforeFields {
    explicit BeforeFields(const std::string& deployment)
        : backend(jiraAccount("https://larch.example"), "s3cret", server, 1000, std::make_shared<VirtualClock>()) {
        server->answer("GET /rest/api/2/serverInfo", R"({"deploymentType":")" + deployment + R"("})");
        server->answer("GET /rest/api/2/search/jql", R"({"issues":[]})");
        server->answer("GET /rest/api/2/search", R"({"issues":[]})");
    }

    void answerFields(int status, std::string body = "") {
        server->answer("GET /rest/api/2/field", ScriptedTransport::Answer{.status = status, .body = std::move(body)});
    }

    std::shared_ptr<ScriptedTransport> server = std::make_shared<ScriptedTransport>();
    JiraTaskBackend backend;
};

TEST(JiraFieldsTest, aServersEpicLinkIsTheFirstFieldOfThatType) {
    EXPECT_EQ(jira::customFieldIDs(fieldsIn("server-fields.json"), false).epicLink, "customfield_10301");
    EXPECT_EQ(jira::customFieldIDs({}, false).epicLink, std::nullopt);
}

TEST(JiraFieldsTest, cloudHasNoEpicLinkThoughItListsOne) {
    EXPECT_EQ(jira::customFieldIDs(fieldsIn("cloud-fields.json"), true).epicLink, std::nullopt);
}

TEST(JiraFieldsTest, storyPointsAreOfTheirOwnTypeOrNumbersOfThatNameInAnyLanguage) {
    EXPECT_THAT(jira::customFieldIDs(fieldsIn("cloud-fields.json"), true).storyPoints,
                ElementsAre("customfield_10216", "customfield_10231", "customfield_10240"));
    EXPECT_THAT(jira::customFieldIDs(fieldsIn("server-fields.json"), false).storyPoints,
                ElementsAre("customfield_10306"));
}

TEST(JiraFieldsTest, theFieldOfItsOwnTypeWinsWhateverTheOrderOfTheList) {
    std::vector<JiraField> fields = fieldsIn("cloud-fields.json");
    std::reverse(fields.begin(), fields.end());

    CustomFieldIDs ids = jira::customFieldIDs(fields, true);

    EXPECT_THAT(ids.storyPoints, ElementsAre("customfield_10216", "customfield_10240", "customfield_10231"));
    JiraIssue found = issue(R"("customfield_10231":8,"customfield_10216":5)");
    EXPECT_EQ(jira::storyPoints(found, ids.storyPoints)->value, 5);
    EXPECT_EQ(jira::storyPoints(found, ids.storyPoints)->fieldID, "customfield_10216");
}

TEST(JiraFieldsTest, customFieldsAreKeptByKindUnderKeysWithoutUnderscore) {
    JiraFields fields = issue(R"("customfield_10014":"ORCH-7","customfield_10016":5,"customfield_10017":2.5,)"
                              R"("customfield_1":null,"customfield_2":true,"customfield_3":["a"],"customfield_4":{},)"
                              R"("other_5":"text","summary":"Sow")")
                            .fields;

    EXPECT_THAT(fields.customStrings, ElementsAre(std::pair("customfield10014", "ORCH-7")));
    EXPECT_THAT(fields.customNumbers,
                ElementsAre(std::pair("customfield10016", 5), std::pair("customfield10017", 2.5)));
    EXPECT_EQ(fields.summary, "Sow");
}

TEST(JiraFieldsTest, aPointsFieldWithoutANumberHasNoValue) {
    JiraIssue found = issue(R"("customfield_10216":null,"customfield_10231":"5","customfield_10240":0)");

    EXPECT_EQ(jira::storyPoints(found, {"customfield_10216", "customfield_10231", "customfield_10240"})->value, 0);
    EXPECT_FALSE(jira::storyPoints(found, {"customfield_10216", "customfield_10231"}));
}

TEST(JiraFieldsTest, theParentIsTheParentFieldOrElseTheEpicLink) {
    std::optional<std::string> epicLink = "customfield_10301";
    std::string epic = R"("customfield_10301":"DAM-9")";

    EXPECT_EQ(jira::parentKey(issue(epic), epicLink), "DAM-9");
    EXPECT_EQ(jira::parentKey(issue(epic + R"(,"parent":{"key":"DAM-1"})"), epicLink), "DAM-1");
    EXPECT_EQ(jira::parentKey(issue(epic), std::nullopt), std::nullopt);
    EXPECT_EQ(jira::parentKey(issue(R"("customfield_10301":"")"), epicLink), std::nullopt);
    EXPECT_EQ(jira::parentKey(issue(""), epicLink), std::nullopt);
}

TEST(JiraFieldsTest, cloudThatRefusesTheListHasNoCustomFieldsFromThenOn) {
    for (int status : {400, 403, 404, 410, 500, 503}) {
        BeforeFields jira("Cloud");
        jira.answerFields(status, status == 400 ? R"({"errorMessages":["No"]})" : "");

        runToEnd(jira.backend.fetchTasks("10301", std::nullopt));
        runToEnd(jira.backend.fetchTasks("10301", std::nullopt));

        EXPECT_EQ(jira.server->requests().size(), 4U) << status;
        EXPECT_THAT(jira.server->lastRequest().url.text(), testing::HasSubstr("issuetype%2Cparent&max")) << status;
    }
}

TEST(JiraFieldsTest, anyOtherFailureOnCloudIsToldAndNotKept) {
    BeforeFields jira("Cloud");
    jira.answerFields(401);
    jira.answerFields(429);
    jira.answerFields(200, "<html>Sign in</html>");
    jira.answerFields(200, "[]");

    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::unauthorized());
    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::rateLimited(std::nullopt));
    EXPECT_THROW(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)), DecodingError);
    EXPECT_THAT(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)), IsEmpty());
}

TEST(JiraFieldsTest, aFailureOnAServerIsToldWhateverItIs) {
    BeforeFields jira("Server");
    jira.answerFields(404);
    jira.answerFields(500);
    jira.answerFields(400, R"({"errorMessages":["No"]})");

    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::notFound());
    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::http(500));
    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::rejected("No"));
}

}  // namespace
}  // namespace marlet
