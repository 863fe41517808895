#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// Commands whose results the test tells. Safe to use from any thread.
class ScriptedRunner final : public CommandRunner {
public:
    using Script = std::function<CommandResult(const Command& command)>;

    // Answers commands whose line, "executable argument argument…", contains `part`. The script told last goes first.
    void answer(std::string part, CommandResult result);
    // The script may throw, as a command does that can't be started.
    void answer(std::string part, Script script);

    // A command that no script answers throws std::logic_error, which names it.
    CommandResult run(const Command& command) const override;

    // What was run, in order.
    std::vector<Command> commands() const;
    std::vector<std::string> lines() const;

private:
    mutable std::mutex mutex;
    std::vector<std::pair<std::string, Script>> scripts;
    mutable std::vector<Command> history;
};

std::string lineOf(const Command& command);

}  // namespace marlet
