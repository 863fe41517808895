#include "MarletHTTP/NetworkError.h"
#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string task71 = api + "tasks/71";
const Date dueDay = dateFromSeconds(1'774'047'599);  // 2026-03-20T22:59:59Z

TaskDraft gateDraft() {
    TaskDraft draft;
    draft.title = "Mend the gate";
    draft.notes = "<p>It squeaks</p>";
    draft.dueDate = dueDay;
    return draft;
}

TEST(VikunjaChangesTest, aNewTaskTakesTitleTextAndDueDate) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/projects/12/tasks", 201, fixture("task-created.json"));

    TaskItem task = runToEnd(vikunja.backend.createTask(gateDraft(), "12"));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("PUT " + api + "projects/12/tasks"));
    EXPECT_EQ(vikunja.lastBody(), R"({"title":"Mend the gate","description":"<p>It squeaks</p>",)"
                                  R"("due_date":"2026-03-20T22:59:59Z"})");
    EXPECT_EQ(vikunja.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(task.id, "80");
    EXPECT_EQ(task.projectID, "12");
    EXPECT_EQ(task.dueDate, dueDay);
    EXPECT_NEAR(secondsSince1970(task.createdAt.value()), 1'768'471'500.172137773, 1e-6);
}

TEST(VikunjaChangesTest, labelsAndTypeOfADraftAreLeftOut) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/projects/12/tasks", 201, fixture("task-created.json"));
    TaskDraft draft = gateDraft();
    draft.dueDate.reset();
    draft.labels = {"Urgent", "new"};
    draft.typeName = "Chore";

    TaskItem task = runToEnd(vikunja.backend.createTask(draft, "12"));

    EXPECT_EQ(vikunja.server->requests().size(), 1u);
    EXPECT_EQ(vikunja.lastBody(), R"({"title":"Mend the gate","description":"<p>It squeaks</p>"})");
    EXPECT_THAT(task.labels, IsEmpty()) << "they come with the first update";
}

TEST(VikunjaChangesTest, theProjectOfANewTaskIsTheOneThatTheAnswerNames) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/projects/12/tasks", 201, taskJSON(80));
    EXPECT_EQ(runToEnd(vikunja.backend.createTask(gateDraft(), "12")).projectID, "7");
}

TEST(VikunjaChangesTest, aTaskThatWasMadeIsASuccessEvenIfTheRestOfTheAnswerCannotBeRead) {
    Vikunja vikunja;
    vikunja.answer("PUT /api/v1/projects/12/tasks", 201, R"({"id":80,"title":"Mend the gate","created":"just now"})");

    TaskItem task = runToEnd(vikunja.backend.createTask(gateDraft(), "12"));

    EXPECT_EQ(task.id, "80");
    EXPECT_EQ(task.projectID, "12");
    EXPECT_EQ(task.title, "Mend the gate");
    EXPECT_EQ(task.notes, "<p>It squeaks</p>");
    EXPECT_EQ(task.dueDate, dueDay);
    EXPECT_FALSE(task.isCompleted);
    EXPECT_EQ(task.webURL.value().text(), "https://tasks.example/tasks/80");
}

TEST(VikunjaChangesTest, anAnswerToACreateThatNamesNoTaskIsAnError) {
    for (const std::string& answer : {std::string("<html>"), std::string(), std::string("[]"), std::string("{}")}) {
        Vikunja vikunja;
        vikunja.answer("PUT /api/v1/projects/12/tasks", 201, answer);
        EXPECT_THROW(runToEnd(vikunja.backend.createTask(gateDraft(), "12")), LocalizedError) << answer;
    }
}

TEST(VikunjaChangesTest, aCreateIsSentOnceEvenWhenTheNetworkFails) {
    Vikunja vikunja;
    NetworkError lost(NetworkError::Kind::interrupted, "The connection was lost.");
    vikunja.server->fail("PUT /api/v1/projects/12/tasks", std::make_exception_ptr(lost));
    EXPECT_THROW(runToEnd(vikunja.backend.createTask(gateDraft(), "12")), NetworkError);
    EXPECT_EQ(vikunja.server->requests().size(), 1u);
}

