// `work` is a command and has commands below it: work TASK, work result TASK, work remove TASK.
#include "MarletClient/WorkCommandLine.h"

#include <fmt/format.h>

#include "MarletClient/CommandLine.h"
#include "MarletClient/CommandTree.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Tools.h"
#include "MarletClient/WorkOptions.h"

namespace marlet {
namespace {

const char* const workTaskHelp = "The task's id, a beginning of it, or its number with --project";
const char* const workFolderName = "Marlet";

std::string rootValue(const std::string& given) {
    return folderValue("--root", unguarded(given));
}

// What stands before a command below this one belongs to neither.
void refuseOwnOptions(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() > 0) {
            const CLI::App* command = app.get_subcommands().front();
            throw UsageError(
                fmt::format("There is no use here for \"{}\". See marlet {} {} --help.",
                            option->get_positional() ? unguarded(option->results().front()) : option->get_name(),
                            app.get_name(), command->get_name()));
        }
    }
}

template <class Options>
CommandRequest requestOf(const std::string& name, const Options& options) {
    CommandRequest request{name, encode(options, DateCoding::seconds)};
    removeGuards(request.options);
    return request;
}

void takeWork(const CLI::App& app, WorkOptions& options, CommandRequest& request) {
    if (!app.get_subcommands().empty()) {
        refuseOwnOptions(app);
        return;
    }
    if (options.task.empty()) {
        throw CLI::RequiredError("TASK");
    }
    options.usualRoot = (homeFolder() / workFolderName).string();
    options.tools = toolsOnPath();
    request = requestOf("work", options);
}

}  // namespace

void addWorkCommands(CLI::App& root, CommandRequest& request) {
    Command<WorkOptions> work(root, "work", "Hand a task to an agent, in a worktree or folder of its own", request);
    work.text("TASK", work.options->task, workTaskHelp, "");
    work.inProject();
    work.choice("--to", work.options->to, "The agent, instead of the one that is chosen or suits", "agent");
    work.value("--root", work.options->root, rootValue, "Where checkouts and work folders live (~/Marlet)", "DIR");
    work.flag("--ssh", work.options->ssh, "Clone over SSH instead of HTTPS");
    work.flag("--no-open", work.options->noOpen, "Print the link to the agent instead of opening it");
    work.app->callback([app = work.app, options = work.options, &request] { takeWork(*app, *options, request); });

    Command<TaskOptions> result(*work.app, "result", "Post RESULT.md of a task's folder as a comment", request);
    result.name("TASK", result.options->task, workTaskHelp);
    result.inProject();
    Command<WorkRemoveOptions> remove(*work.app, "remove", "Remove a task's worktree; its branch stays", request);
    remove.name("TASK", remove.options->task, workTaskHelp);
    remove.inProject();
    remove.app->callback([options = remove.options, &request] {
        options->tools = toolsOnPath();
        request = requestOf("work remove", *options);
    });
}

}  // namespace marlet
