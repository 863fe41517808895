#include <gmock/gmock.h>

#include "GitLabScenario.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

const BackendError commaRefused =
    BackendError::rejected("GitLab can't have a label with a comma in its name: \"sooner, later\".");

TaskDraft draftWith(std::vector<std::string> labels) {
    TaskDraft draft;
    draft.title = "Mend the gate";
    draft.notes = "It squeaks";
    draft.labels = std::move(labels);
    draft.typeName = "Incident";
    return draft;
}

TaskItem closedTask(const std::string& id, bool isCompleted) {
    TaskItem task = taskWithTitle(id);
    task.isCompleted = isCompleted;
    return task;
}

std::string withState(const std::string& state) {
    return R"({"iid":7,"title":"Dredge","state":")" + state + R"(","labels":[]})";
}

// The body that an edit of `task` sends when the service has it in this state.
std::string bodySent(const TaskItem& task, const std::string& state) {
    GitLabScenario gitLab;
    std::string path = task.id.starts_with('!') ? "merge_requests/7" : "issues/7";
    gitLab.answerItem(path, withState(state), withState(state));
    gitLab.update(task);
    return gitLab.lastBody();
}

TEST(GitLabChangesTest, anIssueIsMadeWithItsLabelsInOneText) {
    GitLabScenario gitLab;
    gitLab.answer("POST /api/v4/projects/31/issues", 201, fixture("issue-written.json"));

    TaskItem task = runToEnd(gitLab.backend.createTask(draftWith({"urgent", "a b", "優先"}), "31"));

    EXPECT_THAT(gitLab.server->log(), ElementsAre("POST " + projectAddress + "/issues"));
    EXPECT_EQ(gitLab.lastBody(), R"({"title":"Mend the gate","description":"It squeaks","labels":"urgent,a b,優先"})");
    EXPECT_EQ(gitLab.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(gitLab.lastHeader("Authorization"), "Bearer glpat-k3y");
    EXPECT_EQ(task.id, "12");
    EXPECT_EQ(task.title, "As it stands");
    EXPECT_EQ(task.projectID, "31");
    EXPECT_EQ(task.labels.at(2), (TaskLabel{"new", std::nullopt}));
    EXPECT_EQ(task.parent, std::nullopt);
}

TEST(GitLabChangesTest, aDraftWithoutLabelsAndDateNamesNone) {
    GitLabScenario gitLab;
    gitLab.answer("POST /api/v4/projects/31/issues", 201, issueJSON(9));
    runToEnd(gitLab.backend.createTask(draftWith({}), "31"));
    EXPECT_EQ(gitLab.lastBody(), R"({"title":"Mend the gate","description":"It squeaks"})");
}

TEST(GitLabChangesTest, anIssueThatWasMadeIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    for (const std::string& answer :
         {std::string(R"({"iid":77})"), issueJSON(77, R"(,"created_at":"just now")"),
          issueJSON(77, R"(,"milestone":"Spring")"), issueJSON(77, R"(,"assignees":[{"username":"no id"}])"),
          issueJSON(77, R"(,"due_date":5)"), std::string(R"({"iid":77,"title":"x","state":"opened"})")}) {
        GitLabScenario gitLab;
        gitLab.answer("POST /api/v4/projects/31/issues", 201, answer);
        TaskDraft draft = draftWith({"urgent", "優先"});
        draft.dueDate = parseLocalDay("2026-03-20");

        TaskItem task = runToEnd(gitLab.backend.createTask(draft, "31"));

        EXPECT_EQ(task.id, "77") << answer;
        EXPECT_EQ(task.kind, TaskKind::issue);
        EXPECT_EQ(task.title, "Mend the gate");
        EXPECT_EQ(task.notes, "It squeaks");
        EXPECT_EQ(task.dueDate, parseLocalDay("2026-03-20"));
        EXPECT_THAT(task.labels, ElementsAre(TaskLabel{"urgent", std::nullopt}, TaskLabel{"優先", std::nullopt}));
        EXPECT_FALSE(task.isCompleted);
    }
}

TEST(GitLabChangesTest, anAnswerToACreateThatNamesNoIssueIsAnError) {
    for (const char* answer : {"<html>", "", "[]", "{}", R"({"iid":"77"})"}) {
        GitLabScenario gitLab;
        gitLab.answer("POST /api/v4/projects/31/issues", 200, answer);
        EXPECT_THROW(runToEnd(gitLab.backend.createTask(draftWith({}), "31")), LocalizedError) << answer;
    }
}

TEST(GitLabChangesTest, aCreateIsSentOnceEvenWhenTheNetworkFails) {
    GitLabScenario gitLab;
    NetworkError lost(NetworkError::Kind::interrupted, "The connection was lost.");
    gitLab.server->fail("POST /api/v4/projects/31/issues", std::make_exception_ptr(lost));
    EXPECT_THROW(runToEnd(gitLab.backend.createTask(draftWith({}), "31")), NetworkError);
    EXPECT_THAT(gitLab.server->requests(), SizeIs(1));
}

TEST(GitLabChangesTest, aLabelWithACommaIsRefusedBeforeAnythingIsSent) {
    GitLabScenario gitLab;
    EXPECT_EQ(errorOf(gitLab.backend.createTask(draftWith({"urgent", "sooner, later"}), "31")), commaRefused);
    EXPECT_TRUE(gitLab.server->requests().empty());

    gitLab.answer("GET /api/v4/projects/31/issues/7", 200, withState("opened"));
    TaskItem task = taskWithTitle("7");
    task.labels = {{"sooner, later", std::nullopt}};
    EXPECT_EQ(errorOf(gitLab.backend.updateTask(task)), commaRefused);
    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET " + projectAddress + "/issues/7")) << "nothing is changed";
}

TEST(GitLabChangesTest, anEditReadsTheItemAndThenWritesItWhole) {
    GitLabScenario gitLab;
    gitLab.answerItem("issues/12", withState("opened"), fixture("issue-written.json"));
    TaskItem task = taskWithTitle("12", "Dredge");
    task.notes = "Now";
    task.isCompleted = true;
    task.labels = {{"urgent", "d73a4a"}, {"優先", std::nullopt}};

    TaskItem answered = gitLab.update(task);

    EXPECT_THAT(gitLab.server->log(),
                ElementsAre("GET " + projectAddress + "/issues/12", "PUT " + projectAddress + "/issues/12"));
    EXPECT_EQ(gitLab.lastBody(), R"({"title":"Dredge","description":"Now","labels":"urgent,優先",)"
                                 R"("state_event":"close","due_date":null})");
    EXPECT_EQ(gitLab.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(answered.id, "12");
    EXPECT_EQ(answered.title, "As it stands") << "the answer is the task";
    EXPECT_TRUE(answered.isCompleted);
    EXPECT_EQ(answered.typeName, "Issue");
}

TEST(GitLabChangesTest, anEditOfAMergeRequestGoesToTheMergeRequestsAndHasNoDueDate) {
    GitLabScenario gitLab;
    gitLab.answerItem("merge_requests/7", withState("opened"), withState("opened"));
    TaskItem request = taskWithTitle("!7");
    request.dueDate = parseLocalDay("2026-03-20");

    TaskItem answered = gitLab.update(request);

    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET " + projectAddress + "/merge_requests/7",
                                                  "PUT " + projectAddress + "/merge_requests/7"));
    EXPECT_EQ(gitLab.lastBody(), R"({"title":"Dredge","description":"","labels":""})");
    EXPECT_EQ(answered.id, "!7");
    EXPECT_EQ(answered.kind, TaskKind::pullRequest);
}

