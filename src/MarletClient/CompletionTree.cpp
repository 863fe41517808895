#include "MarletClient/CompletionTree.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

// One line, safe to show.
std::string helpOf(const std::string& description) {
    return withoutControlCharacters(description);
}

bool isHidden(const CLI::Option& option) {
    return option.get_group().empty();
}

CompletionValue valueOf(const CLI::Option& option) {
    CompletionValue value;
    std::string type = option.get_type_name();
    value.isFolder = type == "DIR";
    if (type.find('|') != std::string::npos) {
        value.choices = CLI::detail::split(type, '|');
    }
    return value;
}

CompletionCommand::Option completionOption(const CLI::Option& option) {
    CompletionCommand::Option result;
    for (const std::string& name : option.get_lnames()) {
        result.names.push_back("--" + name);
    }
    for (const std::string& name : option.get_snames()) {
        result.names.push_back("-" + name);
    }
    result.help = helpOf(option.get_description());
    if (option.get_items_expected_max() > 0) {
        result.value = valueOf(option);
    }
    return result;
}

// An option of a group around this command is taken here as well, unless this one has another meaning for its name.
void addOption(CompletionCommand& command, CompletionCommand::Option option) {
    for (const CompletionCommand::Option& own : command.options) {
        std::erase_if(option.names, [&](const std::string& name) {
            return std::find(own.names.begin(), own.names.end(), name) != own.names.end();
        });
    }
    if (!option.names.empty()) {
        command.options.push_back(std::move(option));
    }
}

void addOptions(CompletionCommand& command, const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (isHidden(*option)) {
            continue;
        }
        if (option->nonpositional()) {
            addOption(command, completionOption(*option));
        } else {
            bool isRepeated = option->get_items_expected_max() > 1;
            command.arguments.push_back({valueOf(*option), isRepeated});
        }
    }
    for (const CLI::App* around = app.get_parent(); around; around = around->get_parent()) {
        // What is a command itself keeps its options to itself.
        bool isGroup = around->get_require_subcommand_min() > 0;
        for (const CLI::Option* option : around->get_options()) {
            if (isGroup && !isHidden(*option) && option->nonpositional() && option != around->get_version_ptr()) {
                addOption(command, completionOption(*option));
            }
        }
    }
}

void addCommands(std::vector<CompletionCommand>& commands, const CLI::App& app, const std::string& path) {
    CompletionCommand command;
    command.path = path;
    addOptions(command, app);
    std::vector<const CLI::App*> children =
        app.get_subcommands([](const CLI::App* child) { return !child->get_group().empty(); });
    for (const CLI::App* child : children) {
        command.commands.push_back({child->get_name(), helpOf(child->get_description())});
    }
    commands.push_back(std::move(command));
    for (const CLI::App* child : children) {
        addCommands(commands, *child, path.empty() ? child->get_name() : path + " " + child->get_name());
    }
}

}  // namespace

std::vector<CompletionCommand> completionCommands(const CLI::App& root) {
    std::vector<CompletionCommand> commands;
    addCommands(commands, root, "");
    return commands;
}

}  // namespace marlet
