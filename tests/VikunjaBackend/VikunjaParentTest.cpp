#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string task71 = api + "tasks/71";
const std::string relations = task71 + "/relations";

std::string parentMember(const std::string& parents) {
    return R"(,"related_tasks":{"blocking":[{"id":9,"title":"Nine"}],"parenttask":[)" + parents + "]}";
}
const std::string parentThree = R"({"id":3,"title":"Three"})";

// Task 71 with these parents, as a read shows them. The answer to an edit has no relations, as the service has it.
struct VikunjaWithParent : Vikunja {
    explicit VikunjaWithParent(const std::string& parents) {
        answer("GET /api/v1/tasks/71", 200, taskJSON(71, parentMember(parents)));
        answer("POST /api/v1/tasks/71", 200, taskJSON(71, R"(,"related_tasks":null)"));
        answer("PUT /api/v1/tasks/71/relations", 201, "not read");
        for (const std::string& id : {"3", "4", "-3"}) {
            answer("DELETE /api/v1/tasks/71/relations/parenttask/" + id, 200, "not read");
        }
    }

    std::optional<TaskParent> update(const std::optional<TaskParent>& parent) {
        TaskItem task = taskWithTitle("71");
        task.parent = parent;
        return runToEnd(backend.updateTask(task)).parent;
    }
    // What follows the edit itself.
    Lines laterRequests() const {
        Lines log = server->log();
        EXPECT_EQ(log.at(0), "GET " + task71);
        EXPECT_EQ(log.at(1), "POST " + task71);
        return {log.begin() + 2, log.end()};
    }
};

// Without it the next edit would take the missing parent for the user's wish, and remove the relation.
TEST(VikunjaParentTest, aParentThatTheAnswerToAnEditLeavesOutIsKept) {
    VikunjaWithParent vikunja(parentThree);
    EXPECT_EQ(vikunja.update(TaskParent{"3", ""}), (TaskParent{"3", "Three"}));
    EXPECT_THAT(vikunja.laterRequests(), IsEmpty());

    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71));
    EXPECT_EQ(vikunja.update(TaskParent{"3", "Three"}), (TaskParent{"3", "Three"}));

    VikunjaWithParent empty(parentThree);
    empty.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        bool isEdit = request.method == HTTPMethod::post;
        return isEdit ? std::optional(ScriptedTransport::Answer{.body = taskJSON(71, R"(,"related_tasks":{})")})
                      : std::nullopt;
    };
    EXPECT_EQ(empty.update(TaskParent{"3", "Three"}), (TaskParent{"3", "Three"}));
}

TEST(VikunjaParentTest, aParentThatTheAnswerDoesNameIsTaken) {
    VikunjaWithParent vikunja(parentThree);
    vikunja.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        if (request.method == HTTPMethod::post) {
            return ScriptedTransport::Answer{.body = taskJSON(71, parentMember(R"({"id":3,"title":"Renamed"})"))};
        }
        return std::nullopt;
    };
    EXPECT_EQ(vikunja.update(TaskParent{"3", "Three"}), (TaskParent{"3", "Renamed"}));
}

TEST(VikunjaParentTest, aParentIsKeptThroughAChangeOfLabels) {
    VikunjaWithParent vikunja(parentThree);
    vikunja.answer("GET /api/v1/labels", 200, R"([{"id":5,"title":"new"}])");
    vikunja.answer("POST /api/v1/tasks/71/labels/bulk", 201, "not read");
    TaskItem task = taskWithTitle("71");
    task.labels = {{"new", std::nullopt}};
    task.parent = TaskParent{"3", ""};

    EXPECT_EQ(runToEnd(vikunja.backend.updateTask(task)).parent, (TaskParent{"3", "Three"}));
}

TEST(VikunjaParentTest, aParentThatIsGoneWhenTheTaskIsReadAgainIsNotKept) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71, parentMember(parentThree)));
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71, R"(,"related_tasks":{})"));
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71, R"(,"labels":[{"id":5,"title":"old"}])"));
    vikunja.answer("POST /api/v1/tasks/71/labels/bulk", 201, "");
    TaskItem task = taskWithTitle("71");
    task.parent = TaskParent{"3", "Three"};

    EXPECT_EQ(runToEnd(vikunja.backend.updateTask(task)).parent, std::nullopt);
}

TEST(VikunjaParentTest, aTaskWithoutAParentStaysSoWithoutARequest) {
    VikunjaWithParent vikunja("");
    EXPECT_EQ(vikunja.update(std::nullopt), std::nullopt);
    EXPECT_THAT(vikunja.laterRequests(), IsEmpty());
}

