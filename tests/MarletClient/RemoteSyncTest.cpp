// The life of an account of GitHub or Forgejo behind a running daemon, over real sockets.
#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "RemoteScenario.h"

namespace marlet {
namespace {

using testing::AllOf;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Texts = std::vector<std::string>;

class RemoteSyncTest : public testing::TestWithParam<FakeForgeKind> {
protected:
    RemoteScenario remote{GetParam()};
    ClientScenario& client = remote.client;

    // Every task row as it stands in the store's file.
    std::string taskRows() const {
        SQLite::Database store((client.data / "Marlet.sqlite").string(), SQLite::OPEN_READONLY);
        SQLite::Statement rows(store, "SELECT * FROM StoredTask ORDER BY key");
        std::string text;
        while (rows.executeStep()) {
            for (int column = 0; column < rows.getColumnCount(); ++column) {
                text += rows.getColumn(column).getString() + "\t";
            }
            text += "\n";
        }
        return text;
    }
    JSONValue onlyPending() {
        JSONValue pending = memberOf(client.json({"pending", "list"}), "tasks");
        return pending.arrayValue()->size() == 1 ? pending.arrayValue()->front() : JSONValue();
    }
    std::string serverTitle(int64_t number) { return remote.forge.issue("acme/rocket", number).title; }
};

INSTANTIATE_TEST_SUITE_P(Services, RemoteSyncTest, testing::Values(FakeForgeKind::github, FakeForgeKind::forgejo),
                         [](const auto& info) { return info.param == FakeForgeKind::github ? "github" : "forgejo"; });

TEST_P(RemoteSyncTest, threeRepositoriesAreReadOnceAndThenOnlyWhatChanged) {
    remote.forge.addRepository("jo/notes");
    for (int number = 4; number <= 200; ++number) {
        remote.forge.addIssue("acme/rocket", {.title = fmt::format("Part {}", number)});
    }
    for (int number = 1; number <= 50; ++number) {
        remote.forge.addIssue("jo/notes", {.title = fmt::format("Note {}", number)});
    }
    remote.addAccount({"all"});
    EXPECT_EQ(remote.taskCount(), 250U);
    const std::string rows = taskRows();

    // In full, with nothing new: every answer is one that the client has already.
    remote.forge.takeLines();
    client.json({"sync", "--account", "Work", "--full"});
    EXPECT_THAT(remote.forge.takeLines(), AllOf(Not(IsEmpty()), Each(EndsWith(" -> 304"))));
    EXPECT_EQ(taskRows(), rows);

    // What changed since: asked once, and from then on answered by 304s, too.
    client.json({"sync", "--account", "Work"});
    EXPECT_THAT(remote.forge.takeLines(), Each(HasSubstr("/issues?state=all")));
    client.json({"sync", "--account", "Work"});
    EXPECT_THAT(remote.forge.takeLines(), AllOf(Not(IsEmpty()), Each(EndsWith(" -> 304"))));
    EXPECT_EQ(taskRows(), rows);

    // One change on the server is one answer of its own.
    remote.forge.editIssue("jo/notes", 7, [](FakeIssue& issue) { issue.title = "Buy milk"; });
    client.json({"sync", "--account", "Work"});
    Texts lines = remote.forge.takeLines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.ends_with(" -> 200"); }), 1);
    EXPECT_EQ(textOf(client.json({"task", "show", "7", "--project", "jo/notes"}), "title"), "Buy milk");
    EXPECT_EQ(remote.taskCount(), 250U);
}

TEST_P(RemoteSyncTest, anEditGoesOutAtOnceAndAgainOnlyWhenThereIsAnother) {
    remote.addAccount({"all"});
    JSONValue edited = remote.edit(2, {"--title", "Paint the fins red", "--notes", "Größe: 3 m"});
    EXPECT_EQ(textOf(edited, "sync_state"), "synced");
    EXPECT_EQ(serverTitle(2), "Paint the fins red");
    EXPECT_EQ(remote.forge.issue("acme/rocket", 2).body, "Größe: 3 m");
    client.json({"task", "done", "1", "--project", "acme/rocket"});
    EXPECT_TRUE(remote.forge.issue("acme/rocket", 1).isClosed);
    remote.sync();
    EXPECT_EQ(remote.requests("PATCH "), 2U);
    EXPECT_EQ(onlyPending(), JSONValue());
}

