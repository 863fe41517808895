// The life of an account of Jira behind a running daemon, over real sockets, driven by the command line and by an
// agent: what it asks is printed, and held to.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ClientScenario.h"
#include "EditingAgent.h"
#include "MarletBase/Clock.h"
#include "MarletBase/URL.h"
#include "TestSupport/FakeJira.h"
#include "TestSupport/FakeServer.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Texts = std::vector<std::string>;

const std::string token = "0nlyTh3S3rv3rKn0ws";

class RemoteJiraTest : public testing::TestWithParam<FakeJiraKind> {
protected:
    RemoteJiraTest() : endpoint(client.startDaemon()), agent(endpoint.port) {
        epic = jira.addIssue(weir, {.summary = "The whole river", .type = "Epic"});
        basin = jira.addIssue(weir, {.summary = "Dredge the basin", .description = "*All* of it", .parent = epic});
        pumps = jira.addIssue(weir, {.summary = "Mend the pumps", .points = 3});
    }
    void TearDown() override {
        EXPECT_EQ(client.stopDaemon(), 0);
        EXPECT_THAT(jira.violations(), IsEmpty()) << jira.printedLog();
    }

    bool isCloud() const { return GetParam() == FakeJiraKind::cloud; }
    // Cloud's tokens go with an address, those of a server stand for themselves.
    std::string credential(const std::string& secret) const { return (isCloud() ? "ada@jira.example:" : "") + secret; }
    JSONValue addAccount(int status = 0, const std::string& given = token) {
        ClientScenario::Arguments line{
            "account",       "add",         "jira", "--name", "Work", "--url", server.url() + "/rest/api/3",
            "--token-stdin", "--subscribe", "all"};
        if (isCloud()) {
            line.insert(line.end(), {"--username", " ada@jira.example "});
        }
        return client.json(line, status, given + "\n");
    }
    // With everything but the account behind it.
    void begin() {
        addAccount();
        jira.takeLines();
    }
    // What was asked since the last step, printed with its number.
    Texts step(const char* name) {
        Texts lines;
        fmt::print("{}:\n", name);
        for (const std::string& line : jira.takeLines()) {
            fmt::print("    {}\n", percentDecoded(line));
            lines.push_back(line.substr(0, line.find_first_of("? ", line.find(' ') + 1)));
        }
        fmt::print("    {} requests\n", lines.size());
        return lines;
    }
    void sync(int status = 0) { client.json({"sync", "--account", "Work"}, status); }
    Texts titles() { return textsOf(client.json({"task", "list", "--project", "Weir", "--all"}), "tasks", "title"); }
    JSONValue shown(const std::string& key) { return client.json({"task", "show", key, "--project", "Weir"}); }
    JSONValue edit(const std::string& key, const ClientScenario::Arguments& changes) {
        ClientScenario::Arguments line{"task", "edit", key, "--project", "Weir"};
        line.insert(line.end(), changes.begin(), changes.end());
        return client.json(line);
    }

    // A server tells a parent's title in no other way than by a search.
    Texts withTitle(Texts lines) const {
        if (!isCloud()) {
            lines.push_back("GET /search");
        }
        return lines;
    }

