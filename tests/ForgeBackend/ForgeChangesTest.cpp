#include <gmock/gmock.h>

#include "ForgeScenario.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const std::string gitHubIssues = "https://api.github.com/repos/larch/orchard/issues";
const std::string wheel = "https://forge.example/api/v1/repos/mill/wheel";
const Date dueDay = dateFromSeconds(1'774'047'599);  // 2026-03-20T22:59:59Z

TaskDraft gateDraft() {
    TaskDraft draft;
    draft.title = "Mend the gate";
    draft.notes = "It squeaks";
    draft.dueDate = dueDay;
    draft.typeName = "Chore";
    return draft;
}

// A Forgejo whose repository has the labels of the fixture, and issue 12 with these labels after an edit.
struct ForgejoWithLabels : Forgejo {
    explicit ForgejoWithLabels(const std::string& labelsOfTheIssue) {
        answer("GET /api/v1/repos/mill/wheel/labels", 200, fixture("forgejo-labels.json"));
        answer("PATCH /api/v1/repos/mill/wheel/issues/12", 201,
               R"({"id":7012,"number":12,"title":"Grease","state":"open","labels":)" + labelsOfTheIssue + "}");
        answer("PUT /api/v1/repos/mill/wheel/issues/12/labels", 200, R"([{"id":32,"name":"ui","color":"0e8a16"}])");
    }

    static TaskItem taskWithLabels(const std::vector<std::string>& names) {
        TaskItem task = taskWithTitle("12", "mill/wheel", "Grease");
        for (const std::string& name : names) {
            task.labels.push_back({name, std::nullopt});
        }
        return task;
    }
};

TEST(ForgeChangesTest, gitHubMakesAnIssueWithLabelsByNameAndWithoutADueDate) {
    GitHub gitHub;
    gitHub.answer("POST /repos/larch/orchard/issues", 201, fixture("github-issue-created.json"));
    TaskDraft draft = gateDraft();
    draft.labels = {"urgent", "no such label"};

    TaskItem task = runToEnd(gitHub.backend.createTask(draft, "larch/orchard"));

    EXPECT_THAT(gitHub.server->log(), ElementsAre("POST " + gitHubIssues));
    EXPECT_EQ(gitHub.lastBody(),
              R"({"title":"Mend the gate","body":"It squeaks","labels":["urgent","no such label"]})");
    EXPECT_EQ(gitHub.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(task.id, "42");
    EXPECT_EQ(task.projectID, "larch/orchard");
    EXPECT_EQ(task.labels, (std::vector<TaskLabel>{{"urgent", "d73a4a"}})) << "as the server has them";
}

TEST(ForgeChangesTest, aDraftWithoutLabelsNamesNone) {
    GitHub gitHub;
    gitHub.answer("POST /repos/larch/orchard/issues", 201, fixture("github-issue-created.json"));
    runToEnd(gitHub.backend.createTask(gateDraft(), "larch/orchard"));
    EXPECT_EQ(gitHub.lastBody(), R"({"title":"Mend the gate","body":"It squeaks"})");
}

TEST(ForgeChangesTest, forgejoMakesAnIssueWithLabelsByIdAndADueDate) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/labels", 200, fixture("forgejo-labels.json"));
    forgejo.answer("POST /api/v1/repos/mill/wheel/issues", 201, fixture("forgejo-issue-created.json"));
    TaskDraft draft = gateDraft();
    draft.labels = {"要確認", "ui", "kind/bug"};

    TaskItem task = runToEnd(forgejo.backend.createTask(draft, "mill/wheel"));

    EXPECT_THAT(forgejo.server->log(), ElementsAre("GET " + wheel + "/labels?limit=50", "POST " + wheel + "/issues"));
    EXPECT_EQ(forgejo.lastBody(),
              R"({"title":"Mend the gate","body":"It squeaks","labels":[34,32,33],"due_date":"2026-03-20T22:59:59Z"})");
    EXPECT_EQ(task.id, "13");
    EXPECT_EQ(task.dueDate, dueDay);
}

TEST(ForgeChangesTest, forgejoIsNotAskedForItsLabelsByADraftWithoutAny) {
    Forgejo forgejo;
    forgejo.answer("POST /api/v1/repos/mill/wheel/issues", 201, fixture("forgejo-issue-created.json"));
    TaskDraft draft = gateDraft();
    draft.dueDate.reset();

    runToEnd(forgejo.backend.createTask(draft, "mill/wheel"));

    EXPECT_THAT(forgejo.server->log(), ElementsAre("POST " + wheel + "/issues"));
    EXPECT_EQ(forgejo.lastBody(), R"({"title":"Mend the gate","body":"It squeaks"})");
}

TEST(ForgeChangesTest, labelsThatForgejoDoesNotHaveAreNamedBeforeAnythingIsMade) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/labels", 200, fixture("forgejo-labels.json"));
    TaskDraft draft = gateDraft();
    draft.labels = {"later", "ui", "UI", "KIND/BUG"};

    EXPECT_EQ(errorOf(forgejo.backend.createTask(draft, "mill/wheel")),
              BackendError::unknownLabels({"later", "UI", "KIND/BUG"}));
    EXPECT_EQ(forgejo.server->requests().size(), 1U);
}

