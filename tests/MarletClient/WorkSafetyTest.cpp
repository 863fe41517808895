// What marlet work must not do, whatever happens: show a token, or leave something running.
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>

#include "MarletBase/Base64.h"
#include "TerminalSession.h"
#include "TestSupport/Await.h"
#include "WorkScenario.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Every file of the folder that holds the text.
std::vector<std::string> filesWith(const std::filesystem::path& folder, const std::string& text) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && contentOf(entry.path()).find(text) != std::string::npos) {
            found.push_back(entry.path().filename().string());
        }
    }
    return found;
}

// A scenario whose git writes down its environment, and whose repository is on the account's own server.
class TokenScenario : public WorkScenario {
public:
    explicit TokenScenario(bool isOwnServer) {
        if (isOwnServer) {
            std::string host = server->url().substr(server->url().find("//") + 2);
            std::string https = "https://" + host + "/";
            std::string ssh = "git@" + host.substr(0, host.find(':')) + ":";
            changeRepository([&](FakeRepository& repository) {
                repository.pageURL = https + "acme/rocket";
                repository.cloneURL = https + "acme/rocket.git";
                repository.sshURL = ssh + "acme/rocket.git";
            });
            std::string key = "url.file://" + git.bare("acme").parent_path().string() + "/.insteadOf";
            GitFixture::git(git.folder(), {"config", "--global", "--add", key, https});
            GitFixture::git(git.folder(), {"config", "--global", "--add", key, ssh});
        }
        addAccount();
        addProgram("git", "tr '\\0' '\\n' < /proc/self/environ >> '" + environmentRecord().string() +
                              "'; exec /usr/bin/git \"$@\"");
        std::filesystem::create_symlink("/usr/bin/tr", tools() / "tr");
    }

    std::filesystem::path environmentRecord() const { return git.folder() / "environment"; }
    std::string encodedToken() const { return base64("x-access-token:" + token); }
};

TEST(WorkSafetyTest, theTokenReachesGitByItsEnvironmentAlone) {
    TokenScenario scenario(true);

    ChildOutcome outcome = scenario.client.run(WorkScenario::named("", 1));

    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(contentOf(scenario.environmentRecord()),
                HasSubstr("GIT_CONFIG_VALUE_0=Authorization: Basic " + scenario.encodedToken()));
    for (const std::string& secret : {WorkScenario::token, scenario.encodedToken()}) {
        EXPECT_THAT(outcome.output + outcome.errors, Not(HasSubstr(secret)));
        EXPECT_THAT(scenario.record("git"), Not(Contains(HasSubstr(secret))));
        EXPECT_THAT(filesWith(scenario.home(), secret), IsEmpty());
    }
    // Where the tokens themselves are kept, they are so in a form of their own.
    EXPECT_THAT(filesWith(scenario.client.data, WorkScenario::token), IsEmpty());
    EXPECT_THAT(filesWith(scenario.client.data, scenario.encodedToken()), IsEmpty());
}

TEST(WorkSafetyTest, noOtherServerSeesTheToken) {
    TokenScenario scenario(false);
    scenario.work(1);
    EXPECT_THAT(contentOf(scenario.environmentRecord()), HasSubstr("GIT_TERMINAL_PROMPT=0"));
    EXPECT_THAT(contentOf(scenario.environmentRecord()), Not(HasSubstr(scenario.encodedToken())));
    EXPECT_THAT(contentOf(scenario.environmentRecord()), Not(HasSubstr("GIT_CONFIG_COUNT")));
}

TEST(WorkSafetyTest, sshSeesNoToken) {
    TokenScenario scenario(true);
    scenario.work(1, {"--ssh"});
    EXPECT_THAT(scenario.record("git"), Contains(HasSubstr("clone -- git@127.0.0.1:acme/rocket.git ")));
    EXPECT_THAT(contentOf(scenario.environmentRecord()), Not(HasSubstr(scenario.encodedToken())));
}

TEST(WorkSafetyTest, whenTheCommandHasEndedNothingRuns) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1);
    EXPECT_THAT(scenario.processes(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(scenario.client.data / "helper"));
}

