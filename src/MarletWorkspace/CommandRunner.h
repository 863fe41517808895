#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace marlet {

struct Command {
    std::string executable;  // a full path: nothing is looked up
    std::vector<std::string> arguments;
    std::optional<std::string> folder = {};               // where it runs; without one, where its parent does
    std::map<std::string, std::string> environment = {};  // added to the parent's own, or in its place
    double timeout = 30;                                  // seconds

    bool operator==(const Command&) const = default;
};

struct CommandResult {
    int32_t status = 0;       // as the platform tells it; of no meaning once timedOut is true
    std::string output;       // empty where it isn't UTF-8
    std::string errorOutput;  // the same
    bool timedOut = false;

    bool operator==(const CommandResult&) const = default;
};

// The only road to other programs. Production: ProcessRunner. Tests: ScriptedRunner.
//
// Safe to use from any thread; a call blocks its thread until the command has ended.
class CommandRunner {
public:
    virtual ~CommandRunner() = default;

    // A command that runs and fails is a result like any other. Throws what the platform reports when it can't be set
    // up or started.
    virtual CommandResult run(const Command& command) const = 0;
};

}  // namespace marlet
