#include <gmock/gmock.h>

#include "RemoteScenario.h"
#include "TerminalSession.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::Not;
using Way = RemoteScenario::Way;

class RemoteProgressTest : public testing::TestWithParam<Way> {};

INSTANTIATE_TEST_SUITE_P(BothWays, RemoteProgressTest, testing::Values(Way::withDaemon, Way::inOwnProcess),
                         [](const auto& info) {
                             return info.param == Way::withDaemon ? "withDaemon" : "inOwnProcess";
                         });

TEST_P(RemoteProgressTest, aTerminalIsToldWhichProjectIsRead) {
    RemoteScenario remote(FakeForgeKind::forgejo, GetParam());
    remote.addAccount({"all"});
    auto gate = std::make_shared<FakeGate>();
    remote.forge.fail("GET /repos/acme/rocket/issues", FakeFailure::held(gate));

    TerminalSession session(remote.client.commandLine({"sync", "--account", "Work"}), remote.client.environment);
    EXPECT_TRUE(session.waitFor("Reading acme/rocket … 1 of 2 projects")) << session.screen;
    gate->open();
    EXPECT_EQ(session.wait(), 0) << session.screen;
    EXPECT_THAT(session.screen, testing::EndsWith("\r\x1b[KEverything is in step.\r\n"));
}

TEST_P(RemoteProgressTest, theServersSilenceIsToldWhileItIsAskedForItsProjects) {
    RemoteScenario remote(FakeForgeKind::forgejo, GetParam());
    auto gate = std::make_shared<FakeGate>();
    remote.forge.fail("GET /user/repos", FakeFailure::held(gate));
    ClientScenario::Arguments line = remote.addition();
    line.pop_back();
    TerminalSession session(remote.client.commandLine(line), remote.client.environment);
    ASSERT_TRUE(session.waitFor("Access token for Work: "));
    session.type(RemoteScenario::token + "\n");
    EXPECT_TRUE(session.waitFor("Asking the server for its projects … ")) << session.screen;
    gate->open();
    EXPECT_EQ(session.wait(), 0) << session.screen;
    EXPECT_THAT(session.screen, Not(HasSubstr(RemoteScenario::token)));
}

}  // namespace
}  // namespace marlet
