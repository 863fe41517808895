// What the tree of commands is built of, as the library that parses them sees it.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletClient/CommandMessage.h"
#include "MarletClient/OptionValues.h"
#include "MarletClient/Options.h"

namespace marlet {

// The library takes a text in brackets for a list. One that is guarded is passed through, and arrives with its guard.
std::string guarded(const std::string& argument);
std::string unguarded(const std::string& text);
void removeGuards(boost::json::value& options);

// A leaf of the tree: once it is chosen, its options become the request.
template <class Options>
struct Command {
    CLI::App* app;
    std::shared_ptr<Options> options;

    Command(CLI::App& parent, const std::string& name, const std::string& description, CommandRequest& request)
        : app(parent.add_subcommand(name, description)), options(std::make_shared<Options>()) {
        std::string fullName = parent.get_parent() ? parent.get_name() + " " + name : name;
        app->callback([filled = options, fullName, &request] {
            request = CommandRequest{fullName, encode(*filled, DateCoding::seconds)};
            removeGuards(request.options);
        });
    }

    // Adds what only the caller's surroundings tell, once the options are read.
    void completedBy(void (*complete)(Options& options)) {
        app->parse_complete_callback([filled = options, complete] { complete(*filled); });
    }

    CLI::Option* text(const std::string& name, std::string& place, const std::string& description,
                      const std::string& kind = "TEXT") {
        return app->add_option(name, place, description)->type_name(kind);
    }
    CLI::Option* text(const std::string& name, std::optional<std::string>& place, const std::string& description,
                      const std::string& kind = "TEXT") {
        auto take = [kept = options, &place](const std::string& value) { place = value; };
        return app->add_option_function<std::string>(name, take, description)->type_name(kind);
    }
    // An option that may be given several times, each time with one value.
    CLI::Option* texts(const std::string& name, std::vector<std::string>& place, const std::string& description,
                       const std::string& kind) {
        return app->add_option(name, place, description)
            ->type_name(kind)
            ->expected(1)
            ->take_all()
            ->allow_extra_args(false);
    }
    // One or more arguments without an option's name.
    CLI::Option* names(const std::string& name, std::vector<std::string>& place, const std::string& description) {
        return app->add_option(name, place, description)->required()->type_name("");
    }
    CLI::Option* name(const std::string& argument, std::string& place, const std::string& description) {
        return app->add_option(argument, place, description)->required()->type_name("");
    }
    void flag(const std::string& flagName, bool& place, const std::string& description) {
        app->add_flag(flagName, place, description);
    }
    template <class Value, class Read>
    CLI::Option* value(const std::string& name, Value& place, Read read, const std::string& description,
                       const std::string& kind) {
        auto take = [kept = options, &place, read](const std::string& given) { place = read(given); };
        return app->add_option_function<std::string>(name, take, description)->type_name(kind);
    }
    // One of the codes of an enumeration, a `what` in the words of an error. The help lists them, and shells complete
    // them: both read the option's type name.
    template <DescribedEnumeration Choice>
    CLI::Option* choice(const std::string& name, Choice& place, const std::string& description,
                        const std::string& what) {
        auto read = [what](const std::string& text) { return choiceValue<Choice>(what, text); };
        return value(name, place, read, description, joinedCodes<Choice>("|", "|"));
    }
    template <DescribedEnumeration Choice>
    CLI::Option* choice(const std::string& name, std::optional<Choice>& place, const std::string& description,
                        const std::string& what) {
        auto read = [what](const std::string& text) { return choiceValue<Choice>(what, text); };
        return value(name, place, read, description, joinedCodes<Choice>("|", "|"));
    }
    void inProject() { text("--project", options->project, "The project in which a number names the task", "PROJECT"); }
};

CLI::App& group(CLI::App& parent, const std::string& name, const std::string& description);

// One that takes nothing but the options of all commands.
void addPlainCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     CommandRequest& request);

}  // namespace marlet
