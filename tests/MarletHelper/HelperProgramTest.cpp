// The program itself: how it starts, and what it answers.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <future>
#include <set>

#include "HelperScenario.h"
#include "MarletHelper/HelperOptions.h"
#include "MarletHelper/HelperSurroundings.h"
#include "MarletIPC/LineProtocol.h"
#include "MarletWorkspace/ResolvedPath.h"
#include "TestSupport/EnvironmentVariable.h"

namespace marlet {
namespace {

const ToolSettings noTools{GitChoice::custom, "/nowhere/git", "/nowhere/claude"};

using HelperProgramTest = HelperScenario;

TEST_F(HelperProgramTest, aRequestIsCarriedOutForTheUsersHome) {
    auto helper = start();
    HelperReply reply = ask(HelperRequest{HelperRequest::RegisterCopilotMCP{"http://127.0.0.1:4711/mcp", "secret"}});
    EXPECT_EQ(reply, HelperReply{HelperReply::Done{}});
    EXPECT_TRUE(std::filesystem::exists(home / ".copilot" / "mcp-config.json"));
}

TEST_F(HelperProgramTest, everyRequestOfASessionIsAnsweredInOrder) {
    auto helper = start();
    LineClient client = connect();
    for (int number = 0; number < 5; ++number) {
        ToolSettings settings{GitChoice::custom, "/nowhere/" + std::to_string(number), "/nowhere/claude"};
        EXPECT_EQ(client.ask(HelperRequest{HelperRequest::LocateTools{settings}}.line()),
                  R"({"tools":{"_0":{"gitError":"/nowhere/)" + std::to_string(number) +
                      R"( isn't an executable file.","claudeError":"/nowhere/claude isn't an executable file."}}})");
    }
}

TEST_F(HelperProgramTest, theReportOfAMachineWithoutToolsHasNothingButErrors) {
    auto helper = start();
    HelperReply reply = ask(HelperRequest{HelperRequest::LocateTools{noTools}});
    ToolReport wanted;
    wanted.gitError = "/nowhere/git isn't an executable file.";
    wanted.claudeError = "/nowhere/claude isn't an executable file.";
    EXPECT_EQ(reply, HelperReply{HelperReply::Tools{wanted}});
}

TEST_F(HelperProgramTest, itFindsWhatThisMachineHas) {
    auto helper = start();
    EnvironmentVariable own("HOME", home.string());
    ToolReport wanted = liveCheckoutService().locateTools({});
    EXPECT_EQ(ask(HelperRequest{HelperRequest::LocateTools{}}), HelperReply{HelperReply::Tools{wanted}});
}

TEST_F(HelperProgramTest, installingTheCommandLineToolsFailsWhereNothingCanBeStarted) {
    auto helper = start();
    HelperReply reply = ask(HelperRequest{HelperRequest::InstallCommandLineTools{}});
    const auto* failure = std::get_if<HelperReply::Failure>(&reply.value);
    ASSERT_TRUE(failure);
    EXPECT_FALSE(failure->message.empty());
}

TEST_F(HelperProgramTest, aTildeAloneInspectsTheHomeFolder) {
    ASSERT_EQ(runChild({"git", "init", "-q", home.string()}).status, 0);
    ASSERT_EQ(
        runChild({"git", "-C", home.string(), "remote", "add", "origin", "git@forge.example:ada/home.git"}).status, 0);
    auto helper = start();
    RepositoryCoordinates repository("forge.example", std::nullopt, "ada", "home");
    HelperRequest request{HelperRequest::InspectCheckout{"~", repository, {GitChoice::custom, "/usr/bin/git", ""}}};
    EXPECT_EQ(ask(request), (HelperReply{HelperReply::Checkout{{resolvedPath(home.string()), false, std::nullopt}}}));
}