TEST(VikunjaParentTest, aNewParentIsAdded) {
    VikunjaWithParent vikunja("");
    EXPECT_EQ(vikunja.update(TaskParent{"4", "Four"}), (TaskParent{"4", "Four"}));
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre("PUT " + relations));
    EXPECT_EQ(vikunja.lastBody(), R"({"task_id":71,"other_task_id":4,"relation_kind":"parenttask"})");
    EXPECT_EQ(vikunja.lastHeader("Content-Type"), "application/json");
}

TEST(VikunjaParentTest, theOldParentGoesBeforeTheNewOneComes) {
    VikunjaWithParent vikunja(parentThree);
    EXPECT_EQ(vikunja.update(TaskParent{"4", "Four"}), (TaskParent{"4", "Four"}));
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre("DELETE " + relations + "/parenttask/3", "PUT " + relations));
    EXPECT_EQ(vikunja.server->requests().at(2).body, std::nullopt);
}

TEST(VikunjaParentTest, theOldParentIsKnownByItsIdWhateverElseTheTaskIsRelatedTo) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200,
                   R"({"related_tasks":{"blocking":[{"id":"nine"}],"follows":7,"parenttask":[{"id":3}]}})");
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71));
    vikunja.answer("DELETE /api/v1/tasks/71/relations/parenttask/3", 200, "");

    EXPECT_EQ(runToEnd(vikunja.backend.updateTask(taskWithTitle("71"))).parent, std::nullopt);
    EXPECT_EQ(vikunja.server->log().back(), "DELETE " + relations + "/parenttask/3");
}

TEST(VikunjaParentTest, aParentIsRemoved) {
    VikunjaWithParent vikunja(parentThree);
    EXPECT_EQ(vikunja.update(std::nullopt), std::nullopt);
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre("DELETE " + relations + "/parenttask/3"));
}

TEST(VikunjaParentTest, ofSeveralParentsTheFirstOneIsTheTasksOwn) {
    VikunjaWithParent vikunja(parentThree + R"(,{"id":4,"title":"Four"})");
    EXPECT_EQ(vikunja.update(TaskParent{"3", ""}), (TaskParent{"3", "Three"}));
    EXPECT_THAT(vikunja.laterRequests(), IsEmpty());
}

TEST(VikunjaParentTest, aParentThatIsNoNumberIsNone) {
    for (const std::string& id : {"", "local-4", "4 ", "4.0", "99999999999999999999"}) {
        VikunjaWithParent vikunja("");
        EXPECT_EQ(vikunja.update(TaskParent{id, ""}), std::nullopt) << id;
        EXPECT_THAT(vikunja.laterRequests(), IsEmpty()) << id;
    }
}

TEST(VikunjaParentTest, theParentIsSetAfterTheLabels) {
    VikunjaWithParent vikunja(parentThree);
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71, R"(,"labels":[{"id":5,"title":"old"}])"));
    vikunja.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        if (request.method == HTTPMethod::post && !request.url.text().ends_with("bulk")) {
            return ScriptedTransport::Answer{.body = taskJSON(71, R"(,"labels":[{"id":5,"title":"old"}])")};
        }
        return std::nullopt;
    };
    vikunja.answer("POST /api/v1/tasks/71/labels/bulk", 201, "");

    EXPECT_EQ(vikunja.update(TaskParent{"4", "Four"}), (TaskParent{"4", "Four"})) << "the read before it is older";
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre("POST " + task71 + "/labels/bulk", "GET " + task71,
                                                     "DELETE " + relations + "/parenttask/3", "PUT " + relations));
}

TEST(VikunjaParentTest, aParentThatIsRefusedFailsAfterTheTextWasSavedAndTheOldOneWent) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200, taskJSON(71, parentMember(parentThree)));
    vikunja.answer("POST /api/v1/tasks/71", 200, taskJSON(71));
    vikunja.answer("DELETE /api/v1/tasks/71/relations/parenttask/3", 200, R"({"message":"Successfully deleted."})");
    vikunja.answer("PUT /api/v1/tasks/71/relations", 409,
                   R"({"code":4022,"message":"The task relation would make a cycle."})");
    TaskItem task = taskWithTitle("71");
    task.parent = TaskParent{"4", ""};

    EXPECT_EQ(errorOf(vikunja.backend.updateTask(task)),
              BackendError::rejected("The task relation would make a cycle."));
    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + task71, "POST " + task71,
                                                   "DELETE " + relations + "/parenttask/3", "PUT " + relations));
}

}  // namespace
}  // namespace marlet
