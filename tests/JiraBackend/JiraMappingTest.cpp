#include "JiraBackend/JiraMappingInternal.h"

#include "JiraScenario.h"
#include "MarletHTTP/JSONCoding.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

// One issue of the project 10301 with these fields, as a task.
TaskItem mapped(const std::string& fields) {
    auto issue = JSONCoding::decode<JiraIssue>(issueJSON("ORCH-1", fields));
    CustomFieldIDs ids{std::nullopt, {"customfield_10016"}};
    return jira::taskItem(issue, {ids, "10301", *URL::parse("https://larch.example"), {}});
}

std::optional<int64_t> priorityOf(const std::string& id) {
    return mapped(R"("priority":{"id":")" + id + R"("})").priority;
}

std::vector<TaskItem> tasks(JiraScenario& jira, const std::string& route, const std::string& name) {
    jira.answer(route, fixture(name));
    return runToEnd(jira.backend.fetchTasks("10301", std::nullopt));
}

TEST(JiraMappingTest, anIssueOfCloudIsMappedWhole) {
    TimeZone zone("Europe/Amsterdam");
    Cloud jira;

    TaskItem task = tasks(jira, "GET /search/jql", "cloud-issues.json").at(0);

    TaskItem expected;
    expected.id = "ORCH-41";
    expected.projectID = "10301";
    expected.kind = TaskKind::issue;
    expected.title = "Prune the <oldest> \"row\" 🌳";
    expected.notes = "## Tools\r\n\r\n- a **sharp** saw\r\n- a ladder";
    expected.createdAt = parseISO8601("2026-02-03T08:15:00.25Z");
    expected.updatedAt = parseISO8601("2026-02-05T17:40:12Z");
    expected.dueDate = parseISO8601("2026-03-19T23:00:00Z");
    expected.priority = 5;
    expected.labels = {{"urgent", std::nullopt}, {"優先", std::nullopt}};
    expected.assignees = {{"61f0a5b2c3d4", "Wren Ö.", "Wren Ö.", URL::parse("https://pictures.example/u/61?s=48")}};
    expected.milestone = Milestone{"502", "Spring", parseISO8601("2026-04-29T22:00:00Z"), false};
    expected.parent = TaskParent{"ORCH-7", "The whole orchard"};
    expected.typeName = "Verhaal";
    expected.canHaveChildren = false;
    expected.canChangeParent = true;
    expected.estimate = 5;
    expected.webURL = URL::parse("https://larch.example/browse/ORCH-41");
    EXPECT_EQ(task, expected);
}

TEST(JiraMappingTest, anIssueOfAServerIsMappedWhole) {
    TimeZone zone("Europe/Amsterdam");
    Server jira;

    TaskItem task = tasks(jira, "GET /search", "server-issues.json").at(0);

    TaskItem expected;
    expected.id = "WHEEL-12";
    expected.projectID = "10400";
    expected.kind = TaskKind::issue;
    expected.title = "Oil the axle";
    expected.notes = "Use `grease`";
    expected.createdAt = parseISO8601("2026-02-03T07:15:00Z");
    expected.updatedAt = parseISO8601("2026-02-05T16:40:12Z");
    expected.dueDate = parseISO8601("2026-02-27T23:00:00Z");
    expected.priority = 3;
    expected.labels = {{"grease", std::nullopt}};
    expected.assignees = {{"JIRAUSER10301", "miller", "The miller", std::nullopt}};
    expected.parent = TaskParent{"WHEEL-3", "Keep it turning"};
    expected.typeName = "Task";
    expected.estimate = 3;
    expected.webURL = URL::parse("https://mill.example/jira/browse/WHEEL-12");
    EXPECT_EQ(task, expected);
}

TEST(JiraMappingTest, anIssueWithNothingInItIsATask) {
    TaskItem expected = task("ORCH-1", "");
    expected.webURL = URL::parse("https://larch.example/browse/ORCH-1");

    EXPECT_EQ(mapped(""), expected);
    EXPECT_EQ(mapped(R"("summary":null,"description":null,"status":null,"created":null,"updated":null,"duedate":null,)"
                     R"("priority":null,"labels":null,"assignee":null,"fixVersions":null,"project":null,)"
                     R"("issuetype":null,"parent":null,"customfield_10016":null)"),
              expected);
}

TEST(JiraMappingTest, onlyTheCategoryDoneCompletes) {
    EXPECT_TRUE(mapped(R"("status":{"name":"Open","statusCategory":{"key":"done"}})").isCompleted);
    EXPECT_FALSE(mapped(R"("status":{"name":"Done","statusCategory":{"key":"indeterminate"}})").isCompleted);
    EXPECT_FALSE(mapped(R"("status":{"name":"Done"})").isCompleted);
    EXPECT_EQ(mapped(R"("status":{"name":"Done","statusCategory":{"key":"done"}})").status, std::nullopt);
}

TEST(JiraMappingTest, prioritiesFromOneToFiveAreTurnedAroundAndNoOthers) {
    EXPECT_EQ(priorityOf("1"), 5);
    EXPECT_EQ(priorityOf("2"), 4);
    EXPECT_EQ(priorityOf("5"), 1);
    for (const char* id : {"0", "6", "7", "-1", "10000", "", "high", "1.0", " 1", "99999999999999999999"}) {
        EXPECT_EQ(priorityOf(id), std::nullopt) << id;
    }
    EXPECT_EQ(mapped(R"("priority":{"name":"High"})").priority, std::nullopt);
}