TEST(ForgeChangesTest, theLabelsOfForgejoAreReadToTheLastPage) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/labels", 200, R"([{"id":1,"name":"a"}])",
                   {{"Link", "<" + wheel + "/labels?limit=50&page=2>; rel=\"next\""}});
    forgejo.answer("GET /api/v1/repos/mill/wheel/labels?limit=50&page=2", 200, R"([{"id":2,"name":"b"}])");
    forgejo.answer("POST /api/v1/repos/mill/wheel/issues", 201, fixture("forgejo-issue-created.json"));
    TaskDraft draft = gateDraft();
    draft.labels = {"b", "a"};
    draft.dueDate.reset();

    runToEnd(forgejo.backend.createTask(draft, "mill/wheel"));

    EXPECT_EQ(forgejo.lastBody(), R"({"title":"Mend the gate","body":"It squeaks","labels":[2,1]})");
}

TEST(ForgeChangesTest, anIssueThatWasMadeIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    for (const std::string& answer :
         {std::string(R"({"number":77})"), issueJSON(77, R"(,"created_at":"just now")"), issueJSON(77, R"(,"type":5)"),
          issueJSON(77, R"(,"milestone":"Spring")"), issueJSON(77, R"(,"assignees":[{"login":"no id"}])")}) {
        Forgejo forgejo;
        forgejo.answer("GET /api/v1/repos/mill/wheel/labels", 200, fixture("forgejo-labels.json"));
        forgejo.answer("POST /api/v1/repos/mill/wheel/issues", 201, answer);
        TaskDraft draft = gateDraft();
        draft.labels = {"ui"};

        TaskItem task = runToEnd(forgejo.backend.createTask(draft, "mill/wheel"));

        EXPECT_EQ(task.id, "77") << answer;
        EXPECT_EQ(task.kind, TaskKind::issue);
        EXPECT_EQ(task.title, "Mend the gate");
        EXPECT_EQ(task.notes, "It squeaks");
        EXPECT_EQ(task.dueDate, dueDay);
        EXPECT_EQ(task.labels, (std::vector<TaskLabel>{{"ui", std::nullopt}}));
        EXPECT_FALSE(task.isCompleted);
    }
}

TEST(ForgeChangesTest, anUnreadablePageAddressOfANewIssueIsAbsent) {
    GitHub gitHub;
    gitHub.answer("POST /repos/a/b/issues", 201, issueJSON(5, R"(,"html_url":"http://[","body":"kept")"));
    TaskItem task = runToEnd(gitHub.backend.createTask(gateDraft(), "a/b"));
    EXPECT_EQ(task.webURL, std::nullopt);
    EXPECT_EQ(task.notes, "kept") << "the rest is as the server tells it";
}

TEST(ForgeChangesTest, anAnswerToACreateThatNamesNoIssueIsAnError) {
    for (const std::string& answer : {std::string("<html>"), std::string(), std::string("[]"), std::string("{}")}) {
        GitHub gitHub;
        gitHub.answer("POST /repos/a/b/issues", 200, answer);
        EXPECT_THROW(runToEnd(gitHub.backend.createTask(gateDraft(), "a/b")), LocalizedError) << answer;
    }
}

TEST(ForgeChangesTest, aCreateIsSentOnceEvenWhenTheNetworkFails) {
    GitHub gitHub;
    NetworkError lost(NetworkError::Kind::interrupted, "The connection was lost.");
    gitHub.server->fail("POST /repos/a/b/issues", std::make_exception_ptr(lost));
    EXPECT_THROW(runToEnd(gitHub.backend.createTask(gateDraft(), "a/b")), NetworkError);
    EXPECT_EQ(gitHub.server->requests().size(), 1U);
}

TEST(ForgeChangesTest, anEditOnGitHubNamesAllLabelsAndNoDates) {
    GitHub gitHub;
    gitHub.answer("PATCH /repos/larch/orchard/issues/41", 200, issueJSON(41));
    TaskItem task = taskWithTitle("41", "larch/orchard", "Prune");
    task.notes = "Now";
    task.isCompleted = true;
    task.dueDate = dueDay;
    task.labels = {{"urgent", "d73a4a"}, {"優先", std::nullopt}};

    runToEnd(gitHub.backend.updateTask(task));

    EXPECT_THAT(gitHub.server->log(), ElementsAre("PATCH " + gitHubIssues + "/41"));
    EXPECT_EQ(gitHub.lastBody(), R"({"title":"Prune","body":"Now","state":"closed","labels":["urgent","優先"]})");
}

TEST(ForgeChangesTest, anEditOnGitHubClearsTheLabelsWithAnEmptyList) {
    GitHub gitHub;
    gitHub.answer("PATCH /repos/larch/orchard/issues/41", 200, issueJSON(41));
    runToEnd(gitHub.backend.updateTask(taskWithTitle("41", "larch/orchard")));
    EXPECT_EQ(gitHub.lastBody(), R"({"title":"Prune","body":"","state":"open","labels":[]})");
}

TEST(ForgeChangesTest, theAnswerToAnEditIsTheTask) {
    GitHub gitHub;
    gitHub.answer("PATCH /repos/a/b/issues/41", 200,
                  R"({"id":1,"number":41,"title":"As it stands","state":"closed","labels":[{"id":1,"name":"x"}]})");
    TaskItem task = runToEnd(gitHub.backend.updateTask(taskWithTitle("41", "a/b")));
    EXPECT_EQ(task.title, "As it stands");
    EXPECT_TRUE(task.isCompleted);
    EXPECT_EQ(task.labels, (std::vector<TaskLabel>{{"x", std::nullopt}}));
}

TEST(ForgeChangesTest, anEditOnForgejoSendsTheDueDateAndNoLabels) {
    ForgejoWithLabels forgejo("[]");
    TaskItem task = ForgejoWithLabels::taskWithLabels({});
    task.dueDate = dueDay;

    runToEnd(forgejo.backend.updateTask(task));

    EXPECT_THAT(forgejo.server->log(), ElementsAre("PATCH " + wheel + "/issues/12"));
    EXPECT_EQ(forgejo.lastBody(), R"({"title":"Grease","body":"","state":"open","due_date":"2026-03-20T22:59:59Z"})");
}

TEST(ForgeChangesTest, anEditOnForgejoThatRemovesTheDueDateSaysSo) {
    ForgejoWithLabels forgejo("[]");
    runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({})));
    EXPECT_EQ(forgejo.lastBody(), R"({"title":"Grease","body":"","state":"open","unset_due_date":true})");
}

