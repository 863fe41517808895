// Edits of a draft: its text by GraphQL, its status by REST.
#include "GitHubBoardScenario.h"
#include "MarletBase/Coding.h"

namespace marlet {
namespace {

const std::string fieldsRead = "GET /orgs/acme/projectsV2/12/fields?per_page=100";
const std::string itemRead = "GET /orgs/acme/projectsV2/12/items/601?per_page=100&fields=40";
const std::string textChange = "POST /graphql";
const std::string statusChange = "PATCH /orgs/acme/projectsV2/12/items/601";

TaskItem editedTask(const std::string& title, const std::string& notes, std::optional<std::string> status) {
    TaskItem task{.id = "601", .projectID = acmeBoard, .kind = TaskKind::task, .title = title, .notes = notes};
    task.status = std::move(status);
    return task;
}

// On the server: "Dig", "Deep", in the column "To do".
struct Edit : GitHubBoardScenario {
    Edit() {
        answerFields(statusFields({"To do", "Doing", "Done"}));
        answerItem(601, draftItem(601, "Dig", "Deep", statusMember("To do")));
        server->answer(textChange, R"({"data": {"updateProjectV2DraftIssue": {"draftIssue": {"id": "DI_601"}}}})");
        server->answer(statusChange, "");
    }

    BackendError refusal(const TaskItem& task) {
        std::optional<BackendError> error = errorOf(backend.updateTask(task));
        return error.value_or(BackendError::invalidURL());
    }
};

}  // namespace

TEST(GitHubBoardUpdateTest, aTextChangeGoesByGraphQLAlone) {
    Edit edit;
    edit.answerItem(601, draftItem(601, "Dig \\\"on\\\"", "Deeper", statusMember("To do")));

    TaskItem updated = edit.update(editedTask("Dig \"on\"", "Deeper", "To do"));

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, textChange, itemRead}));
    EXPECT_EQ(edit.body(2), R"({"query":"mutation($input: UpdateProjectV2DraftIssueInput!) )"
                            R"({ updateProjectV2DraftIssue(input: $input) { draftIssue { id } } }",)"
                            R"("variables":{"input":{"draftIssueId":"DI_601","title":"Dig \"on\"","body":"Deeper"}}})");
    EXPECT_EQ(updated.title, "Dig \"on\"");
    EXPECT_EQ(updated.notes, "Deeper");
}

TEST(GitHubBoardUpdateTest, changedNotesAloneAreATextChange) {
    Edit edit;

    edit.update(editedTask("Dig", "", "To do"));

    EXPECT_EQ(edit.takeLog().at(2), textChange);
    EXPECT_TRUE(edit.body(2).ends_with(R"("title":"Dig","body":""}}})")) << edit.body(2);
}

TEST(GitHubBoardUpdateTest, aStatusChangeNamesFieldAndOption) {
    Edit edit;
    edit.answerItem(601, draftItem(601, "Dig", "Deep", statusMember("Done")));

    TaskItem updated = edit.update(editedTask("Dig", "Deep", "Done"));

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, statusChange, itemRead}));
    EXPECT_EQ(edit.body(2), R"({"fields":[{"id":40,"value":"o-Done"}]})");
    EXPECT_EQ(updated.status, "Done");
    EXPECT_TRUE(updated.isCompleted);
}

TEST(GitHubBoardUpdateTest, anAbsentStatusIsSentAsNull) {
    Edit edit;
    edit.answerItem(601, draftItem(601, "Dig", "Deep", R"("fields": [{"id": 40, "value": null}])"));

    TaskItem updated = edit.update(editedTask("Dig", "Deep", std::nullopt));

    EXPECT_EQ(edit.takeLog().at(2), statusChange);
    EXPECT_EQ(edit.body(2), R"({"fields":[{"id":40,"value":null}]})");
    EXPECT_EQ(updated.status, std::nullopt);
}

TEST(GitHubBoardUpdateTest, theTextGoesBeforeTheStatus) {
    Edit edit;

    edit.update(editedTask("Dig on", "Deep", "Doing"));

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, textChange, statusChange, itemRead}));
}

