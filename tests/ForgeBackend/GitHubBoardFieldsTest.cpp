// How often a board is asked for its status field.
#include "GitHubBoardScenario.h"
#include "TestSupport/HeldTransport.h"

namespace marlet {
namespace {

const std::string fieldsRead = "GET /orgs/acme/projectsV2/12/fields?per_page=100";

int64_t fieldReads(GitHubBoardScenario& scenario) {
    Lines log = scenario.takeLog();
    return std::count(log.begin(), log.end(), fieldsRead);
}

}  // namespace

TEST(GitHubBoardFieldsTest, theStatusFieldIsReadOncePerBoardAndBackend) {
    GitHubBoardScenario scenario;
    scenario.answerAccount({"acme"});
    scenario.server->answer("GET /user", failing(404));
    scenario.server->answer("GET /orgs/acme/projectsV2", R"([{"number": 12, "title": "Pond"}])");
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems("[]");
    scenario.answerItem(601, draftItem(601, "Dig", ""));
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", draftItem(602, "Fill", ""));

    runToEnd(scenario.backend.fetchProjects());
    scenario.tasks();
    scenario.tasks(distantPast);
    scenario.create({.title = "Fill", .notes = "", .dueDate = {}, .labels = {}, .typeName = {}});
    scenario.update({.id = "601", .projectID = acmeBoard, .title = "Dig"});
    runToEnd(scenario.backend.fetchProjects());

    EXPECT_EQ(fieldReads(scenario), 1);
}

TEST(GitHubBoardFieldsTest, thatABoardHasNoStatusFieldIsKeptToo) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems(jsonList({draftItem(1, "Dig", "", statusMember("Done"))}));

    scenario.tasks();
    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(fieldReads(scenario), 1);
    EXPECT_FALSE(tasks.at(0).isCompleted);
}

TEST(GitHubBoardFieldsTest, eachBoardIsAskedForItsOwn) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"To do", "Done"}, 40));
    scenario.server->answer("GET /users/mona/projectsV2/3/fields", statusFields({"To do", "Done"}, 50));
    scenario.answerItems("[]");
    scenario.server->answer("GET /users/mona/projectsV2/3/items", "[]");

    scenario.tasks();
    runToEnd(scenario.backend.fetchTasks(monasBoard, std::nullopt));

    EXPECT_EQ(scenario.takeLog(), (Lines{fieldsRead, "GET /orgs/acme/projectsV2/12/items?per_page=100&fields=40",
                                         "GET /users/mona/projectsV2/3/fields?per_page=100",
                                         "GET /users/mona/projectsV2/3/items?per_page=100&fields=50"}));
}

TEST(GitHubBoardFieldsTest, aFailedLookUpIsNotKept) {
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", failing(503));
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems("[]");

    EXPECT_EQ(errorOf(scenario.backend.fetchTasks(acmeBoard, std::nullopt)), BackendError::http(503));
    EXPECT_EQ(scenario.tasks(), std::vector<TaskItem>{});

    EXPECT_EQ(fieldReads(scenario), 2);
}

TEST(GitHubBoardFieldsTest, aNewBackendAsksAgain) {
    for (int round = 0; round < 2; ++round) {
        GitHubBoardScenario scenario;
        scenario.answerFields("[]");
        scenario.answerItems("[]");

        scenario.tasks();

        EXPECT_EQ(fieldReads(scenario), 1);
    }
}

TEST(GitHubBoardFieldsTest, everyPageOfTheFieldsIsRead) {
    GitHubBoardScenario scenario;
    scenario.answerPages("/orgs/acme/projectsV2/12/fields", R"([{"id": 1, "name": "Title"}])",
                         statusFields({"To do", "Done"}));
    scenario.answerItems(jsonList({draftItem(1, "Dig", "", statusMember("Done"))}));

    EXPECT_TRUE(scenario.tasks().at(0).isCompleted);
}

TEST(GitHubBoardFieldsTest, twoLookUpsAtOnceBothAskAndTheLaterAnswerStays) {
    TestLoop loop;
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", statusFields({"To do", "Done"}, 40));
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", statusFields({"To do", "Shipped"}, 50));
    scenario.server->answer("GET /orgs/acme/projectsV2/12/items", "[]");
    auto held = std::make_shared<HeldTransport>(scenario.server, "/fields");
    ForgeTaskBackend backend = scenario.backendBehind(held);
    auto first = loop.start(backend.fetchTasks(acmeBoard, std::nullopt));
    auto second = loop.start(backend.fetchTasks(acmeBoard, std::nullopt));
    loop.runUntil([&] { return held->heldCount() == 2; });

    held->release();
    loop.runUntil([&] { return first->isFinished && second->isFinished; });
    loop.runToEnd(backend.fetchTasks(acmeBoard, std::nullopt));

    EXPECT_FALSE(first->error || second->error);
    const std::string items = "GET https://api.github.com/orgs/acme/projectsV2/12/items?per_page=100&fields=";
    Lines log = scenario.server->log();
    EXPECT_EQ(std::count(log.begin(), log.end(), items + "40"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), items + "50"), 2) << "the third fetch used what was kept";
    EXPECT_EQ(log.size(), 5U);
}

}  // namespace marlet