TEST_P(RemoteSyncTest, aTaskMadeHereGetsTheServersNumberAndCanBeCommentedAndReadRaw) {
    remote.addAccount({"all"});
    JSONValue added = client.json({"task", "add", "Pack lunch", "--project", "acme/rocket", "--notes", "For two"});
    EXPECT_EQ(textOf(added, "number"), "4");
    EXPECT_EQ(textOf(added, "sync_state"), "synced");
    EXPECT_EQ(serverTitle(4), "Pack lunch");
    client.json({"task", "comment", textOf(added, "task_id"), "With cheese"});
    JSONValue shown = client.json({"task", "show", textOf(added, "task_id"), "--comments", "--raw"});
    EXPECT_EQ(textsOf(shown, "comments", "body"), Texts{"With cheese"});
    EXPECT_EQ(textOf(memberOf(shown, "raw"), "body"), "For two");
    EXPECT_EQ(
        client.error({"task", "delete", textOf(added, "task_id")}),
        "Only tasks of \"On This Mac\" accounts can be deleted. Use marlet task done to close this task instead.");
}

TEST_P(RemoteSyncTest, whatTheServerRefusesIsKeptAndListedWithItsReason) {
    remote.addAccount({"all"});
    remote.forge.fail("PATCH /repos/acme/rocket/issues/2", FakeFailure::status(422, "{\"message\": \"No red fins.\"}"));
    JSONValue edited = remote.edit(2, {"--title", "Paint the fins red"});
    EXPECT_EQ(textOf(edited, "sync_state"), "rejected");
    EXPECT_EQ(textOf(edited, "sync_error"), "No red fins.");

    JSONValue pending = onlyPending();
    EXPECT_EQ(textOf(pending, "title"), "Paint the fins red");
    EXPECT_EQ(textOf(pending, "sync_error"), "No red fins.");
    EXPECT_THAT(client.run({"pending", "list"}).output, HasSubstr("No red fins."));
    JSONValue synced = remote.sync(1);
    EXPECT_EQ(textsOf(synced, "rejected_tasks", "sync_error"), Texts{"No red fins."});
    EXPECT_EQ(serverTitle(2), "Paint the fins");

    client.json({"pending", "retry", "2", "--project", "acme/rocket"});
    EXPECT_EQ(serverTitle(2), "Paint the fins red");
    EXPECT_EQ(onlyPending(), JSONValue());
}

TEST_P(RemoteSyncTest, aRefusedChangeThatIsGivenUpMakesWayForTheServers) {
    remote.addAccount({"all"});
    remote.forge.fail("PATCH /repos/acme/rocket/issues/2", FakeFailure::status(422, "{\"message\": \"No.\"}"));
    remote.edit(2, {"--title", "Paint the fins red"});
    client.json({"pending", "discard", "2", "--project", "acme/rocket"});
    EXPECT_EQ(remote.titles(), (Texts{"Count down", "Fuel the tanks", "Paint the fins"}));
    remote.sync();
}

// A pending change isn't touched by what is fetched, and goes out whole: title, notes, state and labels as they are
// here. The other side's change of these is overwritten.
TEST_P(RemoteSyncTest, whenBothSidesEditTheChangeThatWaitsHereWins) {
    remote.addAccount({"all"});
    remote.forge.fail("PATCH ", FakeFailure::status(502), -1);
    EXPECT_EQ(textOf(remote.edit(2, {"--title", "Paint the fins red"}), "sync_state"), "pending");
    remote.forge.editIssue("acme/rocket", 2, [](FakeIssue& issue) { issue.title = "Paint the fins blue"; });

    remote.forge.recover();
    remote.sync();

    EXPECT_EQ(serverTitle(2), "Paint the fins red");
    EXPECT_EQ(textOf(remote.task(2), "title"), "Paint the fins red");
    EXPECT_EQ(onlyPending(), JSONValue());
    // What comes from there later is taken.
    remote.forge.editIssue("acme/rocket", 2, [](FakeIssue& issue) { issue.title = "Paint the fins blue"; });
    remote.sync();
    EXPECT_EQ(textOf(remote.task(2), "title"), "Paint the fins blue");
}

