#include "MarletClient/CommandTree.h"

#include <algorithm>

namespace marlet {
namespace {

constexpr char guard = '\x01';

}  // namespace

std::string guarded(const std::string& argument) {
    return argument.starts_with('[') || argument.starts_with(guard) ? guard + argument : argument;
}

std::string unguarded(const std::string& text) {
    return text.starts_with(guard) ? text.substr(1) : text;
}

void removeGuards(boost::json::value& options) {
    if (boost::json::string* text = options.if_string()) {
        options = unguarded(std::string(*text));
    } else if (boost::json::array* elements = options.if_array()) {
        std::for_each(elements->begin(), elements->end(), removeGuards);
    } else if (boost::json::object* members = options.if_object()) {
        for (auto& member : *members) {
            removeGuards(member.value());
        }
    }
}

CLI::App& group(CLI::App& parent, const std::string& name, const std::string& description) {
    CLI::App* app = parent.add_subcommand(name, description);
    app->require_subcommand(1);
    return *app;
}

void addPlainCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     CommandRequest& request) {
    Command<NoOptions> command(parent, name, description, request);
}

}  // namespace marlet