    // What an agent does, and what it is told.
    JSONValue call(const std::string& tool, const JSONValue::Object& arguments) {
        agent.send(endpoint.request(tool, arguments));
        ToolOutcome outcome(agent.receiveResponse());
        EXPECT_EQ(outcome.error, std::nullopt) << tool;
        return outcome.result;
    }
    // The task as it is once what waited has gone out.
    JSONValue settled(const std::string& taskID) {
        call("sync", {});
        return call("get_task", {{"task_id", taskID}});
    }
    std::string taskID(const std::string& title) {
        JSONValue found = call("list_tasks", {{"query", title}});
        return textsOf(found, "tasks", "task_id").at(0);
    }
    std::string create(const std::string& title, const std::string& type) {
        JSONValue projects = memberOf(call("list_projects", {}), "projects");
        for (const JSONValue& project : *projects.arrayValue()) {
            if (textOf(project, "name") == "Weir") {
                JSONValue::Object arguments{{"project_key", textOf(project, "project_key")}, {"title", title}};
                if (!type.empty()) {
                    arguments["type"] = type;
                }
                return textOf(call("create_task", arguments), "task_id");
            }
        }
        throw std::runtime_error("There is no project Weir.");
    }
    // What the agent is told of a change that can't be made, and that the server has nothing of it.
    std::string refusal(const std::string& title, JSONValue::Object change) {
        std::string id = taskID(title);
        change["task_id"] = id;
        call("update_task", change);
        JSONValue task = settled(id);
        EXPECT_EQ(textOf(task, "sync_state"), "rejected");
        return textOf(task, "sync_error");
    }

    FakeJira jira{GetParam(), [] { return SystemClock().now(); }, credential(token)};
    FakeServer server{jira};
    ClientScenario client;
    AgentEndpoint endpoint;
    LoopbackClient agent;
    const std::string weir = jira.addProject("WEIR", "Weir");
    const std::string mill = jira.addProject("MILL", "Mill");
    std::string epic;
    std::string basin;
    std::string pumps;
};

INSTANTIATE_TEST_SUITE_P(Deployments, RemoteJiraTest, testing::Values(FakeJiraKind::cloud, FakeJiraKind::server),
                         [](const auto& info) { return info.param == FakeJiraKind::cloud ? "Cloud" : "Server"; });

TEST_P(RemoteJiraTest, anAccountIsReadOnceAndThenAskedLittle) {
    JSONValue added = addAccount();
    EXPECT_EQ(textOf(memberOf(added, "account"), "server"), server.url());
    // The deployment twice, since what verifies a token is thrown away, then projects, fields, and a list of each.
    EXPECT_THAT(step("add an account, read 3 issues of 2 projects"), SizeIs(2 + 2 + 2));
    EXPECT_THAT(titles(), UnorderedElementsAre("The whole river", "Dredge the basin", "Mend the pumps"));
    JSONValue basinShown = shown(basin);
    EXPECT_EQ(textOf(basinShown, "notes"), "**All** of it");
    EXPECT_EQ(textOf(memberOf(basinShown, "parent"), "title"), "The whole river");
    EXPECT_EQ(memberOf(shown(pumps), "estimate"), JSONValue(3));

    client.json({"sync", "--account", "Work", "--full"});
    EXPECT_THAT(step("sync in full, nothing new"), SizeIs(2));
    jira.editIssue(pumps, [](FakeJiraIssue& issue) { issue.summary = "Mend both pumps"; });
    sync();
    step("sync after one change on the server");
    EXPECT_THAT(titles(), testing::Contains("Mend both pumps"));
}

TEST_P(RemoteJiraTest, anEditSendsWhatDiffersAndMovesTheIssueThroughItsWorkflow) {
    begin();

    EXPECT_EQ(textOf(edit(basin, {"--title", "Dredge it", "--estimate", "5"}), "sync_state"), "synced");

    std::string path = "/issue/" + basin;
    EXPECT_EQ(step("edit a title and an estimate"),
              withTitle({"GET " + path, "GET " + path + "/editmeta", "PUT " + path, "GET " + path}));
    EXPECT_EQ(jira.issue(basin).summary, "Dredge it");
    EXPECT_EQ(jira.issue(basin).points, 5);
    EXPECT_EQ(jira.issue(basin).description, "*All* of it");

    client.json({"task", "done", basin, "--project", "Weir"});
    EXPECT_EQ(step("complete it"), withTitle({"GET " + path, "GET " + path + "/transitions",
                                              "POST " + path + "/transitions", "GET " + path}));
    EXPECT_EQ(jira.issue(basin).status, "Done");
    EXPECT_EQ(jira.issue(basin).resolution, "10701");
    client.json({"task", "reopen", basin, "--project", "Weir"});
    step("reopen it");
    EXPECT_EQ(jira.issue(basin).status, "To Do");

    edit(basin, {"--no-parent", "--no-estimate", "--due", "2027-03-31"});
    step("take it from its epic, clear its estimate, set a due date");
    EXPECT_EQ(jira.issue(basin).parent, std::nullopt);
    EXPECT_EQ(jira.issue(basin).points, std::nullopt);
    EXPECT_EQ(jira.issue(basin).dueDay, "2027-03-31");
}

