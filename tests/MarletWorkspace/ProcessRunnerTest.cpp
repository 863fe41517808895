#include "MarletWorkspace/ProcessRunner.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <system_error>
#include <thread>

#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/PrintedCommand.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

Command shell(std::string script) {
    return {.executable = "/bin/sh", .arguments = {"-c", std::move(script)}};
}

// Commands leave their files in a folder of the test's own, which shows what stays behind.
class ProcessRunnerTest : public testing::Test {
protected:
    std::vector<std::filesystem::path> leftBehind() const {
        return {std::filesystem::directory_iterator(folder.path()), std::filesystem::directory_iterator()};
    }

    std::string failureOf(const Command& command) const {
        try {
            runner.run(command);
        } catch (const std::system_error& error) {
            return error.what();
        }
        return "(none)";
    }

    TemporaryFolder folder;
    EnvironmentVariable temporary{"TMPDIR", folder.path().string()};
    ProcessRunner runner;
};

TEST_F(ProcessRunnerTest, aCommandsOutputItsErrorsAndItsStatusComeBack) {
    CommandResult result = runner.run(shell("echo said; echo complained >&2; exit 3"));

    EXPECT_EQ(result, (CommandResult{3, "said\n", "complained\n", false}));
}

TEST_F(ProcessRunnerTest, argumentsArriveAsTheyAre) {
    Command command{.executable = "/usr/bin/printf", .arguments = {"[%s]", "", "two words", "$HOME", "grün"}};

    EXPECT_EQ(runner.run(command).output, "[][two words][$HOME][grün]");
}

TEST_F(ProcessRunnerTest, aCommandEndedByASignalHasTheSignalsNumber) {
    CommandResult result = runner.run(shell("kill -KILL $$"));

    EXPECT_EQ(result.status, SIGKILL);
    EXPECT_FALSE(result.timedOut);
}

TEST_F(ProcessRunnerTest, moreThanAPipeHoldsIsWrittenWithoutAReader) {
    Command command = shell("head -c 3000000 /dev/zero; head -c 2000000 /dev/zero >&2");

    CommandResult result = runner.run(command);

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.size(), 3'000'000);
    EXPECT_EQ(result.errorOutput.size(), 2'000'000);
}

