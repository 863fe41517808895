#include "JiraBackend/JiraChangesInternal.h"

#include "JiraScenario.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

using testing::ElementsAre;

using Types = std::vector<JiraIssueType>;

const JiraIssueType subTask{"1", "Sub-task", true, -1};
const JiraIssueType epic{"2", "Epic", false, 1};
const JiraIssueType bug{"3", "Bug", false, 0};
const JiraIssueType plainTask{"4", "Task", false, 0};

std::string chosen(const std::optional<std::string>& wanted, const Types& types) {
    return jira::issueTypeFor(wanted, types).name;
}

TEST(JiraIssueTypeTest, theWantedTypeIsTakenInAnyCase) {
    EXPECT_EQ(chosen("bug", {plainTask, bug}), "Bug");
    EXPECT_EQ(chosen("EPIC", {plainTask, epic}), "Epic");
}

TEST(JiraIssueTypeTest, aTypeThatTheProjectLacksGivesATaskWithoutAnError) {
    EXPECT_EQ(chosen("Spike", {bug, plainTask}), "Task");
    EXPECT_EQ(chosen("", {bug, plainTask}), "Task");
}

TEST(JiraIssueTypeTest, aTaskIsMadeWhereNothingIsWanted) {
    EXPECT_EQ(chosen(std::nullopt, {epic, bug, {"5", "TASK", std::nullopt, std::nullopt}}), "TASK");
}

TEST(JiraIssueTypeTest, withoutATaskItIsTheFirstOfTheirLevelThatIsNoEpic) {
    EXPECT_EQ(chosen(std::nullopt, {epic, {"6", "Initiative", false, 2}, bug}), "Bug");
    EXPECT_EQ(chosen(std::nullopt, {{"7", "epic", false, std::nullopt}, {"8", "Story", std::nullopt, std::nullopt}}),
              "Story");
}

TEST(JiraIssueTypeTest, onlyAnEpicAndASubTaskGiveTheEpic) {
    EXPECT_EQ(chosen(std::nullopt, {subTask, epic}), "Epic");
    EXPECT_EQ(chosen("Sub-task", {subTask, epic}), "Epic");
    EXPECT_EQ(chosen(std::nullopt, {{"9", "Task", true, -1}, epic}), "Epic");
}

TEST(JiraIssueTypeTest, nothingButSubTasksIsRefused) {
    for (const Types& types : {Types(), Types{subTask}}) {
        try {
            jira::issueTypeFor("Bug", types);
            FAIL() << "Nothing was thrown.";
        } catch (const BackendError& error) {
            EXPECT_EQ(error.errorDescription(), "The Jira project has no issue type that Marlet can create.");
        }
    }
}

const std::string created = R"({"id":"20105","key":"ORCH-42","self":"https://larch.example/rest/api/2/issue/20105"})";

struct CreatingCloud : Cloud {
    CreatingCloud() {
        answer("GET /project/10301", fixture("project.json"));
        answer("POST /issue", created, 201);
    }
};

TEST(JiraCreateTest, aDraftGoesOutWholeAndTheIssueIsReadBack) {
    TimeZone zone("Europe/Amsterdam");
    CreatingCloud jira;
    jira.answer("GET /issue/ORCH-42", issueJSON("ORCH-42", R"("summary":"Graft","project":{"id":"10301"},)"
                                                           R"("labels":["spring"],"customfield_10216":null)"));
    TaskDraft draft{.title = "Graft \"now\"",
                    .notes = "**All** of it",
                    .dueDate = parseISO8601("2026-04-30T21:59:59Z"),
                    .labels = {"spring", "b-c"},
                    .typeName = "bug"};

    TaskItem item = runToEnd(jira.backend.createTask(draft, "10301"));

    EXPECT_THAT(jira.requests(),
                ElementsAre("GET /project/10301", "POST /issue", "GET /issue/ORCH-42?fields=" + cloudFields));
    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"fields":{"project":{"id":"10301"},"issuetype":{"id":"10504"},)"
                                           R"("summary":"Graft \"now\"","description":"*All* of it",)"
                                           R"("labels":["spring","b-c"],"duedate":"2026-04-30"}})"));
    EXPECT_EQ(item.id, "ORCH-42");
    EXPECT_EQ(item.title, "Graft");
    EXPECT_THAT(item.labels, ElementsAre(TaskLabel{"spring", std::nullopt}));
}

TEST(JiraCreateTest, whatADraftLacksIsNotSent) {
    CreatingCloud jira;
    jira.answer("GET /issue/ORCH-42", issueJSON("ORCH-42"));

    runToEnd(jira.backend.createTask({.title = "Sow"}, "10301"));

    EXPECT_THAT(jira.bodies(),
                ElementsAre(R"({"fields":{"project":{"id":"10301"},"issuetype":{"id":"10501"},"summary":"Sow"}})"));
}