// A scenario whose clones take longer than anybody waits, and their time to remove what they have done half: as git
// does it, who asks twice for an end gets it at once.
class SlowScenario : public WorkScenario {
public:
    explicit SlowScenario(Way way = Way::inOwnProcess,
                          const std::string& end = "trap - TERM; sleep 1; /bin/rm -rf \"$target\"; exit 1")
        : WorkScenario(way) {
        addAccount();
        addProgram("git",
                   "case \"$*\" in *clone*) for target; do :; done; /bin/mkdir -p \"$target/.git\"; trap '" + end +
                       "' TERM; : > '" + mark().string() +
                       "'; /usr/bin/tail -f /dev/null & wait; /bin/rm -rf \"$target\"; esac; exec /usr/bin/git \"$@\"");
    }

    std::unique_ptr<ChildProcess> startUntilTheClone() {
        std::unique_ptr<ChildProcess> command = client.start(named("", 1));
        EXPECT_TRUE(awaitFile(mark()));
        return command;
    }
    // With the scripts out of the way that make it slow.
    void endSlowness() {
        removeProgram("git");
        std::filesystem::create_symlink("/usr/bin/git", tools() / "git");
    }
    std::filesystem::path mark() const { return git.folder() / "cloning"; }
};

TEST(WorkSafetyTest, aCommandThatIsKilledAmidACloneLeavesNothingRunning) {
    SlowScenario scenario;
    auto command = scenario.startUntilTheClone();
    command->send(SIGKILL);
    EXPECT_EQ(command->wait(), -SIGKILL);
    // The rest is the scenario's own end: it waits until nothing is left.
}

TEST(WorkSafetyTest, aCommandThatIsInterruptedAmidACloneCanBeRepeated) {
    SlowScenario scenario;
    auto command = scenario.startUntilTheClone();
    command->send(SIGINT);
    EXPECT_EQ(command->wait(), -SIGINT);
    scenario.endSlowness();
    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");
}

TEST(WorkSafetyTest, aCommandThatIsKilledTwiceInASecondCanBeRepeated) {
    SlowScenario scenario;
    auto first = scenario.startUntilTheClone();
    first->send(SIGKILL);
    first->wait();
    auto second = scenario.client.start(WorkScenario::named("", 1));
    second->send(SIGKILL);
    second->wait();
    ASSERT_TRUE(std::filesystem::exists(scenario.checkout()));
    scenario.endSlowness();
    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");
}

TEST(WorkSafetyTest, aTerminalIsToldWhatTakesSoLong) {
    for (WorkScenario::Way way : {WorkScenario::Way::inOwnProcess, WorkScenario::Way::withDaemon}) {
        SlowScenario scenario(way);
        TerminalSession session(scenario.client.commandLine(WorkScenario::named("", 1)), scenario.client.environment);
        EXPECT_TRUE(session.waitFor("Cloning acme/rocket … ")) << session.screen;
        for (int slow : scenario.processesNamed("tail")) {
            ::kill(slow, SIGKILL);
        }
        EXPECT_EQ(session.wait(), 0) << session.screen;
    }
}

TEST(WorkSafetyTest, aDaemonThatStopsEndsTheCloneAndSaysSo) {
    SlowScenario scenario(WorkScenario::Way::withDaemon);
    auto command = scenario.startUntilTheClone();
    auto start = std::chrono::steady_clock::now();
    scenario.stopDaemon();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(9));
    EXPECT_EQ(command->wait(), 1);
    EXPECT_EQ(command->errors, "marlet: Marlet was stopped before the work was done. Try again once it runs.\n");
}

TEST(WorkSafetyTest, aDaemonStartsItsHelperAgainWhenThatHasGone) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.work(1);
    std::vector<int> helpers = scenario.helpers();
    ASSERT_EQ(helpers.size(), 1U);
    ::kill(helpers[0], SIGKILL);

    EXPECT_EQ(textOf(scenario.work(2), "branch"), "marlet/2-paint-the-fins");

    EXPECT_EQ(scenario.helpers().size(), 1U);
    EXPECT_THAT(scenario.helpers(), Not(Contains(helpers[0])));
}