TEST_P(RemoteJiraTest, anAgentMakesABugMovesItUnderAnEpicEstimatesCommentsAndClosesIt) {
    begin();

    std::string id = create("The gate leaks", "bug");
    JSONValue made = settled(id);
    step("create a bug");
    std::string key = jira.issues(weir).back().key;
    EXPECT_EQ(textOf(made, "sync_state"), "synced");
    EXPECT_EQ(textOf(made, "type"), "Bug");
    EXPECT_EQ(textOf(made, "number"), key);

    call("update_task", {{"task_id", id}, {"parent", epic}, {"estimate", 2.5}});
    made = settled(id);
    step("move it under an epic and estimate it");
    EXPECT_EQ(textOf(memberOf(made, "parent"), "title"), "The whole river");
    EXPECT_EQ(memberOf(made, "estimate"), JSONValue(2.5));

    call("add_comment", {{"task_id", id}, {"body", "Is it **urgent**?"}});
    step("comment on it");
    EXPECT_EQ(jira.issue(key).comments.at(0).body, "Is it *urgent*?");

    call("update_task", {{"task_id", id}, {"completed", true}});
    made = settled(id);
    step("close it");
    EXPECT_EQ(memberOf(made, "completed"), JSONValue(true));
    FakeJiraIssue kept = jira.issue(key);
    EXPECT_EQ(kept.status, "Done");
    EXPECT_EQ(kept.parent, epic);
    EXPECT_EQ(kept.points, 2.5);
    EXPECT_THAT(jira.issues(weir), SizeIs(4));
}

TEST_P(RemoteJiraTest, theTypeOfNewTasksIsChosenForTheAccount) {
    begin();
    auto typeOfNewTask = [&](const std::string& title) {
        client.json({"task", "add", title, "--project", "Weir"});
        return jira.issues(weir).back().type;
    };
    EXPECT_EQ(typeOfNewTask("One"), "Task");
    JSONValue changed = client.json({"account", "type", "Work", "Bug"});
    EXPECT_EQ(textOf(memberOf(changed, "account"), "default_task_type"), "Bug");
    EXPECT_EQ(typeOfNewTask("Two"), "Bug");
    client.json({"task", "add", "Three", "--project", "Weir", "--type", "Epic"});
    EXPECT_EQ(jira.issues(weir).back().type, "Epic");
    client.json({"account", "type", "Work", "Spike"});
    EXPECT_EQ(typeOfNewTask("Four"), "Task") << "the project has no spikes";
    changed = client.json({"account", "type", "Work", "--default"});
    EXPECT_TRUE(memberOf(memberOf(changed, "account"), "default_task_type").isNull());
    EXPECT_EQ(typeOfNewTask("Five"), "Task");
    EXPECT_EQ(client.error({"account", "type", "Work"}), "Give either a type or --default.");
    EXPECT_EQ(client.error({"account", "type", "On This Mac", "Bug"}), "Tasks of this service have no type to choose.");
}