TEST(JiraMappingTest, anOffsetWithoutAColonIsTheSameInstantAsOneWithIt) {
    auto created = [](const std::string& text) { return mapped(R"("created":")" + text + "\"").createdAt; };
    std::optional<Date> instant = parseISO8601("2026-03-14T07:26:53.589Z");

    EXPECT_EQ(created("2026-03-14T09:26:53.589+0200"), instant);
    EXPECT_EQ(created("2026-03-14T09:26:53.589+02:00"), instant);
    EXPECT_EQ(created("2026-03-14T07:26:53.589Z"), instant);
    EXPECT_EQ(created("2026-03-14T01:56:53.589-0530"), instant);
    EXPECT_EQ(created("2026-03-14T09:26:53+0200"), parseISO8601("2026-03-14T07:26:53Z"));
}

TEST(JiraMappingTest, aDateThatCannotBeReadIsNone) {
    for (const char* text : {"", "yesterday", "2026-03-14", "2026-03-14T09:26+0200", "+0200", "0200"}) {
        TaskItem task = mapped(R"("created":")" + std::string(text) + R"(","updated":")" + text + "\"");
        EXPECT_FALSE(task.createdAt || task.updatedAt) << text;
    }
}

TEST(JiraMappingTest, theMilestoneIsTheFirstVersionThatIsNotReleased) {
    TaskItem task = mapped(R"("fixVersions":[{"id":"1","name":"A","released":true},{"id":"2","name":"B"},)"
                           R"({"id":"3","name":"C","released":false}])");

    EXPECT_EQ(task.milestone, (Milestone{"2", "B", std::nullopt, false}));
    EXPECT_EQ(mapped(R"("fixVersions":[])").milestone, std::nullopt);
}

TEST(JiraMappingTest, allVersionsReleasedGiveTheFirstAndItIsClosed) {
    Cloud jira;

    TaskItem task = tasks(jira, "GET /search/jql", "cloud-issues.json").at(1);

    EXPECT_EQ(task.milestone, (Milestone{"500", "Autumn", std::nullopt, true}));
}

TEST(JiraMappingTest, levelOneCanHaveChildrenAndWithoutLevelsAnEpic) {
    auto canHaveChildren = [](const std::string& type) {
        return mapped(R"("issuetype":{"id":"1",)" + type + "}").canHaveChildren;
    };

    EXPECT_TRUE(canHaveChildren(R"("name":"Initiative","hierarchyLevel":1)"));
    EXPECT_FALSE(canHaveChildren(R"("name":"Epic","hierarchyLevel":0)"));
    EXPECT_FALSE(canHaveChildren(R"("name":"Epic","hierarchyLevel":2)"));
    EXPECT_FALSE(canHaveChildren(R"("name":"Sub-task","hierarchyLevel":-1)"));
    EXPECT_TRUE(canHaveChildren(R"("name":"EPIC")"));
    EXPECT_FALSE(canHaveChildren(R"("name":"Task")"));
}

TEST(JiraMappingTest, onlyASubTaskKeepsItsParent) {
    EXPECT_FALSE(mapped(R"("issuetype":{"id":"1","name":"Sub-task","subtask":true})").canChangeParent);
    EXPECT_TRUE(mapped(R"("issuetype":{"id":"1","name":"Task","subtask":false})").canChangeParent);
    EXPECT_TRUE(mapped(R"("issuetype":{"id":"1","name":"Task"})").canChangeParent);
}

TEST(JiraMappingTest, aValueUnderAKeyWithUnderscoreIsTheEstimate) {
    EXPECT_EQ(mapped(R"("customfield_10016":5)").estimate, 5);
    EXPECT_EQ(mapped(R"("customfield_10017":5)").estimate, std::nullopt);
}

TEST(JiraMappingTest, aUserIsKnownByTheFirstNameThatIsThere) {
    auto user = [](const std::string& fields) { return mapped(R"("assignee":{)" + fields + "}").assignees.at(0); };

    EXPECT_EQ(user(R"("accountId":"a","key":"k","name":"n","displayName":"d")"), (User{"a", "n", "d", std::nullopt}));
    EXPECT_EQ(user(R"("key":"k","name":"n","displayName":"d")"), (User{"k", "n", "d", std::nullopt}));
    EXPECT_EQ(user(R"("name":"n","displayName":"d")"), (User{"n", "n", "d", std::nullopt}));
    EXPECT_EQ(user(R"("displayName":"d")"), (User{"d", "d", "d", std::nullopt}));
    EXPECT_EQ(user(R"("accountId":"a")"), (User{"a", "a", std::nullopt, std::nullopt}));
    EXPECT_EQ(user(""), (User{"", "", std::nullopt, std::nullopt}));
}

TEST(JiraMappingTest, aPictureWithABrokenAddressIsNone) {
    for (const char* pictures : {R"({"48x48":""})", R"({"48x48":null})", R"({"16x16":"https://p.example/1"})", "{}"}) {
        EXPECT_EQ(mapped(R"("assignee":{"avatarUrls":)" + std::string(pictures) + "}").assignees.at(0).avatarURL,
                  std::nullopt);
    }
}

TEST(JiraMappingTest, aFieldOfAnotherKindFailsTheFetch) {
    for (const char* fields : {R"("summary":7)", R"("labels":"urgent")", R"("issuetype":{"name":"Task"})"}) {
        EXPECT_THROW(mapped(fields), DecodingError) << fields;
    }
}

}  // namespace
}  // namespace marlet