TEST(GitHubBoardUpdateTest, anEditThatChangesNothingWritesNothing) {
    Edit edit;

    edit.update(editedTask("Dig", "Deep", "To do"));

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, itemRead}));
}

TEST(GitHubBoardUpdateTest, completionIsNotSentButFollowsTheStatus) {
    Edit edit;
    TaskItem task = editedTask("Dig", "Deep", "To do");
    task.isCompleted = true;

    TaskItem updated = edit.update(task);

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, itemRead}));
    EXPECT_FALSE(updated.isCompleted);
}

TEST(GitHubBoardUpdateTest, theAnswerIsWhatTheServerHasAfterwards) {
    Edit edit;
    edit.answerItem(601, draftItem(601, "Dig, then rest", "By another hand", statusMember("Doing")));

    TaskItem updated = edit.update(editedTask("Dig on", "Deep", "Done"));

    EXPECT_EQ(updated.title, "Dig, then rest");
    EXPECT_EQ(updated.notes, "By another hand");
    EXPECT_EQ(updated.status, "Doing");
}

TEST(GitHubBoardUpdateTest, aDraftThatBecameAnIssueIsLeftAlone) {
    Edit edit;
    edit.server->answer("GET /orgs/acme/projectsV2/12/items/602",
                        R"({"id": 602, "content_type": "Issue", "content": {"node_id": "I_2", "title": "Dig"}})");
    TaskItem task = editedTask("Dig on", "Deep", "Done");
    task.id = "602";

    EXPECT_EQ(edit.refusal(task),
              BackendError::rejected("This item is no longer a draft; it was converted to an issue."));
    EXPECT_EQ(edit.takeLog().size(), 2U) << "nothing was written";
}

TEST(GitHubBoardUpdateTest, aStatusOnABoardWithoutAStatusFieldIsRefusedAfterTheNewText) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItem(601, draftItem(601, "Dig", "Deep"));
    scenario.server->answer(textChange, R"({"data": {}})");

    EXPECT_EQ(errorOf(scenario.backend.updateTask(editedTask("Dig on", "Deep", "Done"))),
              BackendError::rejected("The project has no Status field."));

    EXPECT_EQ(scenario.takeLog(),
              (Lines{fieldsRead, "GET /orgs/acme/projectsV2/12/items/601?per_page=100", textChange}));
}

TEST(GitHubBoardUpdateTest, aBoardWithoutAStatusFieldTakesANewText) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItem(601, draftItem(601, "Dig", "Deep"));
    scenario.answerItem(601, draftItem(601, "Dig on", "Deep"));
    scenario.server->answer(textChange, R"({"data": {"updateProjectV2DraftIssue": null}})");

    EXPECT_EQ(scenario.update(editedTask("Dig on", "Deep", std::nullopt)).title, "Dig on");
}

TEST(GitHubBoardUpdateTest, anUnknownStatusIsRefusedAfterTheNewText) {
    Edit edit;

    EXPECT_EQ(edit.refusal(editedTask("Dig on", "Deep", "Blocked")),
              BackendError::rejected("The project has no status \"Blocked\"."));

    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, textChange}));
}

TEST(GitHubBoardUpdateTest, aStatusIsFoundByItsExactName) {
    Edit edit;

    EXPECT_EQ(edit.refusal(editedTask("Dig", "Deep", "done")),
              BackendError::rejected("The project has no status \"done\"."));
}

TEST(GitHubBoardUpdateTest, aTextChangeNeedsTheNameOfTheDraft) {
    for (const char* content : {R"({"title": "Dig", "body": "Deep"})", R"({"node_id": null})", "null"}) {
        GitHubBoardScenario scenario;
        scenario.answerFields("[]");
        scenario.answerItem(601,
                            std::string(R"({"id": 601, "content_type": "DraftIssue", "content": )") + content + "}");

        EXPECT_EQ(errorOf(scenario.backend.updateTask(editedTask("Dig on", "Deep", std::nullopt))),
                  BackendError::invalidResponse())
            << content;
        EXPECT_EQ(scenario.takeLog().size(), 2U);
    }
}

