// The daemon killed around a create: between what the server did and what the store knows of it.
#include <csignal>

#include "RemoteScenario.h"

namespace marlet {
namespace {

using Texts = std::vector<std::string>;

class RemoteCrashTest : public testing::TestWithParam<FakeForgeKind> {
protected:
    RemoteScenario remote{GetParam()};
    ClientScenario& client = remote.client;

    // Kills the daemon while the create of a task is at the server, and starts it again.
    void killAmidCreate(FakeFailure failure) {
        auto gate = std::make_shared<FakeGate>();
        failure.gate = gate;
        remote.forge.fail("POST /repos/acme/rocket/issues", std::move(failure));
        std::unique_ptr<ChildProcess> command = client.start({"task", "add", "Pack lunch", "--project", "acme/rocket"});
        ASSERT_TRUE(gate->awaitReached());
        client.daemon().send(SIGKILL);
        EXPECT_EQ(client.daemon().wait(), -SIGKILL);
        EXPECT_EQ(command->wait(), 1);
        EXPECT_EQ(command->errors,
                  "marlet: The running Marlet ended before it answered. Look whether the command was carried out "
                  "before you repeat it.\n");
        gate->open();
        client.startDaemon();
        remote.sync();
    }
    size_t issueCount() { return remote.forge.issues("acme/rocket").size(); }
};

INSTANTIATE_TEST_SUITE_P(Services, RemoteCrashTest, testing::Values(FakeForgeKind::github, FakeForgeKind::forgejo),
                         [](const auto& info) { return info.param == FakeForgeKind::github ? "github" : "forgejo"; });

// No service takes a key by which it would know the repeated create, so one duplicate is what the protocol allows.
TEST_P(RemoteCrashTest, aCreateWhoseAnswerIsLostWithTheDaemonIsMadeOnceMoreAndNeverAgain) {
    remote.addAccount({"all"});
    killAmidCreate(FakeFailure::held(nullptr));
    EXPECT_EQ(issueCount(), 5U);
    const Texts both{"Count down", "Fuel the tanks", "Pack lunch", "Pack lunch", "Paint the fins"};
    client.json({"sync", "--full"});
    EXPECT_EQ(remote.titles(), both);
    remote.restartDaemon();
    client.json({"sync", "--full"});
    EXPECT_EQ(issueCount(), 5U);
    EXPECT_EQ(remote.titles(), both);
    EXPECT_EQ(remote.requests("POST "), 2U);
}

TEST_P(RemoteCrashTest, aCreateThatTheServerNeverCarriedOutIsMadeOnce) {
    remote.addAccount({"all"});
    killAmidCreate(FakeFailure::status(502));
    EXPECT_EQ(issueCount(), 4U);
    EXPECT_EQ(remote.titles(), (Texts{"Count down", "Fuel the tanks", "Pack lunch", "Paint the fins"}));
}

TEST_P(RemoteCrashTest, anUpdateWhoseAnswerIsLostIsSentAgainAndChangesNothingMore) {
    remote.addAccount({"all"});
    remote.forge.fail("PATCH /repos/acme/rocket/issues/2", FakeFailure::lostAnswer(), -1);
    EXPECT_EQ(textOf(remote.edit(2, {"--title", "Paint the fins red"}), "sync_state"), "pending");
    size_t before = remote.requests("PATCH ");
    remote.forge.recover();
    EXPECT_EQ(remote.forge.issue("acme/rocket", 2).title, "Paint the fins red");
    remote.sync();
    EXPECT_EQ(remote.requests("PATCH "), before + 1);
    EXPECT_EQ(issueCount(), 3U);
    EXPECT_EQ(remote.titles(), (Texts{"Count down", "Fuel the tanks", "Paint the fins red"}));
}

}  // namespace
}  // namespace marlet