TEST(VikunjaChangesTest, anEditSendsTheWholeTaskBackAsItWasRead) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200,
                   R"({"id":71,"project_id":12,"title":"Old","description":"","done":false,"position":65536.50,
                       "big":98765432109876543210,"related_tasks":{"subtask":[{"id":2,"title":"b"}]},
                       "reminders":null})");
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71));
    TaskItem task = taskWithTitle("71", "New");
    task.notes = "<p>Now</p>";
    task.isCompleted = true;
    task.dueDate = dueDay;

    runToEnd(vikunja.backend.updateTask(task));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + task71, "POST " + task71));
    EXPECT_EQ(vikunja.lastBody(),
              R"({"id":71,"project_id":12,"title":"New","description":"<p>Now</p>","done":true,"position":65536.50,)"
              R"("big":98765432109876543210,"reminders":null,"due_date":"2026-03-20T22:59:59Z"})");
    EXPECT_EQ(vikunja.lastHeader("Content-Type"), "application/json");
}

TEST(VikunjaChangesTest, theAnswerToAnEditIsTheTask) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71));
    vikunja.answer(
        "POST /api/v1/tasks/71", 200,
        R"({"id":71,"project_id":13,"title":"As it stands","done":true,"updated":"2026-01-15T10:00:00.5Z"})");

    TaskItem task = runToEnd(vikunja.backend.updateTask(taskWithTitle("71")));

    EXPECT_EQ(task.title, "As it stands");
    EXPECT_TRUE(task.isCompleted);
    EXPECT_EQ(task.projectID, "13");
    EXPECT_EQ(task.updatedAt, parseISO8601("2026-01-15T10:00:00.5Z"));
}

// The service moves its dates on and opens it again.
TEST(VikunjaChangesTest, aRepeatingTaskThatIsCompletedIsOpenAgainAtItsNextDate) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200,
                   taskJSON(71, R"(,"repeat_after":604800,"due_date":"2026-03-20T22:59:59Z")"));
    vikunja.answer("POST /api/v1/tasks/71", 200,
                   taskJSON(71, R"(,"repeat_after":604800,"due_date":"2026-03-27T22:59:59Z")"));
    TaskItem task = taskWithTitle("71");
    task.isCompleted = true;
    task.dueDate = dueDay;

    TaskItem updated = runToEnd(vikunja.backend.updateTask(task));

    EXPECT_FALSE(updated.isCompleted);
    EXPECT_EQ(updated.dueDate, dueDay + 7 * 86400.0);
}

TEST(VikunjaChangesTest, aTaskThatIsNoObjectIsNotEdited) {
    for (const std::string& body : {"[]", "null", "7", "<html>", "", R"({"id":71)"}) {
        Vikunja vikunja;
        vikunja.answer("GET /api/v1/tasks/71", 200, body);
        EXPECT_EQ(errorOf(vikunja.backend.updateTask(taskWithTitle("71"))), BackendError::invalidResponse()) << body;
        EXPECT_EQ(vikunja.server->requests().size(), 1u);
    }
}

TEST(VikunjaChangesTest, anEditOfATaskThatIsGoneSaysSo) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 404, R"({"code":4002,"message":"This task does not exist"})");
    EXPECT_EQ(errorOf(vikunja.backend.updateTask(taskWithTitle("71"))), BackendError::notFound());
}

TEST(VikunjaChangesTest, anEditThatIsRefusedIsToldInTheServersWords) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71));
    vikunja.answer("POST /api/v1/tasks/71", 412, R"({"code":2002,"message":"Invalid Data"})");
    EXPECT_EQ(errorOf(vikunja.backend.updateTask(taskWithTitle("71", ""))), BackendError::rejected("Invalid Data"));
}

TEST(VikunjaChangesTest, theTaskThatIsReadBeforeAnEditIsRevalidated) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71), {{"ETag", "\"v1\""}});
    vikunja.answer("GET /api/v1/tasks/71", 304, "");
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71));

    runToEnd(vikunja.backend.updateTask(taskWithTitle("71", "First")));
    runToEnd(vikunja.backend.updateTask(taskWithTitle("71", "Second")));

    EXPECT_EQ(vikunja.server->requests().at(2).headers.at("If-None-Match"), "\"v1\"");
    EXPECT_EQ(vikunja.lastBody(), R"({"id":71,"project_id":7,"title":"Second","done":false,"description":"",)"
                                  R"("due_date":null})");
}

}  // namespace
}  // namespace marlet