TEST_P(RemoteSyncTest, anUnknownLabelIsRefusedWhereTheServiceKnowsItsLabels) {
    remote.addAccount({"all"});
    remote.forge.addLabel("acme/rocket", "urgent");
    EXPECT_EQ(textOf(remote.edit(1, {"--label", "urgent"}), "sync_state"), "synced");
    EXPECT_EQ(remote.forge.issue("acme/rocket", 1).labels, Texts{"urgent"});

    JSONValue edited = remote.edit(1, {"--label", "urgent", "--label", "shiny"});
    if (remote.isGitHub) {
        // The service makes labels as they come.
        EXPECT_EQ(textOf(edited, "sync_state"), "synced");
        return;
    }
    EXPECT_EQ(textOf(edited, "sync_state"), "rejected");
    EXPECT_EQ(textOf(onlyPending(), "sync_error"), "Unknown labels: shiny.");
    EXPECT_EQ(remote.forge.issue("acme/rocket", 1).labels, Texts{"urgent"});
}

TEST_P(RemoteSyncTest, afterARateLimitChangesWaitUntilItIsOver) {
    remote.addAccount({"all"});
    remote.forge.limit({.count = 1, .status = 429, .retryAfter = 3600});
    remote.sync(1);
    EXPECT_THAT(remote.accountError(), StartsWith("Rate limited until "));

    remote.forge.takeLines();
    EXPECT_EQ(textOf(remote.edit(1, {"--title", "Fuel both tanks"}), "sync_state"), "pending");
    EXPECT_THAT(remote.forge.takeLines(), IsEmpty());
    EXPECT_EQ(textOf(onlyPending(), "title"), "Fuel both tanks");

    // Whoever asks outright is taken at his word, and success ends the wait.
    remote.sync();
    EXPECT_EQ(serverTitle(1), "Fuel both tanks");
    EXPECT_EQ(remote.accountError(), "");
    EXPECT_EQ(textOf(remote.edit(1, {"--title", "Fuel the tanks"}), "sync_state"), "synced");
}

TEST_P(RemoteSyncTest, aPageInPlaceOfJSONLosesNothing) {
    remote.addAccount({"all"});
    remote.forge.takeLines();
    for (const FakeFailure& failure : {FakeFailure::html(), FakeFailure::empty()}) {
        remote.forge.fail("GET ", failure, -1);
        client.json({"sync", "--full"}, 1);
        EXPECT_NE(remote.accountError(), "");
        EXPECT_EQ(remote.titles(), (Texts{"Count down", "Fuel the tanks", "Paint the fins"}));
        EXPECT_EQ(client.run({"project", "refresh", "Work"}).status, 1);
        EXPECT_EQ(textsOf(client.json({"project", "list", "--account", "Work"}), "projects", "name"),
                  (Texts{"acme/launchpad", "acme/rocket"}));
        remote.forge.recover();
        client.json({"sync", "--full"});
        EXPECT_EQ(remote.accountError(), "");
    }
}

TEST_P(RemoteSyncTest, whatIsEditedWithoutANetworkGoesOutWhenItIsBack) {
    remote.addAccount({"all"});
    remote.forge.fail("", FakeFailure::cut(), -1);
    EXPECT_EQ(textOf(remote.edit(1, {"--title", "Fuel both tanks"}), "sync_state"), "pending");
    EXPECT_EQ(textOf(client.json({"task", "add", "Pack lunch", "--project", "acme/rocket"}), "sync_state"), "pending");
    remote.sync(1);
    EXPECT_THAT(remote.accountError(), HasSubstr("127.0.0.1"));
    EXPECT_EQ(remote.taskCount(), 4U);
    remote.restartDaemon();
    EXPECT_EQ(remote.taskCount(), 4U);

    remote.forge.recover();
    remote.sync();
    EXPECT_EQ(serverTitle(1), "Fuel both tanks");
    EXPECT_EQ(serverTitle(4), "Pack lunch");
    EXPECT_EQ(remote.forge.issues("acme/rocket").size(), 4U);
    EXPECT_EQ(remote.taskCount(), 4U);
}

// Each time that a create is sent may make one more task where the answer is lost.
TEST_P(RemoteSyncTest, aCreateWithoutAnAnswerIsSentOnceByItsCommand) {
    remote.addAccount({"all"});
    remote.forge.fail("POST /repos/acme/rocket/issues", FakeFailure::cut(), -1);
    JSONValue added = client.json({"task", "add", "Pack lunch", "--project", "acme/rocket"});
    EXPECT_EQ(textOf(added, "sync_state"), "pending");
    EXPECT_EQ(remote.requests("POST "), 1U);

    remote.forge.recover();
    remote.sync();
    EXPECT_EQ(remote.requests("POST "), 2U);
    EXPECT_EQ(serverTitle(4), "Pack lunch");
}