TEST(GitHubBoardUpdateTest, aStatusChangeDoesNotNeedTheNameOfTheDraft) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItem(601, R"({"id": 601, "content_type": "DraftIssue", "content": null})");
    scenario.server->answer(statusChange, "");

    scenario.update(editedTask("", "", "Done"));

    EXPECT_EQ(scenario.body(2), R"({"fields":[{"id":40,"value":"o-Done"}]})");
}

TEST(GitHubBoardUpdateTest, whatGraphQLRefusesIsToldInItsWordsAndLeavesTheStatus) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItem(601, draftItem(601, "Dig", "Deep", statusMember("To do")));
    scenario.server->answer(textChange, R"({"data": {"updateProjectV2DraftIssue": null}, "errors": [
        {"type": "INSUFFICIENT_SCOPES", "message": "This token lacks the scope 'project'."},
        {"type": "RATE_LIMITED", "message": "Wait a little."}]})");

    EXPECT_EQ(errorOf(scenario.backend.updateTask(editedTask("Dig on", "Deep", "Done"))),
              BackendError::rejected("This token lacks the scope 'project'. Wait a little."));

    EXPECT_EQ(scenario.takeLog(), (Lines{fieldsRead, itemRead, textChange}));
}

TEST(GitHubBoardUpdateTest, anAnswerOfGraphQLWithoutDataIsUnexpected) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItem(601, draftItem(601, "Dig", "Deep"));
    scenario.server->answer(textChange, "{}");

    EXPECT_EQ(errorOf(scenario.backend.updateTask(editedTask("Dig on", "Deep", std::nullopt))),
              BackendError::invalidResponse());
}

TEST(GitHubBoardUpdateTest, aServerOfTheUsersOwnHasGraphQLBesideItsREST) {
    GitHubBoardScenario scenario;
    ForgeTaskBackend backend = scenario.backendAt("https://git.example.com");
    scenario.server->answer("GET /api/v3/orgs/acme/projectsV2/12/fields", "[]");
    scenario.server->answer("GET /api/v3/orgs/acme/projectsV2/12/items/601", draftItem(601, "Dig", "Deep"));
    scenario.server->answer("POST /api/graphql", R"({"data": {}})");

    runToEnd(backend.updateTask(editedTask("Dig on", "Deep", std::nullopt)));

    EXPECT_EQ(scenario.takeLog().at(2), "POST /api/graphql");
}

TEST(GitHubBoardUpdateTest, aFailedStatusChangeIsAnError) {
    Edit edit;
    edit.server->answer("PATCH https://api.github.com/orgs/acme/projectsV2/12/items/601",
                        failing(422, R"({"message": "The field is locked"})"));

    EXPECT_EQ(edit.refusal(editedTask("Dig", "Deep", "Done")), BackendError::rejected("The field is locked"));
}

TEST(GitHubBoardUpdateTest, aLastReadThatFailsIsAnErrorSinceTheEditMayBeRepeated) {
    Edit edit;
    edit.server->answer("GET /orgs/acme/projectsV2/12/items/601", failing(502));

    EXPECT_EQ(edit.refusal(editedTask("Dig", "Deep", "Done")), BackendError::http(502));
    EXPECT_EQ(edit.takeLog(), (Lines{fieldsRead, itemRead, statusChange, itemRead}));
}

TEST(GitHubBoardUpdateTest, anItemThatHasGoneIsNotFound) {
    Edit edit;
    edit.server->answer("GET /orgs/acme/projectsV2/12/items/9", failing(404));
    TaskItem task = editedTask("Dig", "Deep", "Done");
    task.id = "9";

    EXPECT_EQ(edit.refusal(task), BackendError::notFound());
}

TEST(GitHubBoardUpdateTest, anIDThatNoItemCanHaveIsNotFoundWithoutARequest) {
    for (const char* id : {"", "local-1", "601x", "../1", "99999999999999999999"}) {
        Edit edit;
        TaskItem task = editedTask("Dig", "Deep", "Done");
        task.id = id;

        EXPECT_EQ(edit.refusal(task), BackendError::notFound()) << id;
        EXPECT_EQ(edit.takeLog(), Lines{});
    }
}

}  // namespace marlet