TEST(GitLabChangesTest, theStateIsSentOnlyWhenItChanges) {
    const std::string start = R"({"title":"Dredge","description":"","labels":"")";
    const std::string issueEnd = R"(,"due_date":null})";
    EXPECT_EQ(bodySent(closedTask("7", true), "closed"), start + issueEnd);
    EXPECT_EQ(bodySent(closedTask("7", false), "opened"), start + issueEnd);
    EXPECT_EQ(bodySent(closedTask("7", true), "opened"), start + R"(,"state_event":"close")" + issueEnd);
    EXPECT_EQ(bodySent(closedTask("7", false), "closed"), start + R"(,"state_event":"reopen")" + issueEnd);
    EXPECT_EQ(bodySent(closedTask("!7", true), "merged"), start + "}");
    EXPECT_EQ(bodySent(closedTask("!7", false), "merged"), start + R"(,"state_event":"reopen"})");
    EXPECT_EQ(bodySent(closedTask("!7", true), "locked"), start + R"(,"state_event":"close"})");
}

TEST(GitLabChangesTest, labelsKeepTheirColorsOverAnEdit) {
    GitLabScenario gitLab;
    gitLab.answerItem("issues/12", withState("opened"), fixture("issue-written.json"));
    TaskItem task = taskWithTitle("12");
    task.labels = {{"優先", "0e8a16"}, {"urgent", "d73a4a"}, {"gone", "ffffff"}};
    EXPECT_THAT(gitLab.update(task).labels, ElementsAre(TaskLabel{"urgent", "d73a4a"}, TaskLabel{"優先", "0e8a16"},
                                                        TaskLabel{"new", std::nullopt}));
}

