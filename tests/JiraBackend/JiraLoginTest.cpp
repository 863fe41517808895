// A token that has died: the service answers as if nobody had asked.
#include "JiraScenario.h"

namespace marlet {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

// Every answer is this one, and it looks like success.
void answerAll(JiraScenario& jira, int status, Headers headers) {
    jira.server->onRequest = [=](const URLRequest&) -> std::optional<ScriptedTransport::Answer> {
        std::string body = R"({"values":[],"issues":[],"comments":[],"isLast":true,"total":0,"count":0,"fields":{},)"
                           R"("id":"1","key":"ORCH-41","issueTypes":[{"id":"1","name":"Task"}],"transitions":[]})";
        return ScriptedTransport::Answer{.status = status, .headers = headers, .body = body};
    };
}

void expectUnauthorized(JiraScenario& jira) {
    JiraTaskBackend& backend = jira.backend;
    BackendError unauthorized = BackendError::unauthorized();
    EXPECT_EQ(errorOf(backend.fetchProjects()), unauthorized);
    EXPECT_EQ(errorOf(backend.fetchTasks("10301", std::nullopt)), unauthorized);
    EXPECT_EQ(errorOf(backend.fetchTasks("10301", jira.clock->now())), unauthorized);
    EXPECT_EQ(errorOf(backend.createTask({.title = "Sow"}, "10301")), unauthorized);
    EXPECT_EQ(errorOf(backend.updateTask(task("ORCH-41"))), unauthorized);
    EXPECT_EQ(errorOf(backend.fetchComments(task("ORCH-41"))), unauthorized);
    EXPECT_EQ(errorOf(backend.addComment("Ready", task("ORCH-41"))), unauthorized);
    EXPECT_EQ(errorOf(backend.rawTask(task("ORCH-41"))), unauthorized);
    EXPECT_EQ(errorOf(backend.taskCount("10301")), unauthorized);
    EXPECT_EQ(errorOf(backend.notifiedTaskUpdates(jira.clock->now())), unauthorized);
}

TEST(JiraLoginTest, aDeadTokenIsUnauthorizedWhicheverTheRequestAndTheStatus) {
    for (int status : {200, 201, 204, 400, 403, 404, 429, 500}) {
        Cloud jira;
        answerAll(jira, status, {{"X-Seraph-LoginReason", "AUTHENTICATED_FAILED"}});
        expectUnauthorized(jira);
    }
}

TEST(JiraLoginTest, aDeniedOneIsUnauthorizedAsWellInAnyCase) {
    for (const char* reason : {"AUTHENTICATION_DENIED", "authentication_denied", "Authenticated_Failed",
                               " AUTHENTICATED_FAILED ", "OUT, AUTHENTICATED_FAILED"}) {
        Server jira;
        answerAll(jira, 200, {{"Content-Type", "application/json"}, {"x-SERAPH-loginreason", reason}});
        expectUnauthorized(jira);
    }
}

TEST(JiraLoginTest, anyOtherReasonIsNone) {
    for (const char* reason : {"OK", "OUT", "AUTHENTICATED", ""}) {
        Cloud jira;
        answerAll(jira, 200, {{"X-Seraph-LoginReason", reason}});
        EXPECT_THAT(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)), testing::IsEmpty());
    }
}

TEST(JiraLoginTest, anAnswerThatTheServerSaysIsUnchangedIsNoLogin) {
    Cloud jira;
    jira.answer("GET /search/jql", R"({"issues":[]})", 200, {{"ETag", "\"1\""}});
    jira.answer("GET /search/jql", "", 304, {{"X-Seraph-LoginReason", "AUTHENTICATED_FAILED"}});
    jira.answer("GET /search/jql", "", 304);
    runToEnd(jira.backend.fetchTasks("10301", std::nullopt));

    EXPECT_EQ(errorOf(jira.backend.fetchTasks("10301", std::nullopt)), BackendError::unauthorized());
    EXPECT_THAT(runToEnd(jira.backend.fetchTasks("10301", std::nullopt)), testing::IsEmpty());
}

TEST(JiraLoginTest, aRefusedFieldListOfADeadTokenIsNotTakenForNoFields) {
    auto server = std::make_shared<ScriptedTransport>();
    server->answer("GET /rest/api/2/serverInfo", R"({"deploymentType":"Cloud"})");
    server->answer("GET /rest/api/2/field",
                   {.status = 403, .headers = {{"X-Seraph-LoginReason", "AUTHENTICATION_DENIED"}}, .body = ""});
    JiraTaskBackend backend(jiraAccount("https://larch.example"), "s3cret", server, 1000,
                            std::make_shared<VirtualClock>());

    EXPECT_EQ(errorOf(backend.fetchTasks("10301", std::nullopt)), BackendError::unauthorized());
    EXPECT_EQ(errorOf(backend.fetchTasks("10301", std::nullopt)), BackendError::unauthorized());
}

}  // namespace
}  // namespace marlet
