// The tasks of a board.
#include <fmt/format.h>

#include "GitHubBoardScenario.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {
namespace {

Lines ids(const std::vector<TaskItem>& tasks) {
    Lines result;
    for (const TaskItem& task : tasks) {
        result.push_back(task.id);
    }
    return result;
}

// An item with the change dates of itself and of its text, either of which may be "null".
std::string changedItem(int64_t id, const std::string& itemDate, const std::string& contentDate) {
    return fmt::format(
        R"({{"id": {}, "content_type": "DraftIssue", "updated_at": {}, "content": {{"updated_at": {}}}}})", id,
        itemDate, contentDate);
}

}  // namespace

TEST(GitHubBoardFetchTest, aDraftIsATaskOfTheBoard) {
    GitHubBoardScenario scenario;
    scenario.answerFields(fixture("board-fields.json"));
    scenario.answerItems(fixture("board-items.json"));

    std::vector<TaskItem> tasks = scenario.tasks();

    TaskItem expected{.id = "601", .projectID = acmeBoard, .kind = TaskKind::task, .title = "Find a liner"};
    expected.notes = "At least 1 mm.\r\n";
    expected.status = "DONE";
    expected.isCompleted = true;
    expected.createdAt = date("2026-05-03T08:00:05Z");
    expected.updatedAt = date("2026-05-06T08:00:00.25Z");
    expected.canHaveChildren = false;
    expected.canChangeParent = false;
    expected.webURL = URL::parse("https://github.com/orgs/acme/projects/12?pane=issue&itemId=601");
    EXPECT_EQ(tasks.at(0), expected);
}

TEST(GitHubBoardFetchTest, issuesPullRequestsAndArchivedDraftsAreNoTasksHere) {
    GitHubBoardScenario scenario;
    scenario.answerFields(fixture("board-fields.json"));
    scenario.answerItems(fixture("board-items.json"));

    EXPECT_EQ(ids(scenario.tasks()), (Lines{"601", "605", "606"}));
}

TEST(GitHubBoardFetchTest, aDraftThatBecameAnIssueIsNoLongerListed) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(jsonList({draftItem(1, "Dig", "")}));
    scenario.answerItems(R"([{"id": 1, "content_type": "Issue", "content": {"node_id": "I_1", "title": "Dig"}}])");

    EXPECT_EQ(ids(scenario.tasks()), Lines{"1"});
    EXPECT_EQ(ids(scenario.tasks()), Lines{});
}

TEST(GitHubBoardFetchTest, theItemsAreAskedForWithTheValueOfTheStatusFieldAlone) {
    GitHubBoardScenario scenario;
    scenario.answerFields(fixture("board-fields.json"));
    scenario.answerItems("[]");

    scenario.tasks();

    EXPECT_EQ(scenario.takeLog(), (Lines{"GET /orgs/acme/projectsV2/12/fields?per_page=100",
                                         "GET /orgs/acme/projectsV2/12/items?per_page=100&fields=4103"}));
}

TEST(GitHubBoardFetchTest, aUsersBoardIsReadUnderTheUser) {
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /users/mona/projectsV2/3/fields", "[]");
    scenario.server->answer("GET /users/mona/projectsV2/3/items", jsonList({draftItem(5, "Dig", "")}));

    std::vector<TaskItem> tasks = runToEnd(scenario.backend.fetchTasks(monasBoard, std::nullopt));

    EXPECT_EQ(tasks.at(0).projectID, monasBoard);
    EXPECT_EQ(tasks.at(0).webURL, URL::parse("https://github.com/users/mona/projects/3?pane=issue&itemId=5"));
}

