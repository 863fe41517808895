#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string standing = R"("summary":"Prune","labels":["a","b"],"duedate":"2026-03-20")";

// The task that stands for `standing`, plus what a test adds.
TaskItem standingTask(const std::string& key = "ORCH-41") {
    TaskItem item = task(key);
    item.labels = {{"a", std::nullopt}, {"b", std::nullopt}};
    item.dueDate = parseLocalDay("2026-03-20");
    return item;
}

// An issue that stands so before and after the edit.
void answerIssue(JiraScenario& jira, const std::string& fields, const std::string& key = "ORCH-41") {
    jira.answer("GET /issue/" + key, issueJSON(key, fields));
    jira.answer("PUT /issue/" + key, "", 204);
}

// All bodies sent so far, this edit's with them.
Lines editing(JiraScenario& jira, const std::string& fields, const TaskItem& wanted) {
    answerIssue(jira, fields, wanted.id);
    runToEnd(jira.backend.updateTask(wanted));
    return jira.bodies();
}

// The last body that was sent, by this edit or one before it.
std::string lastEdit(JiraScenario& jira, const std::string& fields, const TaskItem& wanted) {
    Lines bodies = editing(jira, fields, wanted);
    return bodies.empty() ? "(none)" : bodies.back();
}

TEST(JiraUpdateTest, anEditWithoutAChangeReadsTwiceAndWritesNothing) {
    Cloud jira;

    EXPECT_THAT(editing(jira, standing, standingTask()), IsEmpty());
    std::string read = "GET /issue/ORCH-41?fields=" + cloudFields;
    EXPECT_THAT(jira.requests(), ElementsAre(read, read));
}

TEST(JiraUpdateTest, everyChangeGoesOutInOneEditAndTheAnswerIsWhatIsRead) {
    Cloud jira;
    jira.answer("GET /issue/ORCH-41", issueJSON("ORCH-41", standing + R"(,"customfield_10216":3)"));
    jira.answer("GET /issue/ORCH-41", issueJSON("ORCH-41", R"("summary":"As the server has it")"));
    jira.answer("PUT /issue/ORCH-41", "", 204);
    TaskItem wanted = standingTask();
    wanted.title = "Graft";
    wanted.notes = "**All**";
    wanted.labels = {{"c", std::nullopt}, {"a", std::nullopt}};
    wanted.dueDate = *parseLocalDay("2026-04-01") + 7200;
    wanted.parent = TaskParent{"ORCH-7", ""};
    wanted.estimate = 5;

    TaskItem item = runToEnd(jira.backend.updateTask(wanted));

    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"fields":{"summary":"Graft","description":"*All*","labels":["c","a"],)"
                                           R"("duedate":"2026-04-01","parent":{"key":"ORCH-7"},)"
                                           R"("customfield_10216":5}})"));
    std::string read = "GET /issue/ORCH-41?fields=" + cloudFields;
    EXPECT_THAT(jira.requests(), ElementsAre(read, "PUT /issue/ORCH-41", read));
    TaskItem expected = task("ORCH-41", "As the server has it");
    expected.webURL = URL::parse("https://larch.example/browse/ORCH-41");
    EXPECT_EQ(item, expected);
}

TEST(JiraUpdateTest, theAnswerIsFinishedLikeAFetchedTask) {
    Server jira;
    jira.answer("GET /search", R"({"issues":[)" + issueJSON("DAM-9", R"("summary":"There")") + "]}");
    answerIssue(jira, standing + R"(,"customfield_10301":"DAM-9")", "WHEEL-12");
    TaskItem wanted = standingTask("WHEEL-12");
    wanted.parent = TaskParent{"DAM-9", "as it once was"};

    TaskItem item = runToEnd(jira.backend.updateTask(wanted));

    EXPECT_EQ(item.parent, (TaskParent{"DAM-9", "There"}));
    EXPECT_EQ(item.projectID, wanted.projectID);
    EXPECT_THAT(jira.bodies(), IsEmpty());
}

TEST(JiraUpdateTest, aTitleThatIsMissingIsSentEvenIfEmpty) {
    Cloud jira;
    EXPECT_THAT(editing(jira, "", task("ORCH-41", "")), ElementsAre(R"({"fields":{"summary":""}})"));
}

