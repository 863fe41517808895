// Accounts of GitHub and Forgejo, by the real program against a service on a loopback port: each command once with a
// daemon and once without.
#include <gmock/gmock.h>

#include "RemoteScenario.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Texts = std::vector<std::string>;
using Way = RemoteScenario::Way;

class RemoteAccountTest : public testing::TestWithParam<std::tuple<FakeForgeKind, Way>> {
protected:
    RemoteScenario remote{std::get<0>(GetParam()), std::get<1>(GetParam())};
    ClientScenario& client = remote.client;

    std::string service() const { return remote.isGitHub ? "GitHub" : "Forgejo"; }
    std::string host() const { return remote.server->url().substr(7); }
    Texts accountNames() { return textsOf(client.json({"account", "list"}), "accounts", "name"); }
    size_t ownAccounts() const { return remote.way == Way::withDaemon ? 1 : 0; }
};

INSTANTIATE_TEST_SUITE_P(BothWays, RemoteAccountTest,
                         testing::Combine(testing::Values(FakeForgeKind::github, FakeForgeKind::forgejo),
                                          testing::Values(Way::withDaemon, Way::inOwnProcess)),
                         [](const auto& info) {
                             std::string kind = std::get<0>(info.param) == FakeForgeKind::github ? "github" : "forgejo";
                             return kind + (std::get<1>(info.param) == Way::withDaemon ? "WithDaemon" : "InOwnProcess");
                         });

TEST_P(RemoteAccountTest, itIsAddedWithTheProjectsThatAreNamedAndTheirTasksAreThere) {
    JSONValue added = remote.addAccount({"acme/rocket"});
    EXPECT_EQ(textOf(memberOf(added, "account"), "name"), "Work");
    EXPECT_EQ(textOf(memberOf(added, "account"), "service"), service());
    EXPECT_EQ(textOf(memberOf(added, "account"), "server"), remote.server->url());
    EXPECT_TRUE(memberOf(memberOf(added, "account"), "sync_error").isNull());
    EXPECT_EQ(textsOf(added, "projects", "name"), (Texts{"acme/launchpad", "acme/rocket"}));
    EXPECT_EQ(textsOf(client.json({"project", "list", "--account", "Work"}), "projects", "name"), Texts{"acme/rocket"});
    EXPECT_EQ(remote.titles(), (Texts{"Count down", "Fuel the tanks", "Paint the fins"}));
    EXPECT_EQ(remote.requests("GET /repos/acme/launchpad"), 0U);
}

TEST_P(RemoteAccountTest, allMeansEveryProject) {
    JSONValue added = remote.addAccount({"all"});
    JSONValue projects = memberOf(added, "projects");
    for (const JSONValue& project : *projects.arrayValue()) {
        EXPECT_EQ(memberOf(project, "subscribed"), JSONValue(true));
    }
    EXPECT_EQ(remote.taskCount(), 3U);
}

TEST_P(RemoteAccountTest, withoutAProjectNothingIsReadAndTheNextStepIsTold) {
    ChildOutcome added = client.run(remote.addition(), RemoteScenario::token);
    EXPECT_EQ(added.status, 0) << added.errors;
    EXPECT_THAT(added.output, HasSubstr("None of its 2 projects is synced yet. Choose with marlet project list --all "
                                        "and marlet project subscribe.\n"));
    EXPECT_EQ(remote.taskCount(), 0U);
    client.json({"project", "subscribe", "acme/rocket"});
    EXPECT_EQ(remote.taskCount(), 3U);
    client.json({"project", "unsubscribe", "acme/rocket"});
    EXPECT_EQ(remote.taskCount(), 0U);
}

TEST_P(RemoteAccountTest, aProjectThatIsNotThereRefusesTheWholeAddition) {
    JSONValue told = client.json(remote.addition({"acme/launchpad", "rocket"}), 1, RemoteScenario::token);
    EXPECT_EQ(textOf(memberOf(told, "error"), "message"),
              "No project \"rocket\" on the server. Did you mean acme/rocket?");
    EXPECT_EQ(accountNames().size(), ownAccounts());
    EXPECT_EQ(remote.requests("GET /repos/acme"), 0U);
}

