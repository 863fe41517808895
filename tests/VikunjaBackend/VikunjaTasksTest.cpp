#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string tasksOfTwelve = api + "tasks?filter=project%20%3D%2012&sort_by=updated&order_by=desc&per_page=50";
const Date since = dateFromSeconds(1'770'285'600);  // 2026-02-05T10:00:00Z

std::vector<std::string> idsOf(const std::vector<TaskItem>& tasks) {
    std::vector<std::string> ids;
    for (const TaskItem& task : tasks) {
        ids.push_back(task.id);
    }
    return ids;
}

TEST(VikunjaTasksTest, everythingThatATaskTellsIsRead) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 200, fixture("tasks.json"));

    std::vector<TaskItem> tasks = runToEnd(vikunja.backend.fetchTasks("12", std::nullopt));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + tasksOfTwelve));
    TaskItem pear;
    pear.id = "71";
    pear.projectID = "12";
    pear.kind = TaskKind::task;
    pear.title = "Prune the <old> pear & plum";
    pear.notes = "<p>Not too <strong>hard</strong> 🍐</p>";
    pear.createdAt = parseISO8601("2026-01-10T07:00:00Z");
    pear.updatedAt = parseISO8601("2026-01-14T17:00:00.25Z");
    pear.dueDate = parseISO8601("2026-02-20T16:30:00Z");
    pear.priority = 4;
    pear.labels = {{"Urgent", "e8445a"}, {"später", std::nullopt}};
    pear.assignees = {{"4", "mira", "Mira Holm", std::nullopt}, {"9", "tove", std::nullopt, std::nullopt}};
    pear.parent = TaskParent{"70", "Winter work"};
    pear.canHaveChildren = true;
    pear.canChangeParent = true;
    pear.webURL = URL::parse("https://tasks.example/tasks/71");
    EXPECT_EQ(tasks.at(0), pear);
}

TEST(VikunjaTasksTest, whatATaskDoesNotTellIsAbsent) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 200, fixture("tasks.json"));

    std::vector<TaskItem> tasks = runToEnd(vikunja.backend.fetchTasks("12", std::nullopt));

    ASSERT_EQ(tasks.size(), 3u);
    EXPECT_TRUE(tasks[1].isCompleted);
    EXPECT_EQ(tasks[1].dueDate, std::nullopt) << "an empty date of a server east of Greenwich";
    EXPECT_EQ(tasks[1].priority, std::nullopt);
    EXPECT_EQ(tasks[1].parent, std::nullopt) << "children are no parent, nor is a kind without a task";
    EXPECT_NEAR(secondsSince1970(tasks[1].updatedAt.value()), 1'768'287'600.123456789, 1e-6);
    EXPECT_EQ(tasks[2].projectID, "13") << "as the task says, wherever it was found";
    EXPECT_EQ(tasks[2].createdAt, std::nullopt);
    EXPECT_EQ(tasks[2].updatedAt, std::nullopt);
    EXPECT_EQ(tasks[2].priority, std::nullopt);
    EXPECT_THAT(tasks[2].labels, IsEmpty());
    EXPECT_THAT(tasks[2].assignees, IsEmpty());
}

TEST(VikunjaTasksTest, aFullFetchReadsAllPagesAndStopsAtTheLimit) {
    Vikunja vikunja("https://tasks.example", 120);
    vikunja.server->onRequest = [](const URLRequest&) {
        return ScriptedTransport::Answer{.headers = {{"x-pagination-total-pages", "9"}},
                                         .body = tasksJSON(50, "2020-01-01T00:00:00Z")};
    };

    EXPECT_EQ(runToEnd(vikunja.backend.fetchTasks("12", std::nullopt)).size(), 120u) << "however old";
    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + tasksOfTwelve, "GET " + tasksOfTwelve + "&page=2",
                                                   "GET " + tasksOfTwelve + "&page=3"));
}