TEST_F(ProcessRunnerTest, aGigabyteOfOutputIsReadAndNothingOfItStays) {
    constexpr size_t gigabyte = size_t{1} << 30;
    Command command = shell("dd if=/dev/zero bs=1M count=1024 status=none && echo end");
    command.timeout = 600;
    CommandResult result = runner.run(command);

    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(result.output.size(), gigabyte + 4);
    EXPECT_EQ(result.output.substr(gigabyte), "end\n");
    EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(ProcessRunnerTest, outputThatIsNotUTF8CountsAsNone) {
    EXPECT_EQ(runner.run(shell(R"(printf 'gr\374n'; printf 'gr\303\274n' >&2)")),
              (CommandResult{0, "", "grün", false}));
    EXPECT_EQ(runner.run(shell(R"(printf 'gr\303\274n'; printf 'gr\303' >&2)")), (CommandResult{0, "grün", "", false}));
}

TEST_F(ProcessRunnerTest, outputThatTheCommandRemovedCountsAsNone) {
    CommandResult result = runner.run(shell("echo lost; echo kept >&2; rm $(readlink /proc/$$/fd/1)"));

    EXPECT_EQ(result, (CommandResult{0, "", "kept\n", false}));
}

TEST_F(ProcessRunnerTest, aCommandFindsNoInput) {
    EXPECT_EQ(runner.run({.executable = "/bin/cat"}), CommandResult{});
    EXPECT_EQ(runner.run(shell("readlink /proc/self/fd/0")).output, "/dev/null\n");
}

TEST_F(ProcessRunnerTest, aCommandRunsInItsFolderOrElseInItsParents) {
    Command there{.executable = "/bin/pwd", .folder = "/usr/bin"};

    EXPECT_EQ(runner.run(there).output, "/usr/bin\n");
    EXPECT_EQ(runner.run({.executable = "/bin/pwd"}).output, std::filesystem::current_path().string() + "\n");
}

TEST_F(ProcessRunnerTest, theEnvironmentIsTheParentsWithWhatTheCallerChanges) {
    EnvironmentVariable inherited("MARLET_INHERITED", "from the parent");
    EnvironmentVariable replaced("MARLET_REPLACED", "from the parent");
    Command command = shell(R"(echo "$MARLET_INHERITED, $MARLET_REPLACED, $MARLET_ADDED")");
    command.environment = {{"MARLET_REPLACED", "from the caller"}, {"MARLET_ADDED", "a=b"}};

    EXPECT_EQ(runner.run(command).output, "from the parent, from the caller, a=b\n");
}

TEST_F(ProcessRunnerTest, extraFoldersComeBehindTheInheritedPath) {
    EnvironmentVariable path("PATH", "/usr/bin:/bin");
    ProcessRunner extended({"/home/ada/.local/bin", "/usr/bin"});

    EXPECT_EQ(extended.run(shell("echo $PATH")).output, "/usr/bin:/bin:/home/ada/.local/bin:/usr/bin\n");
    EXPECT_EQ(runner.run(shell("echo $PATH")).output, "/usr/bin:/bin\n");
}

TEST_F(ProcessRunnerTest, aParentWithoutAPathGivesCommandsTheStandardOne) {
    EnvironmentVariable path("PATH", std::nullopt);
    ProcessRunner extended({"/opt/homebrew/bin"});

    EXPECT_EQ(extended.run({.executable = "/usr/bin/printenv", .arguments = {"PATH"}}).output,
              "/usr/bin:/bin:/usr/sbin:/sbin:/opt/homebrew/bin\n");
}

TEST_F(ProcessRunnerTest, aPathOfTheCallersReplacesTheExtendedOneEntirely) {
    ProcessRunner extended({"/opt/homebrew/bin"});
    Command command{.executable = "/usr/bin/printenv", .arguments = {"PATH"}, .environment = {{"PATH", "/only"}}};

    EXPECT_EQ(extended.run(command).output, "/only\n");
}

TEST_F(ProcessRunnerTest, theFilesAreForTheUserAlone) {
    Command command = shell(R"(out=$(readlink /proc/$$/fd/1); err=$(readlink /proc/$$/fd/2)
        echo $out; echo $err; stat -c %a $out $err $(dirname $out))");
    command.environment = {{"PATH", "/usr/bin:/bin"}};
    mode_t previous = ::umask(0);
    CommandResult result = runner.run(command);
    ::umask(previous);

    std::string hex = "[0-9A-F]";
    std::string uuid = hex + "{8}(-" + hex + "{4}){3}-" + hex + "{12}";
    std::string run = folder.path().string() + "/marlet-run-(" + uuid + ")";
    std::smatch match;
    ASSERT_TRUE(std::regex_match(result.output, match, std::regex(run + "/out\n" + run + "/err\n600\n600\n700\n")))
        << result.output;
    EXPECT_EQ(match[1], match[3]);
}

TEST_F(ProcessRunnerTest, nothingStaysBehindANormalRun) {
    runner.run(shell("echo said; echo complained >&2"));
    EXPECT_THAT(leftBehind(), IsEmpty());

    runner.run(shell("touch $(dirname $(readlink /proc/$$/fd/1))/more"));
    EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(ProcessRunnerTest, aCommandThatCannotBeStartedIsNamedAndLeavesNothingBehind) {
    std::ofstream(folder.path() / "text") << "not a program";
    std::string text = (folder.path() / "text").string();

    EXPECT_EQ(failureOf({.executable = "/missing/git"}), "Couldn't start /missing/git: No such file or directory");
    EXPECT_EQ(failureOf({.executable = text}), "Couldn't start " + text + ": Permission denied");
    EXPECT_THAT(leftBehind(), SizeIs(1));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(ProcessRunnerTest, aFolderThatIsMissingIsNamed) {
    Command command{.executable = "/bin/pwd", .folder = "/missing/folder"};
    EXPECT_EQ(failureOf(command), "Couldn't start /bin/pwd in /missing/folder: No such file or directory");

    command.folder = "/bin/pwd";
    EXPECT_EQ(failureOf(command), "Couldn't start /bin/pwd in /bin/pwd: Not a directory");

    command = {.executable = "/missing/git", .folder = "/"};
    EXPECT_EQ(failureOf(command), "Couldn't start /missing/git: No such file or directory");
    EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(ProcessRunnerTest, aTextThatTheSystemWouldCutIsRefused) {
    using std::string_literals::operator""s;
    std::string cut = "a\0b"s;

    EXPECT_EQ(failureOf({.executable = "/bin/echo", .arguments = {cut}}), "Couldn't start /bin/echo: Invalid argument");
    EXPECT_THAT(failureOf({.executable = "/bin/echo\0b"s}), HasSubstr("Invalid argument"));
    EXPECT_THAT(failureOf({.executable = "/bin/echo", .folder = "/\0b"s}), HasSubstr("Invalid argument"));
    EXPECT_THAT(failureOf({.executable = "/bin/echo", .environment = {{"NAME", cut}}}), HasSubstr("Invalid argument"));
}

TEST_F(ProcessRunnerTest, aTemporaryFolderThatIsMissingIsMade) {
    EnvironmentVariable deeper("TMPDIR", (folder.path() / "a/b").string());

    EXPECT_EQ(runner.run(shell("dirname $(dirname $(readlink /proc/$$/fd/1))")).output,
              (folder.path() / "a/b").string() + "\n");
}

TEST_F(ProcessRunnerTest, withoutATemporaryFolderOfTheUsersItIsTheSystems) {
    for (const std::optional<std::string>& none : {std::optional<std::string>(), std::optional<std::string>("")}) {
        EnvironmentVariable variable("TMPDIR", none);

        EXPECT_THAT(runner.run(shell("readlink /proc/self/fd/1")).output, StartsWith("/tmp/marlet-run-"));
    }
}

TEST_F(ProcessRunnerTest, aTemporaryFolderThatCannotBeMadeIsAnError) {
    EnvironmentVariable variable("TMPDIR", "/dev/null/folder");

    EXPECT_THAT(failureOf(shell("true")),
                MatchesRegex("Couldn't create /dev/null/folder/marlet-run-[-0-9A-F]+: Not a directory"));
}

TEST_F(ProcessRunnerTest, aCommandBeginsOnlyWhereThereIsAThreadToWaitForIt) {
    std::string touched = (folder.path() / "touched").string();
    pthread_attr_t usual{};
    ::pthread_getattr_default_np(&usual);
    pthread_attr_t huge = usual;
    ::pthread_attr_setstacksize(&huge, size_t{1} << 50);  // there are no such threads
    ::pthread_setattr_default_np(&huge);
    std::string failure = failureOf({.executable = "/usr/bin/touch", .arguments = {touched}});
    ::pthread_setattr_default_np(&usual);

    EXPECT_EQ(failure, "Couldn't start /usr/bin/touch: Resource temporarily unavailable");
    EXPECT_THAT(leftBehind(), IsEmpty());
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(ProcessRunnerTest, noDescriptorOfTheParentsIsOpenInTheCommand) {
    int inherited = ::open("/dev/null", O_RDONLY);  // NOT close-on-exec, on purpose
    int high = ::fcntl(inherited, F_DUPFD, 200);

    CommandResult result = runner.run({.executable = "/bin/ls", .arguments = {"/proc/self/fd"}});
    ::close(inherited);
    ::close(high);

    // The fourth is the folder that is listed.
    EXPECT_EQ(result.output, "0\n1\n2\n3\n");
}

TEST_F(ProcessRunnerTest, signalsThatTheParentIgnoresOrBlocksReachTheCommand) {
    auto previous = ::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked{};
    sigset_t usual{};
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &usual);
    Command command{.executable = "/bin/sed", .arguments = {"-nE", "s/^Sig(Blk|Ign):\t//p", "/proc/self/status"}};
    std::istringstream masks(runner.run(command).output);
    ::pthread_sigmask(SIG_SETMASK, &usual, nullptr);
    static_cast<void>(::signal(SIGPIPE, previous));

    // Two more are the C library's own, which ignores them in every program.
    constexpr uint64_t everybodys = 0x7FFF'FFFF;
    uint64_t blockedThere = 1;
    uint64_t ignoredThere = 1;
    masks >> std::hex >> blockedThere >> ignoredThere;
    EXPECT_TRUE(masks);
    EXPECT_EQ(blockedThere, 0);
    EXPECT_EQ(ignoredThere & everybodys, 0);
}

TEST_F(ProcessRunnerTest, anEndThatTheSystemDoesNotTellIsNoSuccess) {
    auto previous = ::signal(SIGCHLD, SIG_IGN);
    std::string failure = failureOf({.executable = "/bin/true"});
    static_cast<void>(::signal(SIGCHLD, previous));

    EXPECT_EQ(failure, "Couldn't learn how a command ended: No child processes");
    EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(ProcessRunnerTest, aProcessWithoutStandardDescriptorsRunsCommandsToo) {
    auto runWithout = [this](int descriptor) {
        if (descriptor <= STDIN_FILENO) {
            ::close(STDIN_FILENO);
        }
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        CommandResult result = runner.run(shell("cat; echo said; echo complained >&2"));
        ::_exit(result == CommandResult{0, "said\n", "complained\n", false} ? 0 : 1);
    };
    EXPECT_EXIT(runWithout(STDIN_FILENO), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(runWithout(STDOUT_FILENO), testing::ExitedWithCode(0), "");
}

TEST_F(ProcessRunnerTest, manyCallsAtOnceKeepApart) {
    constexpr int threadCount = 8;
    constexpr int callCount = 20;
    std::vector<std::string> answers(threadCount);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int call = 0; call < callCount; ++call) {
                std::string number = std::to_string(thread * callCount + call);
                CommandResult result = runner.run(shell("echo " + number + "; echo e" + number + " >&2"));
                bool isOwn = result == CommandResult{0, number + "\n", "e" + number + "\n", false};
                answers.at(static_cast<size_t>(thread)) += isOwn ? "" : result.output + result.errorOutput;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(answers, testing::Each(""));
    EXPECT_THAT(leftBehind(), IsEmpty());
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

}  // namespace
}  // namespace marlet
