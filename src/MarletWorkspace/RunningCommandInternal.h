// One command as a process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// Where a command writes to.
struct CommandOutputs {
    int output;
    int errors;
};

// A command from its start to its end, the leader of a process group of its own.
//
// Its holder alone signals it, and alone reaps it, after the last signal: until then the system gives its number to no
// other process and no other group, even when all of the group has ended. So no signal meets a stranger.
class RunningCommand {
public:
    using Time = std::chrono::steady_clock::time_point;

    // `environment`: all of it, "NAME=value". Throws std::system_error when the command can't be started.
    RunningCommand(const Command& command, std::vector<std::string> environment, CommandOutputs outputs);
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    // Kills it, unless its status has been taken.
    ~RunningCommand();

    // True once it has ended, false when the time has come before, or `interrupt` has become readable.
    bool endsBefore(Time time, int interrupt) const;

    // Asks it and its group to end, and kills all that is left after `patience`.
    void stop(std::chrono::seconds patience) const;

    // The exit status, or the number of the signal that ended it. Waits for its end. Throws std::system_error when the
    // system doesn't keep it, as for a process that ignores SIGCHLD.
    int32_t takeStatus();

private:
    void killGroup() const;
    // Its status as the system tells it; no value when the system doesn't keep it.
    std::optional<int> reap();

    pid_t process;
    int end;  // a descriptor that is readable once the process has ended
};

}  // namespace marlet