TEST(JiraUpdateTest, aDescriptionThatNobodyTouchedIsNotWrittenAnew) {
    for (const char* wiki : {"h2. Tools\\r\\n\\r\\n* saw\\r\\n# one", "*bold*_italic_ {color:red}x{color}", "-- a",
                             "||Head||\\n|Cell|", "{code:java}\\nint x;\\n{code}"}) {
        Cloud jira;
        std::string fields = standing + R"(,"description":")" + wiki + "\"";
        answerIssue(jira, fields);
        TaskItem fetched = runToEnd(jira.backend.updateTask(standingTask()));
        size_t before = jira.bodies().size();

        TaskItem wanted = standingTask();
        wanted.notes = fetched.notes;
        EXPECT_EQ(editing(jira, fields, wanted).size(), before) << wiki;
    }
}

TEST(JiraUpdateTest, linesThatEndInAnotherWayAreTheSameText) {
    for (const char* notes : {"one\ntwo\n", "one\r\ntwo\r\n", "one\r\ntwo\n"}) {
        for (const char* description : {R"(one\r\ntwo\r\n)", R"(one\ntwo\n)"}) {
            Cloud jira;
            TaskItem wanted = standingTask();
            wanted.notes = notes;
            EXPECT_THAT(editing(jira, standing + R"(,"description":")" + description + "\"", wanted), IsEmpty());
        }
    }
    Cloud jira;
    TaskItem wanted = standingTask();
    wanted.notes = "one\rtwo";
    EXPECT_EQ(editing(jira, standing + R"(,"description":"one\ntwo")", wanted).size(), 1U);
}

TEST(JiraUpdateTest, notesAreClearedWithAnEmptyText) {
    Cloud jira;
    EXPECT_THAT(editing(jira, standing + R"(,"description":"All")", standingTask()),
                ElementsAre(R"({"fields":{"description":""}})"));
}

TEST(JiraUpdateTest, labelsAreComparedWithoutTheirOrderAndSentWhole) {
    Cloud jira;
    TaskItem wanted = standingTask();
    wanted.labels = {{"b", std::nullopt}, {"a", std::nullopt}, {"b", "ff0000"}};
    EXPECT_THAT(editing(jira, standing, wanted), IsEmpty());

    wanted.labels.clear();
    EXPECT_THAT(editing(jira, standing, wanted), ElementsAre(R"({"fields":{"labels":[]}})"));
}

TEST(JiraUpdateTest, removingADueDateSendsNull) {
    Cloud jira;
    TaskItem wanted = standingTask();
    wanted.dueDate.reset();
    EXPECT_THAT(editing(jira, standing, wanted), ElementsAre(R"({"fields":{"duedate":null}})"));
}

TEST(JiraUpdateTest, anyTimeOfTheSameDayIsTheSameDueDate) {
    Cloud jira;
    TaskItem wanted = standingTask();
    wanted.dueDate = *wanted.dueDate + 86399;
    EXPECT_THAT(editing(jira, standing, wanted), IsEmpty());
}

TEST(JiraUpdateTest, aParentOfCloudIsSetMovedAndRemovedByItsField) {
    std::string child = standing + R"(,"parent":{"key":"ORCH-7"})";
    Cloud jira;
    TaskItem wanted = standingTask();
    EXPECT_EQ(lastEdit(jira, child, wanted), R"({"fields":{"parent":null}})");
    wanted.parent = TaskParent{"ORCH-9", "Other"};
    EXPECT_EQ(lastEdit(jira, child, wanted), R"({"fields":{"parent":{"key":"ORCH-9"}}})");
    wanted.parent = TaskParent{"ORCH-7", "another title"};
    EXPECT_EQ(editing(jira, child, wanted).size(), 2U);
}

TEST(JiraUpdateTest, aParentOfAServerIsSetMovedAndRemovedByTheEpicLink) {
    std::string child = standing + R"(,"customfield_10301":"WHEEL-3")";
    Server jira;
    jira.answer("GET /search", R"({"issues":[]})");
    TaskItem wanted = standingTask("WHEEL-12");
    EXPECT_EQ(lastEdit(jira, child, wanted), R"({"fields":{"customfield_10301":null}})");
    wanted.parent = TaskParent{"WHEEL-4", ""};
    EXPECT_EQ(lastEdit(jira, child, wanted), R"({"fields":{"customfield_10301":"WHEEL-4"}})");
    wanted.parent = TaskParent{"WHEEL-3", ""};
    EXPECT_EQ(editing(jira, child, wanted).size(), 2U);
}

