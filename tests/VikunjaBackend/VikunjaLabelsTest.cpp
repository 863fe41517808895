#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const std::string task71 = api + "tasks/71";

// Task 71, which the answer to an edit shows without labels or with these; the labels are those of the fixture.
struct VikunjaWithLabels : Vikunja {
    explicit VikunjaWithLabels(const std::string& labelsOfTheTask = "null") {
        answer("GET /api/v1/labels", 200, fixture("labels.json"));
        answer("GET /api/v1/tasks/71", 200, taskJSON(71));
        answer("POST /api/v1/tasks/71", 200, taskJSON(71, R"(,"labels":)" + labelsOfTheTask));
        answer("POST /api/v1/tasks/71/labels/bulk", 201, "not read");
        answer("PUT /api/v1/labels", 201, R"({"id":30,"title":"as the server spells it","hex_color":""})");
    }

    TaskItem update(const std::vector<std::string>& names) {
        TaskItem task = taskWithTitle("71");
        for (const std::string& name : names) {
            task.labels.push_back({name, std::nullopt});
        }
        return runToEnd(backend.updateTask(task));
    }
    // What follows the edit itself.
    Lines laterRequests() const {
        Lines log = server->log();
        EXPECT_EQ(log.at(0), "GET " + task71);
        EXPECT_EQ(log.at(1), "POST " + task71);
        return {log.begin() + 2, log.end()};
    }
    // The bodies of the requests to this route, in their order.
    Lines bodies(const std::string& line) const {
        Lines result;
        for (size_t index = 0; index < server->requests().size(); ++index) {
            if (server->log().at(index) == line) {
                result.push_back(server->requests()[index].body.value_or("(none)"));
            }
        }
        return result;
    }
};

const std::string list = "GET " + api + "labels?per_page=50";
const std::string create = "PUT " + api + "labels";
const std::string set = "POST " + task71 + "/labels/bulk";
const std::string readAgain = "GET " + task71;

TEST(VikunjaLabelsTest, labelsThatAreThereAreSetByTheirIdsInOrder) {
    VikunjaWithLabels vikunja;
    vikunja.update({"später", "Urgent"});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(list, set, readAgain));
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":22},{"id":21}]})"));
    EXPECT_EQ(vikunja.server->requests().at(3).headers.at("Content-Type"), "application/json");
}

TEST(VikunjaLabelsTest, aLabelOfAnotherCaseIsFoundAndNotMade) {
    VikunjaWithLabels vikunja;
    vikunja.update({"urgent", "SPÄTER"});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(list, set, readAgain));
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":21},{"id":22}]})"));
}

TEST(VikunjaLabelsTest, theSpellingDecidesBetweenLabelsThatDifferByCase) {
    VikunjaWithLabels vikunja;
    vikunja.update({"wald", "Wald"});
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":25},{"id":24}]})"));

    VikunjaWithLabels neither;
    neither.update({"WALD"});
    EXPECT_THAT(neither.bodies(set), ElementsAre(R"({"labels":[{"id":24}]})")) << "the first of them";
}

TEST(VikunjaLabelsTest, aNewLabelIsMadeAsItIsSpeltWithAColourOfItsOwn) {
    VikunjaWithLabels vikunja;
    vikunja.update({"Urgent", "買い物"});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(list, create, set, readAgain));
    EXPECT_THAT(vikunja.bodies(create), ElementsAre(R"({"title":"買い物","hex_color":"9b51e0"})"));
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":21},{"id":30}]})"));
}

TEST(VikunjaLabelsTest, aNameThatIsGivenTwiceIsOneLabel) {
    VikunjaWithLabels vikunja;
    vikunja.update({"new", "new", "Urgent", "urgent"});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(list, create, set, readAgain));
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":30},{"id":21}]})"));
}

TEST(VikunjaLabelsTest, theLastLabelGoesWithAnEmptyListAndNoLookAtTheLabels) {
    VikunjaWithLabels vikunja(R"([{"id":21,"title":"Urgent"}])");
    vikunja.update({});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(set, readAgain));
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[]})"));
}

TEST(VikunjaLabelsTest, labelsThatTheTaskHasAreNotSentWhateverTheirOrder) {
    VikunjaWithLabels vikunja(R"([{"id":21,"title":"Urgent"},{"id":22,"title":"später"}])");
    TaskItem task = vikunja.update({"später", "Urgent"});
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre());
    EXPECT_EQ(task.labels.size(), 2u);
}

TEST(VikunjaLabelsTest, theTaskReadAgainIsTheAnswer) {
    VikunjaWithLabels vikunja;
    vikunja.answer("GET /api/v1/tasks/71", 200,
                   taskJSON(71, R"(,"labels":[{"id":21,"title":"Urgent","hex_color":"E8445A"}],"priority":3)"));
    TaskItem task = vikunja.update({"urgent"});
    EXPECT_EQ(task.labels, (std::vector<TaskLabel>{{"Urgent", "e8445a"}}));
    EXPECT_EQ(task.priority, 3);
}

TEST(VikunjaLabelsTest, theLabelsAreReadToTheLastPage) {
    VikunjaWithLabels vikunja;
    vikunja.answer(list, 200, R"([{"id":1,"title":"a"}])", {{"x-pagination-total-pages", "2"}});
    vikunja.answer(list + "&page=2", 200, R"([{"id":2,"title":"b"}])", {{"x-pagination-total-pages", "2"}});
    vikunja.update({"b"});
    EXPECT_THAT(vikunja.bodies(set), ElementsAre(R"({"labels":[{"id":2}]})"));
}

TEST(VikunjaLabelsTest, aLabelThatIsRefusedFailsAfterTheTextWasSaved) {
    VikunjaWithLabels vikunja;
    vikunja.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        if (request.method == HTTPMethod::put) {
            return ScriptedTransport::Answer{.status = 412, .body = R"({"code":2002,"message":"Invalid Data"})"};
        }
        return std::nullopt;
    };
    TaskItem task = taskWithTitle("71");
    task.labels = {{"new", std::nullopt}};

    EXPECT_EQ(errorOf(vikunja.backend.updateTask(task)), BackendError::rejected("Invalid Data"));
    EXPECT_THAT(vikunja.laterRequests(), ElementsAre(list, create)) << "no label was set";
}

}  // namespace
}  // namespace marlet
