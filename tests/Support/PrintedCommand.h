// How a failing test shows commands and what came of them.
#pragma once

#include <ostream>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

inline void PrintTo(const Command& command, std::ostream* stream) {
    *stream << command.executable;
    for (const std::string& argument : command.arguments) {
        *stream << " '" << argument << "'";
    }
    *stream << " in " << command.folder.value_or("(the parent's folder)") << " for " << command.timeout << " s";
    for (const auto& [name, value] : command.environment) {
        *stream << " " << name << "='" << value << "'";
    }
}

inline void PrintTo(const CommandResult& result, std::ostream* stream) {
    *stream << "status " << result.status << (result.timedOut ? ", timed out" : "") << ", output '" << result.output
            << "', errors '" << result.errorOutput << "'";
}

}  // namespace marlet
