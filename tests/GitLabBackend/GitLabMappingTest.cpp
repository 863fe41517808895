#include <gmock/gmock.h>

#include "GitLabScenario.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

using testing::ElementsAre;

// The items of the fixtures, as the list gives them: !7 and 12 lead by date.
struct FetchedFixtures : GitLabScenario {
    FetchedFixtures() {
        answerLists(fixture("issues.json"), fixture("merge-requests.json"));
        answerGraphQL(workItems(workItem("13", "12")));
        for (TaskItem& task : fetchTasks()) {
            std::string id = task.id;
            tasks.emplace(id, std::move(task));
        }
    }

    TimeZone zone{"UTC"};
    std::map<std::string, TaskItem> tasks;
};

std::optional<std::string> colorOf(const std::string& color) {
    GitLabScenario gitLab;
    gitLab.answerLists(R"([{"iid":1,"title":"Dredge","state":"opened","labels":[{"name":"a","color":)" + color +
                       "}]}]");
    return gitLab.fetchTasks().at(0).labels.at(0).colorHex;
}

TaskItem fetchedIssue(const std::string& more) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + issueJSON(1, more) + "]");
    gitLab.answerGraphQL(workItems(""));
    return gitLab.fetchTasks().at(0);
}

TEST(GitLabMappingTest, anIssueIsMappedWhole) {
    FetchedFixtures fetched;

    TaskItem expected;
    expected.id = "12";
    expected.projectID = "31";
    expected.kind = TaskKind::issue;
    expected.title = "Dredge the <upper> \"basin\" 🛶";
    expected.notes = "First\r\nsecond";
    expected.createdAt = parseISO8601("2026-02-03T08:15:00.125Z");
    expected.updatedAt = parseISO8601("2026-02-05T17:40:12.500Z");
    expected.dueDate = parseISO8601("2026-03-20T00:00:00Z");
    expected.labels = {{"urgent", "d73a4a"}, {"優先", "0e8a16"}, {"by word", std::nullopt}, {"plain", std::nullopt}};
    expected.assignees = {{"71", "otter", "Otter Brook", URL::parse("https://pictures.example/u/71?s=80")},
                          {"72", "heron", "H. Eron", std::nullopt}};
    expected.milestone = Milestone{"4", "Flut – flood", parseISO8601("2026-10-01T00:00:00Z"), true};
    expected.typeName = "Issue";
    expected.canHaveChildren = true;
    expected.canChangeParent = false;
    expected.webURL = URL::parse("https://gitlab.example/river/lower/weir/-/issues/12");
    EXPECT_EQ(fetched.tasks.at("12"), expected);
}

TEST(GitLabMappingTest, aTaskCanHaveAParentAndNoChildren) {
    FetchedFixtures fetched;
    const TaskItem& task = fetched.tasks.at("13");
    EXPECT_EQ(task.kind, TaskKind::issue);
    EXPECT_EQ(task.parent, (TaskParent{"12", "Parent 12"}));
    EXPECT_TRUE(task.canChangeParent);
    EXPECT_FALSE(task.canHaveChildren);
    EXPECT_EQ(task.typeName, "Task");
    EXPECT_EQ(task.notes, "");
}

TEST(GitLabMappingTest, anIssueCanHaveChildrenAndNoParent) {
    FetchedFixtures fetched;
    for (const char* id : {"12", "14", "15"}) {
        EXPECT_TRUE(fetched.tasks.at(id).canHaveChildren) << id;
        EXPECT_FALSE(fetched.tasks.at(id).canChangeParent) << id;
    }
}

TEST(GitLabMappingTest, anIssueWithoutATypeCanHaveChildren) {
    TaskItem item = fetchedIssue("");
    EXPECT_TRUE(item.canHaveChildren);
    EXPECT_FALSE(item.canChangeParent);
    EXPECT_EQ(item.typeName, std::nullopt);
}

TEST(GitLabMappingTest, aMergeRequestHasNeitherChildrenNorAParent) {
    FetchedFixtures fetched;

    TaskItem expected;
    expected.id = "!7";
    expected.projectID = "31";
    expected.kind = TaskKind::pullRequest;
    expected.title = "Draft: größere Pumpe";
    expected.notes = "Text";
    expected.createdAt = parseISO8601("2026-02-04T10:00:00Z");
    expected.updatedAt = parseISO8601("2026-02-05T10:00:00Z");
    expected.labels = {{"urgent", "d73a4a"}};
    expected.assignees = {{"71", "otter", "Otter Brook", std::nullopt}};
    expected.canHaveChildren = false;
    expected.canChangeParent = false;
    expected.webURL = URL::parse("https://gitlab.example/river/lower/weir/-/merge_requests/7");
    EXPECT_EQ(fetched.tasks.at("!7"), expected);

    GitLabScenario gitLab;
    gitLab.answerLists("[]", "[" + taskJSON(7) + "]");
    TaskItem request = gitLab.fetchTasks().at(0);
    EXPECT_FALSE(request.canHaveChildren || request.canChangeParent) << "whatever its type";
    EXPECT_EQ(request.typeName, std::nullopt);
}