TEST(WorkSafetyTest, aHelperThatDiesAmidItsWorkIsTold) {
    SlowScenario scenario(WorkScenario::Way::withDaemon);
    auto command = scenario.startUntilTheClone();
    for (int helper : scenario.helpers()) {
        ::kill(helper, SIGKILL);
    }
    EXPECT_EQ(command->wait(), 1);
    EXPECT_EQ(command->errors, "marlet: The helper ended before it answered. Try again.\n");
    scenario.endSlowness();
    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");
    EXPECT_THAT(scenario.processesNamed("tail"), IsEmpty());
}

TEST(WorkSafetyTest, whatAHelperRanEndsWithACommandWhoseHelperWasKilled) {
    SlowScenario scenario(WorkScenario::Way::inOwnProcess, "");  // which lets nobody ask for an end
    auto command = scenario.startUntilTheClone();
    for (int helper : scenario.helpers()) {
        ::kill(helper, SIGKILL);
    }
    EXPECT_EQ(command->wait(), 1);
    EXPECT_THAT(scenario.processes(), IsEmpty());
}

// The program with another helper beside it, or none.
class OtherHelperScenario : public WorkScenario {
public:
    explicit OtherHelperScenario(const std::string& script) {
        addAccount();
        std::filesystem::copy_file(MARLET_PROGRAM, bin() / "marlet");
        if (!script.empty()) {
            std::ofstream(bin() / "MarletHelper") << "#!/bin/sh\n" << script << "\n";
            std::filesystem::permissions(bin() / "MarletHelper", std::filesystem::perms::owner_all);
        }
    }

    std::string failure() {
        ClientScenario::Arguments line = client.commandLine(named("", 1));
        line[0] = (bin() / "marlet").string();
        ChildOutcome outcome = runChild(line, "", client.environment);
        EXPECT_EQ(outcome.status, 1);
        return outcome.errors;
    }

private:
    std::filesystem::path bin() const {
        std::filesystem::create_directories(git.folder() / "bin");
        return git.folder() / "bin";
    }
};

TEST(WorkSafetyTest, aMissingHelperIsTold) {
    EXPECT_EQ(OtherHelperScenario("").failure(),
              "marlet: MarletHelper wasn't found. It belongs beside marlet, or on the PATH: install Marlet again.\n");
}

TEST(WorkSafetyTest, aHelperThatCannotStartSaysWhy) {
    EXPECT_EQ(OtherHelperScenario("echo 'MarletHelper could not listen: no room' >&2; exit 1").failure(),
              "marlet: The helper ended as soon as it was started. MarletHelper could not listen: no room\n");
}

TEST(WorkSafetyTest, aHelperThatCannotBeRunIsNamed) {
    OtherHelperScenario scenario("");
    scenario.addProgram("MarletHelper", "");
    std::filesystem::path helper = scenario.tools() / "MarletHelper";
    std::ofstream(helper) << "#!/nowhere/at/all\n";

    EXPECT_EQ(scenario.failure(),
              "marlet: The helper " + helper.string() + " can't be started: No such file or directory.\n");
}

TEST(WorkSafetyTest, theHelperBesideMarletGoesFirst) {
    OtherHelperScenario scenario("echo 'Beside.' >&2; exit 1");
    scenario.addProgram("MarletHelper", "echo 'On the PATH.' >&2; exit 1");
    EXPECT_THAT(scenario.failure(), HasSubstr("Beside."));
}

TEST(WorkSafetyTest, theHelperOnThePathIsTakenWhenNoneIsBesideMarlet) {
    OtherHelperScenario scenario("");
    scenario.addProgram("MarletHelper", "echo 'That is me.' >&2; exit 1");
    EXPECT_THAT(scenario.failure(), HasSubstr("That is me."));
    EXPECT_THAT(scenario.record("MarletHelper"),
                ElementsAre("--socket " + (scenario.client.data / "helper").string() + " --until-input-ends"));
}

}  // namespace
}  // namespace marlet