TEST(ForgeChangesTest, unchangedLabelsAreNotSentToForgejoWhateverTheirOrder) {
    ForgejoWithLabels forgejo(R"([{"id":31,"name":"Kind/Bug"},{"id":32,"name":"ui"}])");
    runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({"ui", "Kind/Bug"})));
    EXPECT_THAT(forgejo.server->log(), ElementsAre("PATCH " + wheel + "/issues/12"));
}

TEST(ForgeChangesTest, changedLabelsReplaceThoseOfForgejoById) {
    ForgejoWithLabels forgejo(R"([{"id":31,"name":"Kind/Bug"}])");

    TaskItem task = runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({"ui", "kind/bug"})));

    EXPECT_THAT(forgejo.server->log(), ElementsAre("PATCH " + wheel + "/issues/12", "GET " + wheel + "/labels?limit=50",
                                                   "PUT " + wheel + "/issues/12/labels"));
    EXPECT_EQ(forgejo.lastBody(), R"({"labels":[32,33]})");
    EXPECT_EQ(task.labels, (std::vector<TaskLabel>{{"ui", "0e8a16"}})) << "as the server answers";
}

TEST(ForgeChangesTest, anEmptyListOfLabelsClearsThoseOfForgejo) {
    ForgejoWithLabels forgejo(R"([{"id":31,"name":"Kind/Bug"}])");
    runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({})));
    EXPECT_EQ(forgejo.lastBody(), R"({"labels":[]})");
}

TEST(ForgeChangesTest, aLabelOfTheOrganisationThatTheIssueCarriesCanStay) {
    ForgejoWithLabels forgejo(R"([{"id":900,"name":"mill: soon"}])");
    runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({"mill: soon", "ui"})));
    EXPECT_EQ(forgejo.lastBody(), R"({"labels":[900,32]})");
}

TEST(ForgeChangesTest, aLabelOfTheRepositoryWinsOverOneOfTheOrganisationWithItsName) {
    ForgejoWithLabels forgejo(R"([{"id":901,"name":"ui"}])");
    runToEnd(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({"ui", "Kind/Bug"})));
    EXPECT_EQ(forgejo.lastBody(), R"({"labels":[32,31]})");
}

TEST(ForgeChangesTest, anUnknownLabelFailsAfterTheTextWasSaved) {
    ForgejoWithLabels forgejo("[]");
    EXPECT_EQ(errorOf(forgejo.backend.updateTask(ForgejoWithLabels::taskWithLabels({"UI"}))),
              BackendError::unknownLabels({"UI"}));
    EXPECT_THAT(forgejo.server->log(),
                ElementsAre("PATCH " + wheel + "/issues/12", "GET " + wheel + "/labels?limit=50"));
}

TEST(ForgeChangesTest, whatForgejoRefusesComesWithItsReason) {
    Forgejo forgejo;
    forgejo.answer("PATCH /api/v1/repos/mill/wheel/issues/12", 412,
                   R"({"message":"cannot close this issue because it still has open dependencies","url":"x"})");
    EXPECT_EQ(errorOf(forgejo.backend.updateTask(taskWithTitle("12", "mill/wheel"))),
              BackendError::rejected("cannot close this issue because it still has open dependencies"));

    Forgejo readOnly;
    readOnly.answer("PATCH /api/v1/repos/mill/wheel/issues/12", 403, "");
    EXPECT_EQ(errorOf(readOnly.backend.updateTask(taskWithTitle("12", "mill/wheel"))), BackendError::http(403));
}

}  // namespace
}  // namespace marlet
