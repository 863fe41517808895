#include "JiraBackend/JiraChangesInternal.h"

#include "JiraScenario.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

using testing::ElementsAre;

std::string bodyFor(bool completes, const std::string& transitions) {
    auto list = JSONCoding::decode<TransitionList>("{\"transitions\":[" + transitions + "]}");
    return JSONCoding::serialized(jira::transitionBody("ORCH-41", completes, list.transitions));
}

std::string to(const std::string& category, const std::string& id, const std::string& more = "") {
    return R"({"id":")" + id + R"(","to":{"statusCategory":{"key":")" + category + R"("}})" + more + "}";
}

std::string resolution(const std::string& values, const std::string& required = "true") {
    return R"(,"fields":{"resolution":{"required":)" + required + R"(,"allowedValues":)" + values + "}}";
}

const std::string withoutResolution = R"({"transition":{"id":"2"}})";

std::string withResolution(const std::string& id) {
    return R"({"transition":{"id":"2"},"fields":{"resolution":{"id":")" + id + R"("}}})";
}

TEST(JiraTransitionTest, completingTakesTheFirstThatLeadsToDone) {
    EXPECT_EQ(bodyFor(true, to("indeterminate", "1") + "," + to("done", "2") + "," + to("done", "3")),
              withoutResolution);
}

TEST(JiraTransitionTest, reopeningPrefersNewAndElseTakesWhatIsUnderWay) {
    EXPECT_EQ(bodyFor(false, to("indeterminate", "1") + "," + to("new", "2")), withoutResolution);
    EXPECT_EQ(bodyFor(false, to("done", "1") + "," + to("indeterminate", "2")), withoutResolution);
}

TEST(JiraTransitionTest, oneThatTellsNoTargetLeadsNowhere) {
    EXPECT_EQ(bodyFor(true, R"({"id":"1"},{"id":"3","to":{"name":"Done"}},)" + to("done", "2")), withoutResolution);
}

TEST(JiraTransitionTest, aRequiredResolutionIsDoneInAnyCaseOrElseTheFirst) {
    EXPECT_EQ(bodyFor(true, to("done", "2",
                               resolution(R"([{"id":"7","name":"Won't Do"},{"id":"8"},{"id":"9","name":"done"}])"))),
              withResolution("9"));
    EXPECT_EQ(bodyFor(true, to("done", "2", resolution(R"([{"id":"5","name":"Fixed"},{"id":"7","name":"Won't Do"}])"))),
              withResolution("5"));
    EXPECT_EQ(bodyFor(false, to("new", "2", resolution(R"([{"id":"5"}])"))), withResolution("5"));
}

TEST(JiraTransitionTest, aResolutionThatIsNotRequiredOrHasNoValuesIsNotSent) {
    for (const std::string& fields :
         {resolution("[]"), resolution("null"), resolution(R"([{"id":"5"}])", "false"),
          resolution(R"([{"id":"5"}])", "null"), std::string(R"(,"fields":{"fixVersions":{"required":true}})"),
          std::string(R"(,"fields":{"resolution":{"required":true}})"), std::string(R"(,"fields":null)")}) {
        EXPECT_EQ(bodyFor(true, to("done", "2", fields)), withoutResolution) << fields;
    }
}

std::string standsIn(const std::string& category) {
    return issueJSON("ORCH-41", R"("summary":"Prune","status":{"statusCategory":{"key":")" + category + R"("}})");
}

struct Workflow : Cloud {
    explicit Workflow(const std::string& category, const std::string& transitions) {
        answer("GET /issue/ORCH-41", standsIn(category));
        answer("GET /issue/ORCH-41/transitions", transitions);
        answer("POST /issue/ORCH-41/transitions", "", 204);
        answer("PUT /issue/ORCH-41", "", 204);
    }

    TaskItem wanted(bool isCompleted, const std::string& title = "Prune") const {
        TaskItem item = task("ORCH-41", title);
        item.isCompleted = isCompleted;
        return item;
    }
};

TEST(JiraTransitionTest, theEditComesFirstThenTheTransitionThenTheRead) {
    Workflow jira("indeterminate", fixture("transitions.json"));

    runToEnd(jira.backend.updateTask(jira.wanted(true, "Graft")));

    std::string read = "GET /issue/ORCH-41?fields=" + cloudFields;
    EXPECT_THAT(jira.requests(),
                ElementsAre(read, "PUT /issue/ORCH-41", "GET /issue/ORCH-41/transitions?expand=transitions.fields",
                            "POST /issue/ORCH-41/transitions", read));
    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"fields":{"summary":"Graft"}})",
                                           R"({"transition":{"id":"22"},"fields":{"resolution":{"id":"10702"}}})"));
}

TEST(JiraTransitionTest, reopeningRunsTheTransitionAlone) {
    Workflow jira("done", fixture("transitions.json"));

    runToEnd(jira.backend.updateTask(jira.wanted(false)));

    EXPECT_THAT(jira.bodies(), ElementsAre(R"({"transition":{"id":"31"}})"));
}

TEST(JiraTransitionTest, anIssueThatStandsAsWantedStays) {
    for (const char* category : {"new", "indeterminate", "undefined"}) {
        Workflow jira(category, fixture("transitions.json"));
        runToEnd(jira.backend.updateTask(jira.wanted(false)));
        EXPECT_EQ(jira.requests().size(), 2U) << category;
    }
}

TEST(JiraTransitionTest, anIssueWithoutAStatusIsNotDone) {
    Workflow jira("new", fixture("transitions.json"));
    jira.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        bool isIssue = request.method == HTTPMethod::get && request.url.components().path.ends_with("ORCH-41");
        std::string body = issueJSON("ORCH-41", R"("summary":"Prune")");
        return isIssue ? std::optional(ScriptedTransport::Answer{.body = body}) : std::nullopt;
    };

    runToEnd(jira.backend.updateTask(jira.wanted(true)));

    EXPECT_EQ(jira.bodies().size(), 1U);
}

TEST(JiraTransitionTest, aWorkflowWithoutAWayIsToldAndTheEditStands) {
    Workflow completing("new", R"({"transitions":[{"id":"12","to":{"statusCategory":{"key":"indeterminate"}}}]})");
    EXPECT_EQ(errorOf(completing.backend.updateTask(completing.wanted(true, "Graft"))),
              BackendError::rejected("ORCH-41 has no workflow transition that completes it."));
    EXPECT_THAT(completing.bodies(), ElementsAre(R"({"fields":{"summary":"Graft"}})"));

    Workflow reopening("done", R"({"transitions":[]})");
    EXPECT_EQ(errorOf(reopening.backend.updateTask(reopening.wanted(false))),
              BackendError::rejected("ORCH-41 has no workflow transition that reopens it."));
}

TEST(JiraTransitionTest, aTransitionThatIsRefusedIsToldInTheServicesWords) {
    Workflow jira("new", fixture("transitions.json"));
    jira.server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        std::string body = R"({"errorMessages":["Not now."],"errors":{}})";
        bool isRun = request.method == HTTPMethod::post;
        return isRun ? std::optional(ScriptedTransport::Answer{.status = 400, .body = body}) : std::nullopt;
    };

    EXPECT_EQ(errorOf(jira.backend.updateTask(jira.wanted(true, "Graft"))), BackendError::rejected("Not now."));
}

}  // namespace
}  // namespace marlet
