#pragma once

#include <string>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// Runs commands as processes of their own.
//
// A command gets a process group of its own, no input, and none of this process's descriptors. What it writes goes to
// files in a temporary folder, which are read once it has ended: a child of its own that lives on and holds them open
// holds up nobody. Once its time is over it gets SIGTERM, and 5 seconds later SIGKILL, with all of its group.
class ProcessRunner final : public CommandRunner {
public:
    // `extraPath`: folders behind those of the inherited PATH.
    explicit ProcessRunner(std::vector<std::string> extraPath = {}) : extraPath(std::move(extraPath)) {}

    // Throws std::system_error.
    CommandResult run(const Command& command) const override;

private:
    std::vector<std::string> extraPath;
};

// Stops every command that a ProcessRunner of this process runs, as if its time were over, and lets none begin any
// more: for a process that is about to end.
void stopAllCommands();

}  // namespace marlet
