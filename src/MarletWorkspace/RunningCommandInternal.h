// One command as a process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// Where a command writes to.
struct CommandOutputs {
    int output;
    int errors;
};

// What the thread that waits for a command is told. Safe to use from any thread.
class CommandNews {
public:
    using Time = std::chrono::steady_clock::time_point;

    void tellEnd();
    // The command has to stop, as if its time were over. One that begins only afterwards has to as well.
    void askToStop();

    // True once the command has ended, false when the time has come before, or it has to stop.
    bool awaitEnd(Time time);
    // The same, but goes on waiting where it has to stop.
    bool awaitEndOfStopping(Time time);

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool hasEnded = false;
    bool hasToStop = false;
};

// A command from its start to its end, the leader of a process group of its own.
//
// Its holder alone signals it, and alone reaps it, after the last signal: until then the system gives its number to no
// other process and no other group, even when all of the group has ended. So no signal meets a stranger.
// In a process that ignores SIGCHLD the system reaps at once, and all this doesn't hold.
class RunningCommand {
public:
    // `environment`: all of it, "NAME=value". `news`, which must outlive it, is told its end.
    // Throws std::system_error when the command can't be started.
    RunningCommand(const Command& command, std::vector<std::string> environment, CommandOutputs outputs,
                   CommandNews& news);
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    // Kills it, unless its status has been taken.
    ~RunningCommand();

    // Asks it and its group to end, and kills all that is left after `patience`.
    void stop(std::chrono::seconds patience);

    // The exit status, or the number of the signal that ended it. Waits for its end. Throws std::system_error when the
    // system doesn't keep it, as for a process that ignores SIGCHLD.
    int32_t takeStatus();

private:
    void killGroup() const;
    // Its status as the system tells it; no value when the system doesn't keep it.
    std::optional<int> reap();

    pid_t process;
    CommandNews& news;
    std::thread watcher;
};

}  // namespace marlet