TEST_F(HelperProgramTest, whatIsNoRequestEndsItsSessionAndNothingElse) {
    auto helper = start();
    LineClient other = connect();
    for (const char* line :
         {R"({"done":{}})", "{}", "", "[", "\xFF", R"({"locateTools":{"_0":{}},"openInCopilot":{"path":"x"}})"}) {
        LineClient client = connect();
        EXPECT_TRUE(client.ask(line).value_or("").starts_with(R"({"transportError":{"message":")")) << line;
        EXPECT_EQ(client.ask(HelperRequest{HelperRequest::LocateTools{noTools}}.line()), std::nullopt);
    }
    EXPECT_EQ(ask(std::string(maximumLineLength + 1, '{')),
              R"({"transportError":{"message":"The request is too long."}})");
    EXPECT_TRUE(other.ask(HelperRequest{HelperRequest::LocateTools{noTools}}.line())->starts_with(R"({"tools":)"));
}

TEST_F(HelperProgramTest, aClientThatDoesNotWaitForItsAnswerHarmsNobody) {
    auto helper = start();
    NamedPipe started(folder.path() / "started");
    NamedPipe gate(folder.path() / "gate");
    std::string commands = "cd '" + folder.path().string() + "'\necho x > started\nread line < gate\necho late";
    ToolSettings slow{GitChoice::custom, "/nowhere/git", script("slow", commands).string()};
    int gone = sendOnly(HelperRequest{HelperRequest::LocateTools{slow}}.line());
    EXPECT_EQ(started.readLine(), "x");
    ::close(gone);
    gate.write("\n");
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
}

TEST_F(HelperProgramTest, moreSessionsThanItHasThreadsAreAllAnswered) {
    constexpr int busy = 8;
    constexpr int sessions = busy + 4;
    NamedPipe started(folder.path() / "started");
    NamedPipe gate(folder.path() / "gate");
    auto helper = start();
    ToolSettings slow{
        GitChoice::custom, "/nowhere/git",
        script("slow", "cd '" + folder.path().string() + "'\necho $$ > started\nread line < gate\necho $$").string()};
    std::vector<std::future<HelperReply>> replies;
    for (int number = 0; number < sessions; ++number) {
        replies.push_back(
            std::async(std::launch::async, [&] { return ask(HelperRequest{HelperRequest::LocateTools{slow}}); }));
    }
    std::set<std::string> processes;
    for (int number = 0; number < busy; ++number) {
        processes.insert(started.readLine());
    }
    EXPECT_EQ(processes.size(), static_cast<size_t>(busy));
    gate.write(std::string(sessions, '\n'));
    std::set<std::string> printed;
    for (auto& reply : replies) {
        printed.insert(std::get<HelperReply::Tools>(reply.get().value).report.claudeVersion.value_or("(none)"));
    }
    EXPECT_EQ(printed.size(), static_cast<size_t>(sessions));
    EXPECT_EQ(printed.count("(none)"), 0U);
}

TEST_F(HelperProgramTest, itsCommandsAreNotTiedToTheRepositoryThatItWasStartedFrom) {
    auto helper = start({"GIT_DIR=/elsewhere/.git", "GIT_INDEX_FILE=/elsewhere/index", "GIT_WORK_TREE=/elsewhere",
                         "GIT_CONFIG_COUNT=1", "GIT_CONFIG_KEY_0=a.b", "GIT_CONFIG_VALUE_0=c"});
    EXPECT_EQ(whatClaudePrints("echo \"$GIT_DIR|$GIT_INDEX_FILE|$GIT_WORK_TREE|$GIT_CONFIG_COUNT|$GIT_CONFIG_KEY_0\""),
              "|||1|a.b");
}

TEST_F(HelperProgramTest, itsCommandsFindTheUsersTools) {
    auto helper = start({"PATH=/usr/bin:/bin"});
    EXPECT_EQ(whatClaudePrints("echo $PATH"),
              "/usr/bin:/bin:" + home.string() + "/.local/bin:/opt/homebrew/bin:/usr/local/bin");
}

TEST_F(HelperProgramTest, itsCommandsInheritNoneOfItsDescriptors) {
    auto helper = start();
    LineClient other = connect();
    EXPECT_EQ(whatClaudePrints("ls -m /proc/$$/fd"), scriptDescriptors);
}

TEST_F(HelperProgramTest, itLearnsTheEndsOfItsCommandsAlsoWhereItsStarterIgnoresThem) {
    auto helper = launch({"/usr/bin/env", "--ignore-signal=CHLD", helperProgram, "--socket", socket.string()});
    ASSERT_TRUE(listens(socket));
    EXPECT_EQ(whatClaudePrints("echo done"), "done");
}

TEST_F(HelperProgramTest, theFolderItWasStartedInMayGo) {
    std::filesystem::create_directory(folder.path() / "start");
    auto helper = launch({"/bin/sh", "-c", "cd \"$1\" && exec \"$2\" --socket ../helper.sock", "sh",
                          (folder.path() / "start").string(), helperProgram});
    ASSERT_TRUE(listens(socket));
    std::filesystem::remove(folder.path() / "start");
    EXPECT_EQ(whatClaudePrints("pwd"), "/");
}

TEST_F(HelperProgramTest, aReaderThatGoesDoesNotEndIt) {
    auto helper = start();
    std::ifstream status("/proc/" + std::to_string(helper->pid()) + "/status");
    std::string text(std::istreambuf_iterator<char>(status), {});
    size_t ignored = text.find("SigIgn:");
    ASSERT_NE(ignored, std::string::npos);
    unsigned long mask = std::stoul(text.substr(ignored + 7), nullptr, 16);
    EXPECT_TRUE((mask >> (SIGPIPE - 1) & 1) == 1);
}

TEST_F(HelperProgramTest, withoutASocketOptionItListensWhereTheSessionLooks) {
    auto helper = launch({helperProgram});
    EXPECT_TRUE(listens(folder.path() / "io.tolvane.Marlet.Helper.sock"));
}

TEST_F(HelperProgramTest, withoutASessionItAsksForTheSocket) {
    ChildOutcome outcome = runToEnd({helperProgram}, {"XDG_RUNTIME_DIR="});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "MarletHelper couldn't listen: XDG_RUNTIME_DIR isn't set. Name the socket with --socket PATH.\n");
}