TEST(GitLabChangesTest, aColorThatTheAnswerTellsWins) {
    GitLabScenario gitLab;
    gitLab.answerItem("issues/7", withState("opened"),
                      R"({"iid":7,"title":"Dredge","state":"opened","labels":[{"name":"a","color":"#112233"}]})");
    TaskItem task = taskWithTitle("7");
    task.labels = {{"a", "d73a4a"}};
    EXPECT_THAT(gitLab.update(task).labels, ElementsAre(TaskLabel{"a", "112233"}));
}

TEST(GitLabChangesTest, anIdThatNamesNothingIsNotFound) {
    for (const char* id : {"", "!", "#7", "7a", "!!7", "seven", " 7", "!7 ", "99999999999999999999"}) {
        GitLabScenario gitLab;
        TaskItem task = taskWithTitle(id);
        EXPECT_EQ(errorOf(gitLab.backend.updateTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(gitLab.backend.rawTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(gitLab.backend.fetchComments(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(gitLab.backend.addComment("x", task)), BackendError::notFound()) << id;
        EXPECT_TRUE(gitLab.server->requests().empty()) << id;
    }
}

TEST(GitLabChangesTest, anIdMayHaveASign) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects/31/issues/7", 200, "raw");
    gitLab.answer("GET /api/v4/projects/31/merge_requests/7", 200, "raw request");
    EXPECT_EQ(runToEnd(gitLab.backend.rawTask(taskWithTitle("+7"))), "raw");
    EXPECT_EQ(runToEnd(gitLab.backend.rawTask(taskWithTitle("!+7"))), "raw request");
}

TEST(GitLabChangesTest, theRawTaskIsTheAnswerToTheByte) {
    GitLabScenario gitLab;
    const std::string bytes = "{\"iid\": 12,\r\n \"title\":\"\\u00e9\" }\n";
    gitLab.answer("GET /api/v4/projects/31/issues/12", 200, bytes);
    EXPECT_EQ(runToEnd(gitLab.backend.rawTask(taskWithTitle("12"))), bytes);
    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET " + projectAddress + "/issues/12"));
}

TEST(GitLabChangesTest, aTaskThatIsGoneIsNotFoundBeforeItIsWritten) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects/31/issues/7", 404, R"({"message":"404 Not found"})");
    EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskWithTitle("7"))), BackendError::notFound());
    EXPECT_THAT(gitLab.server->requests(), SizeIs(1));
}

TEST(GitLabChangesTest, aRefusalHasItsTextWhereTheServiceGivesOne) {
    struct Refusal {
        int status;
        std::string body;
        BackendError error;
    };
    for (const Refusal& refusal :
         {Refusal{400, R"({"message":"Title is too long"})", BackendError::rejected("Title is too long")},
          Refusal{400, R"({"message":{"title":["can't be blank"]}})", BackendError::http(400)},
          Refusal{422, R"({"message":["Title is too long"]})", BackendError::http(422)},
          Refusal{400, R"({"error":"title is missing"})", BackendError::http(400)},
          Refusal{403, R"({"message":"403 Forbidden"})", BackendError::http(403)},
          Refusal{403, R"({"error":"insufficient_scope","scope":"api"})", BackendError::http(403)},
          Refusal{500, "<html>", BackendError::http(500)}}) {
        GitLabScenario gitLab;
        gitLab.answer("GET /api/v4/projects/31/issues/7", 200, withState("opened"));
        gitLab.answer("PUT /api/v4/projects/31/issues/7", refusal.status, refusal.body);
        EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskWithTitle("7"))), refusal.error) << refusal.body;
    }
}

TEST(GitLabChangesTest, anAnswerToAnEditThatIsNoItemIsAnError) {
    for (const char* body : {"", "<html>", "[]", "{}"}) {
        GitLabScenario read;
        read.answer("GET /api/v4/projects/31/issues/7", 200, body);
        EXPECT_THROW(read.update(taskWithTitle("7")), LocalizedError) << body;
        EXPECT_THAT(read.server->requests(), SizeIs(1)) << "what can't be read isn't written";
        GitLabScenario written;
        written.answerItem("issues/7", withState("opened"), body);
        EXPECT_THROW(written.update(taskWithTitle("7")), LocalizedError) << body;
    }
}

}  // namespace
}  // namespace marlet