TEST(VikunjaTasksTest, whatChangedSinceADateEndsAtTheFirstTaskThatIsOlder) {
    Vikunja vikunja("https://tasks.example", 1);
    vikunja.answer("GET /api/v1/tasks", 200,
                   "[" + taskJSON(1, R"(,"updated":"2026-02-06T10:00:00Z")") + "," + taskJSON(2) + "," +
                       taskJSON(3, R"(,"updated":null)") + "," +
                       taskJSON(4, R"(,"updated":"2026-02-05T11:00:00+01:00")") + "," +
                       taskJSON(5, R"(,"updated":"2026-02-05T09:59:59.9Z")") + "," +
                       taskJSON(6, R"(,"updated":"2026-02-07T10:00:00Z")") + "]",
                   {{"x-pagination-total-pages", "7"}});

    std::vector<TaskItem> tasks = runToEnd(vikunja.backend.fetchTasks("12", since));

    EXPECT_THAT(idsOf(tasks), ElementsAre("1", "2", "3", "4")) << "the limit is for full fetches alone";
    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + tasksOfTwelve));
}

TEST(VikunjaTasksTest, manyChangesAreReadPageByPage) {
    Vikunja vikunja("https://tasks.example", 10);
    vikunja.answer("GET " + tasksOfTwelve, 200, tasksJSON(50, "2026-02-06T10:00:00Z"),
                   {{"x-pagination-total-pages", "9"}});
    vikunja.answer("GET " + tasksOfTwelve + "&page=2", 200, tasksJSON(1, "2026-02-05T10:00:00Z"),
                   {{"x-pagination-total-pages", "2"}});

    EXPECT_EQ(runToEnd(vikunja.backend.fetchTasks("12", since)).size(), 51u);
}

TEST(VikunjaTasksTest, aProjectWithoutTasksIsAnEmptyList) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 200, "[]", {{"x-pagination-total-pages", "0"}});
    EXPECT_THAT(runToEnd(vikunja.backend.fetchTasks("12", std::nullopt)), IsEmpty());
}

// An empty list makes a full fetch delete all tasks: nothing else may pass for one.
TEST(VikunjaTasksTest, anAnswerThatIsNoListIsAnErrorAndNotAProjectWithoutTasks) {
    for (const std::string& body : {std::string("null"), std::string("{}"), std::string(), std::string("<html>")}) {
        Vikunja vikunja;
        vikunja.answer("GET /api/v1/tasks", 200, body);
        EXPECT_THROW(runToEnd(vikunja.backend.fetchTasks("12", std::nullopt)), LocalizedError) << body;
    }
}

// Servers before version 1.0 don't know the address.
TEST(VikunjaTasksTest, aServerThatIsTooOldIsSaidNotToHaveIt) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 404, R"({"message":"Not Found"})");

    std::optional<BackendError> error = errorOf(vikunja.backend.fetchTasks("12", std::nullopt));

    EXPECT_EQ(error, BackendError::notFound());
    EXPECT_EQ(error.value().errorDescription(), "Not found on the server.");
}

TEST(VikunjaTasksTest, aProjectThatIsNoNumberIsNotAskedFor) {
    for (const std::string& id : {"", "-1", "12 || done = true", "../7", "local-1"}) {
        Vikunja vikunja;
        EXPECT_EQ(errorOf(vikunja.backend.fetchTasks(id, std::nullopt)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(vikunja.backend.taskCount(id)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(vikunja.backend.createTask({.title = "a"}, id)), BackendError::notFound()) << id;
        EXPECT_THAT(vikunja.server->requests(), IsEmpty());
    }
}

TEST(VikunjaTasksTest, theRawTaskIsTheAnswerByteForByte) {
    const std::string answer = "{ \"id\": 71,\n \"size\": 1.10, \"big\": 123456789012345678901234567890 }";
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, answer);

    EXPECT_EQ(runToEnd(vikunja.backend.rawTask(taskWithTitle("71"))), answer);
    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + api + "tasks/71"));
}

TEST(VikunjaTasksTest, aTaskThatIsNoNumberIsNotAskedFor) {
    for (const std::string& id : {"", "-7", "7/comments", "..", "local-1"}) {
        Vikunja vikunja;
        TaskItem task = taskWithTitle(id);
        EXPECT_EQ(errorOf(vikunja.backend.rawTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(vikunja.backend.updateTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(vikunja.backend.fetchComments(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(vikunja.backend.addComment("a", task)), BackendError::notFound()) << id;
        EXPECT_THAT(vikunja.server->requests(), IsEmpty());
    }
}

}  // namespace
}  // namespace marlet