TEST_P(RemoteSyncTest, whatTheServerDroppedGoesWithAFullSync) {
    remote.addAccount({"all"});
    remote.forge.removeIssue("acme/rocket", 3);
    client.json({"sync", "--full"});
    EXPECT_EQ(remote.titles(), (Texts{"Fuel the tanks", "Paint the fins"}));
}

TEST_P(RemoteSyncTest, anotherProjectIsReadOnceItIsSubscribed) {
    remote.addAccount({"acme/rocket"});
    remote.forge.addIssue("acme/launchpad", {.title = "Sweep the pad"});
    EXPECT_EQ(remote.taskCount(), 3U);
    client.json({"project", "subscribe", "acme/launchpad"});
    EXPECT_EQ(remote.taskCount(), 4U);
}

// GitHub alone has them.

class RemoteGitHubTest : public testing::Test {
protected:
    RemoteGitHubTest() {
        remote.forge.addOrganization("acme");
        board = remote.forge.addBoard({.login = "acme",
                                       .number = 12,
                                       .title = "Roadmap",
                                       .statusOptions = {{"a", "Todo"}, {"b", "In progress"}, {"c", "Done"}}});
        item = remote.forge.addBoardItem(board, {.title = "Draft the plan", .statusID = "a"});
    }

    RemoteScenario remote;
    ClientScenario& client = remote.client;
    std::string board;
    int64_t item = 0;
};

TEST_F(RemoteGitHubTest, draftsOfABoardAreTasksWithAStatus) {
    remote.addAccount({"Roadmap"});
    JSONValue drafts = client.json({"task", "list", "--project", "Roadmap"});
    EXPECT_EQ(textsOf(drafts, "tasks", "title"), Texts{"Draft the plan"});
    EXPECT_EQ(textsOf(drafts, "tasks", "status"), Texts{"Todo"});
    std::string id = textsOf(drafts, "tasks", "task_id").at(0);

    JSONValue moved = client.json({"task", "edit", id, "--status", "In progress", "--title", "Draft a plan"});
    EXPECT_EQ(textOf(moved, "sync_state"), "synced");
    EXPECT_EQ(remote.forge.boardItem(board, item).statusID, "b");
    EXPECT_EQ(remote.forge.boardItem(board, item).title, "Draft a plan");
    client.json({"task", "done", id});
    EXPECT_EQ(remote.forge.boardItem(board, item).statusID, "c");
    JSONValue added = client.json({"task", "add", "Draft another", "--project", "Roadmap"});
    EXPECT_EQ(textOf(added, "sync_state"), "synced");
    EXPECT_EQ(remote.forge.boardItems(board).size(), 2U);
    EXPECT_THAT(client.error({"task", "edit", id, "--status", "Someday"}), HasSubstr("Someday"));
    EXPECT_EQ(client.error({"task", "comment", id, "Nice"}), "Draft tickets of a GitHub Project have no comments.");
}

TEST_F(RemoteGitHubTest, aParentIsSetMovedAndTakenBack) {
    remote.addAccount({"acme/rocket"});
    EXPECT_EQ(textOf(memberOf(remote.edit(2, {"--parent", "1"}), "parent"), "number"), "1");
    EXPECT_EQ(remote.forge.issue("acme/rocket", 2).parent, (FakeIssuePlace{"acme/rocket", 1}));
    remote.edit(2, {"--parent", "3"});
    EXPECT_EQ(remote.forge.issue("acme/rocket", 2).parent, (FakeIssuePlace{"acme/rocket", 3}));
    remote.edit(2, {"--no-parent"});
    EXPECT_EQ(remote.forge.issue("acme/rocket", 2).parent, std::nullopt);
}

TEST_F(RemoteGitHubTest, repositoriesBehindSingleSignOnAreToldWithTheWayIn) {
    remote.forge.with([](FakeForgeState& state) {
        state.hiddenOrganizations = 3;
        state.organizations.clear();
        state.boards.clear();
        for (auto& [name, repository] : state.repositories) {
            repository.hasIssues = false;
        }
    });
    EXPECT_THAT(remote.additionFailure(),
                AllOf(StartsWith("GitHub hides the repositories of 3 organizations that use SAML single sign-on"),
                      EndsWith("then connect again.")));
}

}  // namespace
}  // namespace marlet