TEST(GitLabMappingTest, closedAndMergedItemsAreCompletedAndNoOthers) {
    FetchedFixtures fetched;
    EXPECT_TRUE(fetched.tasks.at("14").isCompleted);
    EXPECT_TRUE(fetched.tasks.at("!6").isCompleted);
    EXPECT_FALSE(fetched.tasks.at("!5").isCompleted) << "a locked one is on its way";
    EXPECT_FALSE(fetched.tasks.at("12").isCompleted);
}

TEST(GitLabMappingTest, theTypesNameBeginsWithACapital) {
    FetchedFixtures fetched;
    EXPECT_EQ(fetched.tasks.at("14").typeName, "Incident");
    EXPECT_EQ(fetched.tasks.at("15").typeName, "Test_case");
    EXPECT_EQ(fetched.tasks.at("!7").typeName, std::nullopt);
    EXPECT_EQ(fetchedIssue(R"(,"issue_type":"ISSUE")").typeName, "ISSUE");
    EXPECT_EQ(fetchedIssue(R"(,"issue_type":"")").typeName, "");
    EXPECT_EQ(fetchedIssue(R"(,"issue_type":null)").typeName, std::nullopt);
}

TEST(GitLabMappingTest, onlyAMilestoneThatIsClosedIsClosed) {
    FetchedFixtures fetched;
    EXPECT_EQ(fetched.tasks.at("14").milestone, (Milestone{"5", "Spring", std::nullopt, false}));
    EXPECT_EQ(fetchedIssue(R"(,"milestone":{"id":6,"title":"Autumn"})").milestone,
              (Milestone{"6", "Autumn", std::nullopt, false}));
}

TEST(GitLabMappingTest, aColorIsSixDigitsOrNone) {
    EXPECT_EQ(colorOf(R"("#FF0000")"), "ff0000");
    EXPECT_EQ(colorOf(R"("##FF0000#")"), "ff0000");
    EXPECT_EQ(colorOf(R"("AbCdEf")"), "abcdef");
    EXPECT_EQ(colorOf(R"("red")"), std::nullopt);
    EXPECT_EQ(colorOf(R"("#FFF")"), std::nullopt);
    EXPECT_EQ(colorOf(R"("#FF000000")"), std::nullopt);
    EXPECT_EQ(colorOf(R"("")"), std::nullopt);
    EXPECT_EQ(colorOf("null"), std::nullopt);
}

TEST(GitLabMappingTest, labelsAreReadFromNamesAndFromObjects) {
    GitLabScenario gitLab;
    gitLab.answerLists(
        R"([{"iid":1,"title":"Dredge","state":"opened","labels":["a",{"name":"b","color":"#0e8a16"}]}])");
    EXPECT_THAT(gitLab.fetchTasks().at(0).labels, ElementsAre(TaskLabel{"a", std::nullopt}, TaskLabel{"b", "0e8a16"}));
}

TEST(GitLabMappingTest, aLabelThatIsNeitherNameNorObjectIsAnError) {
    for (const char* label : {"5", "null", "[]", "{}", R"({"name":5})"}) {
        GitLabScenario gitLab;
        gitLab.answerLists(R"([{"iid":1,"title":"Dredge","state":"opened","labels":[)" + std::string(label) + "]}]");
        EXPECT_THROW(gitLab.fetchTasks(), LocalizedError) << label;
    }
}

TEST(GitLabMappingTest, whatIsAbsentOrNullStaysAbsent) {
    for (const char* more : {"", R"(,"description":null,"assignees":null,"milestone":null,"created_at":null,)"
                                 R"("updated_at":null,"due_date":null,"web_url":null)"}) {
        TaskItem item = fetchedIssue(more);
        EXPECT_EQ(item.notes, "");
        EXPECT_TRUE(item.assignees.empty());
        EXPECT_FALSE(item.milestone || item.createdAt || item.updatedAt || item.dueDate || item.webURL) << more;
        EXPECT_FALSE(item.priority || item.status || item.estimate);
    }
}

TEST(GitLabMappingTest, anUnreadableAddressIsAbsent) {
    TaskItem item = fetchedIssue(R"(,"web_url":"http://[","assignees":[{"id":1,"username":"a","avatar_url":""}])");
    EXPECT_EQ(item.webURL, std::nullopt);
    EXPECT_EQ(item.assignees.at(0).avatarURL, std::nullopt);
    EXPECT_EQ(item.assignees.at(0).displayName, std::nullopt);
}

}  // namespace
}  // namespace marlet
