#include "TestSupport/ScriptedRunner.h"

#include <algorithm>
#include <stdexcept>

namespace marlet {

void ScriptedRunner::answer(std::string part, CommandResult result) {
    answer(std::move(part), [result = std::move(result)](const Command&) { return result; });
}

void ScriptedRunner::answer(std::string part, Script script) {
    std::scoped_lock lock(mutex);
    scripts.emplace_back(std::move(part), std::move(script));
}

CommandResult ScriptedRunner::run(const Command& command) const {
    std::string line = lineOf(command);
    Script script;
    {
        std::scoped_lock lock(mutex);
        history.push_back(command);
        auto found = std::find_if(scripts.rbegin(), scripts.rend(),
                                  [&](const auto& entry) { return line.find(entry.first) != std::string::npos; });
        if (found == scripts.rend()) {
            throw std::logic_error("No script answers: " + line);
        }
        script = found->second;
    }
    return script(command);
}

std::vector<Command> ScriptedRunner::commands() const {
    std::scoped_lock lock(mutex);
    return history;
}

std::vector<std::string> ScriptedRunner::lines() const {
    std::vector<std::string> result;
    for (const Command& command : commands()) {
        result.push_back(lineOf(command));
    }
    return result;
}

std::string lineOf(const Command& command) {
    std::string line = command.executable;
    for (const std::string& argument : command.arguments) {
        line += " " + argument;
    }
    return line;
}

}  // namespace marlet