TEST(JiraCreateTest, aServersIssueIsFinishedLikeAFetchedOne) {
    Server jira;
    jira.answer("GET /project/10400", R"({"issueTypes":[{"id":"4","name":"Task"}]})");
    jira.answer("POST /issue", R"({"id":"5","key":"WHEEL-13"})", 201);
    jira.answer("GET /issue/WHEEL-13", issueJSON("WHEEL-13", R"("customfield_10301":"DAM-9")"));
    jira.answer("GET /search", R"({"issues":[)" + issueJSON("DAM-9", R"("summary":"There")") + "]}");

    TaskItem item = runToEnd(jira.backend.createTask({.title = "Sow"}, "10400"));

    EXPECT_EQ(item.parent, (TaskParent{"DAM-9", "There"}));
    EXPECT_EQ(item.projectID, "10400");
}

TEST(JiraCreateTest, aProjectWithoutTypesIsRefusedAndNothingIsSent) {
    for (const char* detail : {"{}", R"({"issueTypes":null})", R"({"issueTypes":[]})"}) {
        Cloud jira;
        jira.answer("GET /project/10301", detail);

        EXPECT_EQ(errorOf(jira.backend.createTask({.title = "Sow"}, "10301")),
                  BackendError::rejected("The Jira project has no issue type that Marlet can create."));
        EXPECT_THAT(jira.requests(), ElementsAre("GET /project/10301"));
    }
}

// What a fetch will say of it, as far as that can be told.
TaskItem asSent(const std::string& webRoot) {
    TaskItem item = task("ORCH-42", "Graft");
    item.notes = "**All** of it";
    item.labels = {{"spring", std::nullopt}};
    item.dueDate = parseLocalDay("2026-04-30");
    item.typeName = "Bug";
    item.webURL = URL::parse(webRoot + "/browse/ORCH-42");
    return item;
}

TEST(JiraCreateTest, anIssueThatIsMadeButCannotBeReadIsAsTheDraftSaid) {
    std::string linked = R"({"id":"1","key":"ORCH-42","fields":)";
    for (const ScriptedTransport::Answer& reading :
         {ScriptedTransport::Answer{.status = 401}, ScriptedTransport::Answer{.status = 404},
          ScriptedTransport::Answer{.status = 429}, ScriptedTransport::Answer{.status = 503},
          ScriptedTransport::Answer{.body = "<html></html>"}, ScriptedTransport::Answer{.body = ""},
          ScriptedTransport::Answer{.headers = {{"X-Seraph-LoginReason", "AUTHENTICATED_FAILED"}}, .body = linked}}) {
        CreatingCloud jira;
        jira.answer("GET /issue/ORCH-42", reading.body, reading.status, reading.headers);
        TaskDraft draft{.title = "Graft",
                        .notes = "**All** of it",
                        .dueDate = *parseLocalDay("2026-04-30") + 3600 * 20,
                        .labels = {"spring"},
                        .typeName = "Bug"};

        EXPECT_EQ(runToEnd(jira.backend.createTask(draft, "10301")), asSent(jira.webRoot)) << reading.status;
    }
}

TEST(JiraCreateTest, aConnectionThatIsLostBehindTheCreateLosesNothing) {
    CreatingCloud jira;
    jira.server->fail("GET /rest/api/2/issue/ORCH-42", std::make_exception_ptr(std::runtime_error("cut")));

    EXPECT_EQ(runToEnd(jira.backend.createTask({.title = "Sow"}, "10301")).id, "ORCH-42");
}

TEST(JiraCreateTest, aParentsTitleThatCannotBeReadLosesNothing) {
    Server jira;
    jira.answer("GET /project/10400", R"({"issueTypes":[{"id":"4","name":"Task"}]})");
    jira.answer("POST /issue", R"({"id":"5","key":"WHEEL-13"})", 201);
    jira.answer("GET /issue/WHEEL-13", issueJSON("WHEEL-13", R"("customfield_10301":"DAM-9")"));
    jira.server->fail("GET /jira/rest/api/2/search", std::make_exception_ptr(std::runtime_error("cut")));

    EXPECT_EQ(runToEnd(jira.backend.createTask({.title = "Sow"}, "10400")).parent, (TaskParent{"DAM-9", ""}));
}

TEST(JiraCreateTest, anAnswerOfWhichOnlyTheKeyCanBeReadIsASuccess) {
    CreatingCloud jira;
    jira.answer("POST /issue", R"({"key":"ORCH-42"})", 201);
    jira.answer("GET /issue/ORCH-42", issueJSON("ORCH-42"));

    EXPECT_EQ(runToEnd(jira.backend.createTask({.title = "Sow"}, "10301")).id, "ORCH-42");
}

TEST(JiraCreateTest, whatTheServiceRefusesIsToldInItsWords) {
    Cloud jira;
    jira.answer("GET /project/10301", fixture("project.json"));
    jira.answer("POST /issue", R"({"errorMessages":[],"errors":{"summary":"Required.","labels":"No spaces."}})", 400);

    EXPECT_EQ(errorOf(jira.backend.createTask({.title = ""}, "10301")), BackendError::rejected("No spaces. Required."));
}

TEST(JiraCreateTest, aCreateThatAnswersNonsenseIsAnError) {
    for (const char* body : {"", "<html></html>", "{}"}) {
        Cloud jira;
        jira.answer("GET /project/10301", fixture("project.json"));
        jira.answer("POST /issue", body, 201);
        EXPECT_THROW(runToEnd(jira.backend.createTask({.title = "Sow"}, "10301")), DecodingError) << body;
    }
}

}  // namespace
}  // namespace marlet