TEST_P(RemoteAccountTest, aServerThatCannotBeUsedIsToldWithWhatToDoAndNothingIsAdded) {
    const std::string noService =
        host() + " doesn't look like a " + service() + " server; give the address of its start page with --url.";
    EXPECT_EQ(remote.additionFailure("ghp_wrong"),
              "The server rejected the access token. Check that it was copied whole, that it hasn't expired or been "
              "revoked, and that it was made on " +
                  host() + ".");
    const std::vector<std::pair<FakeFailure, std::string>> table{
        {FakeFailure::status(404, "<html></html>"), "Not found on the server. " + noService},
        {FakeFailure::html(), noService},
        {FakeFailure::empty(), noService},
        {FakeFailure::status(503),
         "The server responded with HTTP 503. That is the server's own trouble. Try again "
         "in a while."},
        {FakeFailure::status(403, "{\"message\": \"Not for you.\"}"),
         "The server responded with HTTP 403. The token needs the "},
        {FakeFailure::status(422, "{\"message\": \"Not for you.\"}"), "Not for you. The token needs the "},
        {FakeFailure::cut(), "The connection to " + host() + " was closed before the answer had ended."},
    };
    for (const auto& [failure, text] : table) {
        remote.forge.fail("GET /user/repos", failure, -1);
        EXPECT_THAT(remote.additionFailure(), HasSubstr(text));
        remote.forge.recover();
    }
    remote.forge.limit({.count = 1, .status = 429, .retryAfter = 3600});
    std::string limited = remote.additionFailure();
    EXPECT_THAT(limited, StartsWith("Rate limited until "));
    EXPECT_THAT(limited, HasSubstr("Try again after that."));
    EXPECT_EQ(accountNames().size(), ownAccounts());
}

TEST_P(RemoteAccountTest, aServerThatIsNotThereIsNamed) {
    ClientScenario::Arguments line = remote.addition();
    line[6] = "http://127.0.0.1:1";
    std::string refused = textOf(memberOf(client.json(line, 1, "t"), "error"), "message");
    EXPECT_THAT(refused, HasSubstr("127.0.0.1"));
    // Too long for any name server to be asked for it.
    line[6] = std::string(64, 'x') + ".example";
    std::string unknown = textOf(memberOf(client.json(line, 1, "t"), "error"), "message");
    EXPECT_THAT(unknown, HasSubstr(std::string(64, 'x') + ".example"));
    EXPECT_EQ(accountNames().size(), ownAccounts());
}

TEST_P(RemoteAccountTest, aTokenThatSeesNoProjectIsToldWhatItNeeds) {
    remote.forge.fail("GET /user/repos", FakeFailure::status(200, "[]"));
    ChildOutcome added = client.run(remote.addition({"all"}), RemoteScenario::token);
    EXPECT_EQ(added.status, 0) << added.errors;
    EXPECT_THAT(added.output, HasSubstr("The server lists no projects for this token. The token needs the "));
    EXPECT_EQ(client.json({"project", "list", "--all", "--account", "Work"}),
              JSONValue::object({{"projects", JSONValue::Array()}}));
    // Once it has been given more, a refresh shows what there is.
    JSONValue refreshed = client.json({"project", "refresh", "Work"});
    EXPECT_EQ(textsOf(refreshed, "projects", "name"), (Texts{"acme/launchpad", "acme/rocket"}));
}

