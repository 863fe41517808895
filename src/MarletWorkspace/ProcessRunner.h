#pragma once

#include <string>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// Runs commands as processes of their own.
//
// A command gets a process group of its own, no input, and none of this process's descriptors. What it writes goes to
// files in a temporary folder, which are read once it has ended: a child of its own that lives on and holds them open
// holds up nobody. Once its time is over it gets SIGTERM, and 5 seconds later SIGKILL, with all of its group; whatever
// of the group outlives it is killed at once.
//
// `status` is the exit status, or the number of the signal that ended the command.
class ProcessRunner final : public CommandRunner {
public:
    // `extraPath`: folders behind those of the inherited PATH.
    explicit ProcessRunner(std::vector<std::string> extraPath = {}) : extraPath(std::move(extraPath)) {}

    // Throws std::system_error, whose what() tells what couldn't be done to which file.
    CommandResult run(const Command& command) const override;

private:
    std::vector<std::string> extraPath;
};

// Stops every command that a ProcessRunner of this process runs, as if its time were over, and lets none begin any
// more: for a process that is about to end. Returns once they are gone with all that they left behind, which takes
// somewhat more than 5 seconds at most.
void stopAllCommands();

}  // namespace marlet
