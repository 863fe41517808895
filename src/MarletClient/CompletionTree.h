// The tree of commands as a shell's completion needs it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace marlet {

struct CompletionValue {
    std::vector<std::string> choices;  // all that are taken; empty if that can't be told
    bool isFolder = false;
};

struct CompletionCommand {
    struct Option {
        std::vector<std::string> names;  // "--help" and "-h"
        std::string help;
        std::optional<CompletionValue> value;  // none for a flag
    };
    struct Argument {
        CompletionValue value;
        bool isRepeated = false;
    };
    struct Child {
        std::string name;
        std::string help;
    };

    std::string path;             // "task list"; empty for the program itself
    std::vector<Option> options;  // its own first, then those of the groups around it
    std::vector<Argument> arguments;
    std::vector<Child> commands;
};

// Every command of the tree, those around others first. What the help hides is left out.
std::vector<CompletionCommand> completionCommands(const CLI::App& root);

}  // namespace marlet
