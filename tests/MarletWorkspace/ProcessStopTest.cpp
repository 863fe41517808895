#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <functional>
#include <limits>
#include <system_error>
#include <thread>

#include "MarletWorkspace/ProcessRunner.h"
#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/PrintedCommand.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// A named pipe that processes hold open for writing: tells when one is there, and when the last one is gone.
class Lifeline {
public:
    explicit Lifeline(const std::filesystem::path& path) : path(path) {
        ::mkfifo(path.c_str(), S_IRUSR | S_IWUSR);
        pipe = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    Lifeline(const Lifeline&) = delete;
    Lifeline& operator=(const Lifeline&) = delete;
    ~Lifeline() { ::close(pipe); }

    // True once somebody has written a byte to it.
    bool isHeld() const {
        char byte = 0;
        return (happened(POLLIN, patience) & POLLIN) != 0 && ::read(pipe, &byte, 1) == 1;
    }
    // True once nobody holds it who has held it.
    bool isLeft() const { return (happened(0, patience) & POLLHUP) != 0; }
    bool isLeftNow() const { return (happened(0, std::chrono::milliseconds(0)) & POLLHUP) != 0; }

    const std::filesystem::path path;

private:
    static constexpr std::chrono::milliseconds patience{20'000};

    int happened(short expected, std::chrono::milliseconds wait) const {
        pollfd event{pipe, expected, 0};
        ::poll(&event, 1, static_cast<int>(wait.count()));
        return event.revents;
    }

    int pipe;
};

class ProcessStopTest : public testing::Test {
protected:
    // The script finds the lifeline's path in $LIFE.
    Command shell(std::string script, double timeout) const {
        return {.executable = "/bin/sh",
                .arguments = {"-c", std::move(script)},
                .environment = {{"LIFE", lifeline.path.string()}},
                .timeout = timeout};
    }

    CommandResult timed(const Command& command) {
        auto start = steady_clock::now();
        CommandResult result = runner.run(command);
        elapsed = Seconds(steady_clock::now() - start).count();
        return result;
    }

    bool isNothingLeft() const { return std::filesystem::is_empty(runs.path()); }

    // For what ends all commands of a process for good: true in a process of its own, without an exception.
    static bool holdsApart(const std::function<bool()>& story) {
        pid_t child = ::fork();
        if (child == 0) {
            ::alarm(60);
            ::_exit(story() ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        return status == 0;
    }

    TemporaryFolder folder;
    TemporaryFolder runs;
    Lifeline lifeline{folder.path() / "lifeline"};
    EnvironmentVariable temporary{"TMPDIR", runs.path().string()};
    ProcessRunner runner;
    double elapsed = 0;
};

TEST_F(ProcessStopTest, aCommandThatIgnoresTerminationIsGoneFiveSecondsAfterItsTime) {
    CommandResult result = timed(shell("trap '' TERM; exec 3>$LIFE; echo deaf; sleep 600 & sleep 600", 1.5));

    EXPECT_EQ(result, (CommandResult{SIGKILL, "deaf\n", "", true}));
    EXPECT_GE(elapsed, 6.5);
    EXPECT_LT(elapsed, 11);
    EXPECT_TRUE(lifeline.isLeft()) << "a child of the command's lives on";
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(ProcessStopTest, aCommandMayTidyUpWhenItsTimeIsOver) {
    CommandResult result = timed(shell("trap 'echo tidied; exit 7' TERM; echo begun; sleep 600 & wait", 1));

    EXPECT_EQ(result, (CommandResult{7, "begun\ntidied\n", "", true}));
    EXPECT_GE(elapsed, 1);
    EXPECT_LT(elapsed, 5);
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(ProcessStopTest, whatOutlivesAStoppedCommandIsKilledAtOnce) {
    CommandResult result = timed(shell("(trap '' TERM; exec 3>$LIFE; sleep 600) & wait", 1));

    EXPECT_EQ(result, (CommandResult{SIGTERM, "", "", true}));
    EXPECT_LT(elapsed, 5);
    EXPECT_TRUE(lifeline.isLeft()) << "a child of the command's lives on";
}

TEST_F(ProcessStopTest, aCommandThatLeftItsGroupIsStoppedToo) {
    const std::string joinParentsGroup = "setpgrp(0, getpgrp(getppid)); $| = 1; print 'moved on'; sleep 600";

    CommandResult result = timed({.executable = "/usr/bin/perl", .arguments = {"-e", joinParentsGroup}, .timeout = 1});

    EXPECT_EQ(result, (CommandResult{SIGTERM, "moved on", "", true}));
    EXPECT_LT(elapsed, 5);
}

TEST_F(ProcessStopTest, aCommandThatLeftAChildInItsGroupIsStoppedToo) {
    const std::string leaveChild =
        "if (!fork) { open(my $life, '>', $ENV{LIFE}); sleep 600; exit } "
        "setpgrp(0, getpgrp(getppid)); $| = 1; print 'moved on'; sleep 600";
    Command command{.executable = "/usr/bin/perl", .arguments = {"-e", leaveChild}, .timeout = 1};
    command.environment = {{"LIFE", lifeline.path.string()}};

    EXPECT_EQ(timed(command), (CommandResult{SIGTERM, "moved on", "", true}));
    EXPECT_LT(elapsed, 5);
    EXPECT_TRUE(lifeline.isLeft()) << "a child of the command's lives on";
}

TEST_F(ProcessStopTest, aCommandThatLeftItsGroupAndIgnoresTerminationIsKilledToo) {
    const std::string leaveDeaf =
        "$SIG{TERM} = 'IGNORE'; setpgrp(0, getpgrp(getppid)); $| = 1; print 'moved on'; sleep 60";

    CommandResult result = timed({.executable = "/usr/bin/perl", .arguments = {"-e", leaveDeaf}, .timeout = 1});

    EXPECT_EQ(result, (CommandResult{SIGKILL, "moved on", "", true}));
    EXPECT_LT(elapsed, 11);
}

TEST_F(ProcessStopTest, aDaemonThatHoldsTheOutputHoldsUpNobody) {
    CommandResult result = timed(shell("(echo up >&3; exec sleep 600) 3>$LIFE & echo $!", 300));

    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(result.timedOut);
    EXPECT_LT(elapsed, 10);
    EXPECT_TRUE(isNothingLeft());
    EXPECT_TRUE(lifeline.isHeld());
    EXPECT_FALSE(lifeline.isLeftNow()) << "the daemon was killed";
    ::kill(std::stoi(result.output), SIGKILL);
    EXPECT_TRUE(lifeline.isLeft());
}

TEST_F(ProcessStopTest, anyNumberIsATimeLimit) {
    for (double none : {0.0, -1.0, std::nan(""), -std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(timed({.executable = "/bin/sleep", .arguments = {"600"}, .timeout = none}),
                  (CommandResult{SIGTERM, "", "", true}));
        EXPECT_LT(elapsed, 5);
    }
    for (double forever : {1e300, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(timed({.executable = "/bin/true", .timeout = forever}), CommandResult{});
    }
}

TEST_F(ProcessStopTest, aStopEndsTheCommandsThatRunAndLetsNoneBegin) {
    EXPECT_TRUE(holdsApart([this] {
        CommandResult result;
        std::thread caller([&] { result = runner.run(shell("echo said; echo up >$LIFE; exec sleep 600", 600)); });
        bool hasBegun = lifeline.isHeld();
        stopAllCommands();
        bool isNothingLeftThen = isNothingLeft();
        caller.join();
        std::error_code refusal;
        try {
            runner.run({.executable = "/bin/true"});
        } catch (const std::system_error& error) {
            refusal = error.code();
        }
        return hasBegun && result == CommandResult{SIGTERM, "said\n", "", true} && isNothingLeftThen &&
               refusal == std::errc::operation_canceled;
    }));
}

TEST_F(ProcessStopTest, aStopReachesCommandsThatBeginAtTheSameMoment) {
    EXPECT_TRUE(holdsApart([this] {
        std::atomic<int> stoppedCount = 0;
        auto runUntilRefused = [&] {
            try {
                for (;;) {
                    stoppedCount += runner.run(shell("echo up >$LIFE; exec sleep 600", 600)).timedOut ? 1 : 0;
                }
            } catch (const std::system_error&) {
                return;
            }
        };
        std::array<std::thread, 8> callers;
        for (std::thread& caller : callers) {
            caller = std::thread(runUntilRefused);
        }
        bool hasOneBegun = lifeline.isHeld();
        stopAllCommands();
        bool isNothingLeftThen = isNothingLeft();
        for (std::thread& caller : callers) {
            caller.join();
        }
        return hasOneBegun && isNothingLeftThen && stoppedCount > 0;
    }));
}

TEST_F(ProcessStopTest, aStopWithNothingToStopOnlyRefusesWhatComes) {
    EXPECT_TRUE(holdsApart([this] {
        stopAllCommands();
        stopAllCommands();
        try {
            runner.run({.executable = "/bin/true"});
            return false;
        } catch (const std::system_error& error) {
            return error.what() == std::string("Commands are being stopped: Operation canceled");
        }
    }));
}

}  // namespace
}  // namespace marlet