TEST(JiraUpdateTest, aServerWithoutEpicLinkRefusesEveryChangeOfAParentAndChangesNothing) {
    Server jira;
    JiraTaskBackend bare(jira.account, "s3cret", jira.server, 1000, jira.clock);
    jira.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        bool isFieldList = request.url.components().path.ends_with("/field");
        return isFieldList ? std::optional(ScriptedTransport::Answer{.body = "[]"}) : std::nullopt;
    };
    answerIssue(jira, standing + R"(,"parent":{"key":"WHEEL-3"})", "WHEEL-12");
    BackendError refusal =
        BackendError::rejected("This Jira instance has no Epic Link field, so issues can't be assigned to epics.");
    TaskItem wanted = standingTask("WHEEL-12");
    wanted.title = "Graft";
    for (const auto& parent : {std::optional(TaskParent{"WHEEL-4", ""}), std::optional<TaskParent>()}) {
        wanted.parent = parent;
        EXPECT_EQ(errorOf(bare.updateTask(wanted)), refusal);
    }
    EXPECT_THAT(jira.bodies(), IsEmpty());

    wanted.parent = TaskParent{"WHEEL-3", ""};
    runToEnd(bare.updateTask(wanted));
    EXPECT_EQ(jira.bodies().size(), 1U);
}

TEST(JiraUpdateTest, pointsAreChangedInTheFieldThatHoldsThem) {
    std::string pointed = standing + R"(,"customfield_10216":null,"customfield_10231":3,"customfield_10240":8)";
    Cloud jira;
    TaskItem wanted = standingTask();
    wanted.estimate = 2.5;
    EXPECT_EQ(lastEdit(jira, pointed, wanted), R"({"fields":{"customfield_10231":2.5E0}})");
    wanted.estimate.reset();
    EXPECT_EQ(lastEdit(jira, pointed, wanted), R"({"fields":{"customfield_10231":null}})");
    wanted.estimate = 3;
    EXPECT_EQ(editing(jira, pointed, wanted).size(), 2U);
    wanted.estimate = 0;
    EXPECT_EQ(lastEdit(jira, pointed, wanted), R"({"fields":{"customfield_10231":0}})");
}

TEST(JiraUpdateTest, clearingPointsThatAreNotThereSendsNothing) {
    Cloud jira;
    EXPECT_THAT(editing(jira, standing + R"(,"customfield_10216":null)", standingTask()), IsEmpty());
    EXPECT_EQ(jira.requests().size(), 2U);
}

TEST(JiraUpdateTest, newPointsGoIntoTheFirstFieldOfTheEditScreen) {
    Cloud jira;
    jira.answer("GET /issue/ORCH-41/editmeta", fixture("edit-meta.json"));
    TaskItem wanted = standingTask();
    wanted.estimate = 5;

    EXPECT_THAT(editing(jira, standing, wanted), ElementsAre(R"({"fields":{"customfield_10231":5}})"));
    EXPECT_EQ(jira.requests().at(1), "GET /issue/ORCH-41/editmeta");
}

TEST(JiraUpdateTest, pointsWithoutAFieldOnTheEditScreenAreRefusedAndChangeNothing) {
    Cloud jira;
    jira.answer("GET /issue/ORCH-41/editmeta", R"({"fields":{"customfield10231":{},"summary":{}}})");
    answerIssue(jira, standing);
    TaskItem wanted = standingTask();
    wanted.title = "Graft";
    wanted.estimate = 5;

    EXPECT_EQ(errorOf(jira.backend.updateTask(wanted)),
              BackendError::rejected("This issue has no story points field on its edit screen."));
    EXPECT_THAT(jira.bodies(), IsEmpty());
}

TEST(JiraUpdateTest, aRefusedEditIsToldAndNothingFollowsIt) {
    Cloud jira;
    jira.answer("GET /issue/ORCH-41", issueJSON("ORCH-41", standing));
    jira.answer("PUT /issue/ORCH-41", R"({"errorMessages":[],"errors":{"parent":"Not in the hierarchy."}})", 400);
    TaskItem wanted = standingTask();
    wanted.parent = TaskParent{"ORCH-9", ""};
    wanted.isCompleted = true;

    EXPECT_EQ(errorOf(jira.backend.updateTask(wanted)), BackendError::rejected("Not in the hierarchy."));
    EXPECT_EQ(jira.requests().size(), 2U);
}

}  // namespace
}  // namespace marlet