TEST_F(HelperProgramTest, wrongArgumentsAreToldWithTheRightOnes) {
    ChildOutcome outcome = runToEnd({helperProgram, "--port", "7"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, std::string("MarletHelper: The argument \"--port\" isn't known.\n") + helperUsage + "\n");
    EXPECT_EQ(outcome.output, "");
}

TEST_F(HelperProgramTest, helpIsNoError) {
    ChildOutcome outcome = runToEnd({helperProgram, "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, std::string(helperUsage) + "\n");
}

TEST_F(HelperProgramTest, itsSocketIsTheUsersAlone) {
    auto helper = launch({"/bin/sh", "-c", "umask 0; exec \"$@\"", "sh", helperProgram, "--socket", socket.string()});
    ASSERT_TRUE(listens(socket));
    struct stat info {};
    ASSERT_EQ(::lstat(socket.c_str(), &info), 0);
    EXPECT_TRUE(S_ISSOCK(info.st_mode));
    EXPECT_EQ(info.st_mode & 07777, 0600U);
}

TEST_F(HelperProgramTest, theSocketOfAKilledHelperIsTakenOver) {
    start()->send(SIGKILL);
    ASSERT_TRUE(std::filesystem::exists(socket));
    auto helper = start();
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
}

TEST_F(HelperProgramTest, aSecondHelperIsRefusedAndTheFirstGoesOn) {
    auto first = start();
    ChildOutcome second = runToEnd({helperProgram, "--socket", socket.string()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors,
              "MarletHelper couldn't listen: Another process already answers at " + socket.string() + ".\n");
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
}

TEST_F(HelperProgramTest, aSocketThatCannotBeMadeIsTold) {
    std::string path = (folder.path() / "missing" / "s").string();
    ChildOutcome outcome = runToEnd({helperProgram, "--socket", path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "MarletHelper couldn't listen: The file " + path + " can't be used: No such file or directory.\n");
}

}  // namespace
}  // namespace marlet