TEST(GitHubBoardFetchTest, tasksOfABoardWithoutAStatusFieldHaveNoStatusAndAreNotCompleted) {
    GitHubBoardScenario scenario;
    scenario.answerFields(R"([{"id": 4101, "name": "Status", "data_type": "text"}])");
    scenario.answerItems(jsonList({draftItem(1, "Dig", ""), draftItem(2, "Fill", "", R"("fields": [])")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    ASSERT_EQ(ids(tasks), (Lines{"1", "2"}));
    for (const TaskItem& task : tasks) {
        EXPECT_EQ(task.status, std::nullopt);
        EXPECT_FALSE(task.isCompleted);
    }
    EXPECT_EQ(scenario.takeLog().at(1), "GET /orgs/acme/projectsV2/12/items?per_page=100");
}

TEST(GitHubBoardFetchTest, withoutAKnownFieldTheEntryNamedStatusIsTheStatus) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(jsonList(
        {draftItem(1, "Dig", "", R"("fields": [{"id": 8, "name": "sTATUS", "value": {"name": {"raw": "Done"}}}])"),
         draftItem(2, "Fill", "", R"("fields": [{"id": 8, "name": "State", "value": {"name": {"raw": "Done"}}}])"),
         draftItem(3, "Rest", "", R"("fields": [{"id": 8, "name": "Status", "value": {"id": "o-Done"}}])")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).status, "Done");
    EXPECT_FALSE(tasks.at(0).isCompleted) << "the board knows no done status";
    EXPECT_EQ(tasks.at(1).status, std::nullopt);
    EXPECT_EQ(tasks.at(2).status, std::nullopt);
}

TEST(GitHubBoardFetchTest, withAKnownFieldItsIDCountsAndNotItsName) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems(jsonList(
        {draftItem(1, "Dig", "", R"("fields": [{"id": 9, "name": "Status", "value": {"name": {"raw": "Done"}}},
                                               {"id": 40, "name": "Etat", "value": {"name": {"raw": "To do"}}}])"),
         draftItem(2, "Fill", "", R"("fields": [{"id": 9, "name": "Status", "value": {"name": {"raw": "Done"}}}])")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).status, "To do");
    EXPECT_EQ(tasks.at(1).status, std::nullopt);
}

TEST(GitHubBoardFetchTest, aStatusWithoutANameIsFoundByTheIDOfItsOption) {
    GitHubBoardScenario scenario;
    scenario.answerFields(fixture("board-fields.json"));
    scenario.answerItems(
        jsonList({draftItem(1, "Dig", "", R"("fields": [{"id": 4103, "value": {"id": "o-doing"}}])"),
                  draftItem(2, "Fill", "", R"("fields": [{"id": 4103, "value": {"id": "o-done", "name": null}}])"),
                  draftItem(3, "Rest", "", R"("fields": [{"id": 4103, "value": {"id": "o-gone"}}])"),
                  draftItem(4, "Wait", "", R"("fields": [{"id": 4103, "value": {}}])")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).status, "Doing");
    EXPECT_EQ(tasks.at(1).status, "DONE");
    EXPECT_TRUE(tasks.at(1).isCompleted);
    EXPECT_EQ(tasks.at(2).status, std::nullopt);
    EXPECT_EQ(tasks.at(3).status, std::nullopt);
}

TEST(GitHubBoardFetchTest, aStatusThatIsNamedCountsEvenIfItsOptionIsUnknown) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems(jsonList({draftItem(1, "Dig", "", statusMember("New column"))}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).status, "New column");
    EXPECT_FALSE(tasks.at(0).isCompleted);
}

TEST(GitHubBoardFetchTest, withoutADoneColumnTheLastOneCompletes) {
    GitHubBoardScenario scenario;
    scenario.answerFields(statusFields({"Backlog", "Shipped"}));
    scenario.answerItems(jsonList({draftItem(1, "Dig", "", statusMember("Shipped")),
                                   draftItem(2, "Fill", "", statusMember("Backlog")), draftItem(3, "Rest", "")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_TRUE(tasks.at(0).isCompleted);
    EXPECT_FALSE(tasks.at(1).isCompleted);
    EXPECT_FALSE(tasks.at(2).isCompleted);
}

TEST(GitHubBoardFetchTest, valuesOfEveryKindAreReadAndOnlyThatOfTheStatusCounts) {
    GitHubBoardScenario scenario;
    scenario.answerFields(fixture("board-fields.json"));
    scenario.answerItems(jsonList({fixture("board-item-all-values.json")}));

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).title, "Plant the edge");
    EXPECT_EQ(tasks.at(0).status, "Doing");
}

TEST(GitHubBoardFetchTest, aStatusValueThatIsNoObjectIsNone) {
    for (const char* value : {"null", "\"Done\"", "7", "true", "[]", "[{\"name\": \"Done\"}]"}) {
        GitHubBoardScenario scenario;
        scenario.answerFields(statusFields({"To do", "Done"}));
        std::string fields = fmt::format(R"("fields": [{{"id": 40, "name": "Status", "value": {}}}])", value);
        scenario.answerItems(jsonList({draftItem(1, "Dig", "", fields)}));

        EXPECT_EQ(scenario.tasks().at(0).status, std::nullopt) << value;
    }
}

TEST(GitHubBoardFetchTest, anItemWithoutContentIsATaskWithoutText) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(R"([{"id": 1, "content_type": "DraftIssue", "content": null},
                             {"id": 2, "content_type": "DraftIssue", "content": {"title": null, "body": null}}])");

    std::vector<TaskItem> tasks = scenario.tasks();

    ASSERT_EQ(ids(tasks), (Lines{"1", "2"}));
    for (const TaskItem& task : tasks) {
        EXPECT_EQ(task.title, "");
        EXPECT_EQ(task.notes, "");
        EXPECT_EQ(task.createdAt, std::nullopt);
        EXPECT_EQ(task.updatedAt, std::nullopt);
    }
}

TEST(GitHubBoardFetchTest, datesThatTheItemLacksComeFromItsText) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(R"([{"id": 1, "content_type": "DraftIssue", "content":
        {"created_at": "2026-05-01T00:00:00Z", "updated_at": "2026-05-02T00:00:00Z"}}])");

    std::vector<TaskItem> tasks = scenario.tasks();

    EXPECT_EQ(tasks.at(0).createdAt, date("2026-05-01T00:00:00Z"));
    EXPECT_EQ(tasks.at(0).updatedAt, date("2026-05-02T00:00:00Z"));
}