TEST_P(RemoteJiraTest, whatTheWorkflowTheScreenOrTheProjectForbidsIsToldToTheAgent) {
    jira.editIssue(basin, [](FakeJiraIssue& issue) { issue.status = "Done"; });
    jira.editProject(weir, [](FakeJiraProject& project) {
        project.workflow.clear();
        project.hasPointsOnScreen = false;
    });
    jira.editIssue(pumps, [](FakeJiraIssue& issue) { issue.points.reset(); });
    begin();

    EXPECT_EQ(refusal("Mend the pumps", {{"estimate", 5}}), "This issue has no story points field on its edit screen.");
    EXPECT_EQ(refusal("The whole river", {{"completed", true}}),
              epic + " has no workflow transition that completes it.");
    JSONValue found = call("list_tasks", {{"query", "Dredge"}, {"include_completed", true}});
    std::string done = textsOf(found, "tasks", "task_id").at(0);
    call("update_task", {{"task_id", done}, {"completed", false}});
    EXPECT_EQ(textOf(settled(done), "sync_error"), basin + " has no workflow transition that reopens it.");

    jira.editProject(weir, [](FakeJiraProject& project) { project.types = {{"10503", "Sub-task", -1}}; });
    std::string id = create("The gate leaks", "");
    EXPECT_EQ(textOf(settled(id), "sync_error"), "The Jira project has no issue type that Marlet can create.");
    EXPECT_THAT(jira.issues(weir), SizeIs(3));
    step("four changes that can't be made");
}

TEST_P(RemoteJiraTest, withoutBoardsThereAreNoEpicsToAssignOnAServer) {
    jira.setHasBoards(false);
    begin();
    if (isCloud()) {
        call("update_task", {{"task_id", taskID("Mend the pumps")}, {"parent", epic}});
        call("sync", {});
        EXPECT_EQ(jira.issue(pumps).parent, epic);
        return;
    }
    EXPECT_EQ(refusal("Mend the pumps", {{"parent", epic}}),
              "This Jira instance has no Epic Link field, so issues can't be assigned to epics.");
    EXPECT_EQ(jira.issue(pumps).parent, std::nullopt);
}

TEST_P(RemoteJiraTest, aTokenThatDiesDeletesNothingAndANewOneMendsIt) {
    begin();
    jira.setToken(credential("another"));

    client.json({"sync", "--account", "Work", "--full"}, 1);

    step("sync with a dead token");
    EXPECT_THAT(titles(), SizeIs(3));
    JSONValue account = memberOf(client.json({"account", "list"}), "accounts").arrayValue()->back();
    EXPECT_THAT(textOf(account, "sync_error"), StartsWith("The server rejected the access token."));
    EXPECT_THAT(textsOf(client.json({"project", "list", "--account", "Work"}), "projects", "name"), SizeIs(2));
    client.json({"account", "token", "Work", "--token-stdin"}, 1, credential("wrong"));
    client.json({"account", "token", "Work", "--token-stdin"}, 0, credential("another"));
    step("a new token, and a sync with it");
    sync();
    EXPECT_THAT(titles(), SizeIs(3));
}

TEST_P(RemoteJiraTest, aTokenThatIsRefusedAddsNothing) {
    std::string told = textOf(memberOf(addAccount(1, "wrong"), "error"), "message");
    EXPECT_THAT(told, StartsWith("The server rejected the access token."));
    EXPECT_THAT(told, HasSubstr("--username"));
    EXPECT_THAT(textsOf(client.json({"account", "list"}), "accounts", "name"), ElementsAre("On This Mac"));
}

TEST_P(RemoteJiraTest, anIssueWhoseCreationIsAnsweredIsMadeOnceWhateverFollows) {
    begin();
    jira.fail("GET /issue/WEIR-4", FakeFailure::status(503));

    JSONValue added = client.json({"task", "add", "The gate leaks", "--project", "Weir", "--label", "gate"});

    step("create an issue that can't be read then");
    EXPECT_EQ(textOf(added, "sync_state"), "synced");
    EXPECT_EQ(textOf(added, "number"), "WEIR-4");
    sync();
    EXPECT_THAT(jira.issues(weir), SizeIs(4));
    EXPECT_EQ(textOf(shown("WEIR-4"), "title"), "The gate leaks");
}

}  // namespace
}  // namespace marlet