TEST_P(RemoteAccountTest, aSecondUserOfTheServerIsWelcomeButNotTheSameAccountAgain) {
    remote.addAccount({"acme/rocket"});
    EXPECT_EQ(remote.additionFailure(),
              "There is already an account \"Work\" on " + host() +
                  ". Give it a new token with marlet account token, or choose another --name for a second user of that "
                  "server.");
    ClientScenario::Arguments line = remote.addition();
    line[4] = "Home";
    ChildOutcome second = client.run(line, RemoteScenario::token);
    EXPECT_EQ(second.status, 0) << second.errors;
    EXPECT_THAT(second.output, HasSubstr("The account \"Work\" uses the same server: projects that you subscribe to in "
                                         "both are listed twice.\n"));
    EXPECT_EQ(accountNames().size(), ownAccounts() + 2);
}

TEST_P(RemoteAccountTest, aRevokedTokenIsToldAndANewOneMendsIt) {
    remote.addAccount({"acme/rocket"});
    remote.forge.setToken("ghp_new");
    ChildOutcome refused = client.run({"sync", "--account", "Work"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output,
              "Work: The server rejected the access token. Give the account a new one with marlet account token.\n");
    EXPECT_EQ(refused.errors, "marlet: Not everything could be synced. Use marlet status to see what.\n");
    EXPECT_EQ(remote.taskCount(), 3U);

    JSONValue wrong = client.json({"account", "token", "Work", "--token-stdin"}, 1, "ghp_wrong");
    EXPECT_THAT(textOf(memberOf(wrong, "error"), "message"),
                testing::AllOf(StartsWith("The server rejected the access token. Check that it was copied whole"),
                               testing::EndsWith("The account keeps the token it had.")));
    const std::string needsToken =
        "The server rejected the access token. Give the account a new one with marlet account token.";
    EXPECT_EQ(client.error({"project", "refresh", "Work"}), needsToken);
    EXPECT_EQ(client.error({"task", "comment", "1", "Soon", "--project", "acme/rocket"}), needsToken);
    EXPECT_EQ(client.error({"task", "show", "1", "--comments", "--project", "acme/rocket"}), needsToken);

    // The old one still works once the server takes it again.
    remote.forge.setToken(RemoteScenario::token);
    remote.sync();
    remote.forge.setToken("ghp_new");
    JSONValue mended = client.json({"account", "token", "Work", "--token-stdin"}, 0, " ghp_new\n");
    EXPECT_TRUE(memberOf(memberOf(mended, "account"), "sync_error").isNull());
    remote.sync();
    EXPECT_EQ(remote.accountError(), "");
}

TEST_P(RemoteAccountTest, itsSettingsAreKeptOrRefused) {
    remote.addAccount();
    JSONValue set = client.json({"account", "agent", "Work", "code"});
    EXPECT_EQ(textOf(memberOf(set, "account"), "name"), "Work");
    EXPECT_THAT(client.run({"account", "agent", "Work", "cowork"}).output, HasSubstr("Its tasks go to Claude Cowork."));
    EXPECT_THAT(client.run({"account", "agent", "Work", "none"}).output,
                HasSubstr("Each of its tasks goes to the agent that suits it."));
    EXPECT_EQ(client.error({"account", "agent", "Work", "copilot"}),
              "GitHub Copilot can't take tasks of this account. It takes those of public GitHub alone.");
    EXPECT_EQ(client.error({"account", "agent", "Work", "somebody"}, 2),
              "Unknown agent \"somebody\". Use code, cowork, copilot or none.");
    EXPECT_EQ(client.error({"account", "type", "Work", "Story"}), "Tasks of this service have no type to choose.");
    EXPECT_EQ(client.error({"account", "type", "Work"}), "Give either a type or --default.");
}

TEST_P(RemoteAccountTest, removedItLeavesNeitherTasksNorItsToken) {
    remote.addAccount({"acme/rocket"});
    client.json({"account", "remove", "Work"});
    EXPECT_EQ(accountNames().size(), ownAccounts());
    EXPECT_EQ(remote.taskCount(), 0U);
    remote.addAccount({"acme/rocket"});
    EXPECT_EQ(remote.taskCount(), 3U);
}

}  // namespace
}  // namespace marlet