TEST(GitHubBoardFetchTest, theLaterChangeOfItemAndTextDecidesWhatIsNew) {
    const std::string early = R"("2026-05-01T00:00:00Z")";
    const std::string exact = R"("2026-05-02T00:00:00Z")";
    const std::string late = R"("2026-05-03T00:00:00Z")";
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(
        jsonList({changedItem(1, late, early), changedItem(2, early, late), changedItem(3, early, early),
                  changedItem(4, exact, early), changedItem(5, "null", early), changedItem(6, early, "null"),
                  changedItem(7, "null", late), changedItem(8, "null", "null")}));

    std::vector<TaskItem> tasks = scenario.tasks(date("2026-05-02T00:00:00Z"));

    EXPECT_EQ(ids(tasks), (Lines{"1", "2", "4", "7", "8"}));
    EXPECT_EQ(tasks.at(0).updatedAt, date("2026-05-03T00:00:00Z"));
    EXPECT_EQ(tasks.at(1).updatedAt, date("2026-05-03T00:00:00Z"));
    EXPECT_EQ(scenario.takeLog().at(1), "GET /orgs/acme/projectsV2/12/items?per_page=100") << "it isn't asked for";
}

TEST(GitHubBoardFetchTest, theItemLimitCutsAFullFetchAndNoOther) {
    GitHubBoardScenario scenario(2);
    scenario.answerFields("[]");
    scenario.answerPages("/orgs/acme/projectsV2/12/items",
                         jsonList({draftItem(1, "Dig", ""), draftItem(2, "Fill", "")}),
                         jsonList({draftItem(3, "Rest", "")}));

    EXPECT_EQ(ids(scenario.tasks()), (Lines{"1", "2"}));
    EXPECT_EQ(ids(scenario.tasks(distantPast)), (Lines{"1", "2", "3"}));
}

TEST(GitHubBoardFetchTest, aLimitOfNoItemsAsksForNone) {
    for (int64_t limit : {0, -1}) {
        GitHubBoardScenario scenario(limit);
        scenario.answerFields("[]");

        EXPECT_EQ(ids(scenario.tasks()), Lines{}) << limit;
        EXPECT_EQ(scenario.takeLog().size(), 1U) << limit;
    }
}

TEST(GitHubBoardFetchTest, anItemWithoutAnIDIsAnErrorAndNoTask) {
    GitHubBoardScenario scenario;
    scenario.answerFields("[]");
    scenario.answerItems(R"([{"content_type": "DraftIssue"}])");

    EXPECT_THROW(scenario.tasks(), DecodingError);
}

}  // namespace marlet
