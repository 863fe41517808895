#include "MarletClient/CommandLine.h"

#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "MarletClient/AgentCommandLine.h"
#include "MarletClient/CommandTree.h"
#include "MarletClient/Completion.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Doctor.h"
#include "MarletClient/Tools.h"
#include "MarletClient/Version.h"
#include "MarletClient/WorkCommandLine.h"

namespace marlet {
namespace {

// The token is read before the command is carried out; an argument could be read by every process of the computer.
void addTokenOptions(CLI::App& command, CommandLine& line) {
    command
        .add_flag_callback(
            "--token-stdin", [&line] { line.token = TokenSource::standardInput; },
            "Read the token from standard input instead of asking for it")
        ->disable_flag_override();
    auto refuse = [](const std::string&) {
        throw UsageError(
            "A token is never taken as an argument, where others could read it. Pipe it in and add --token-stdin, or "
            "leave it out to be asked.");
    };
    command.add_option_function<std::string>("--token", refuse)->group("");
}

void addAccountSettings(CLI::App& accounts, CommandLine& line) {
    const char* const accountHelp = "The account's id or name";
    Command<AccountOptions> remove(accounts, "remove", "Remove an account, its token and its tasks from this computer",
                                   line.request);
    remove.name("ACCOUNT", remove.options->account, accountHelp);
    Command<AccountTokenOptions> token(accounts, "token", "Give an account a new access token", line.request);
    token.name("ACCOUNT", token.options->account, accountHelp);
    addTokenOptions(*token.app, line);
    Command<AccountAgentOptions> agent(accounts, "agent", "Choose the agent that gets an account's tasks",
                                       line.request);
    agent.name("ACCOUNT", agent.options->account, accountHelp);
    agent.choice("AGENT", agent.options->agent, "The agent; none leaves the choice to each task", "agent")->required();
    Command<AccountTypeOptions> type(accounts, "type", "Choose the type of a Jira account's new tasks", line.request);
    type.name("ACCOUNT", type.options->account, accountHelp);
    type.text("TYPE", type.options->type, "The type's name", "");
    type.flag("--default", type.options->isDefault, "Back to the service's own");
}

void addAccountCommands(CLI::App& root, CommandLine& line) {
    CLI::App& accounts = group(root, "account", "Connected accounts");
    Command<AccountAddOptions> add(
        accounts, "add", "Add an account. Its access token is asked for, and checked, before anything is kept.",
        line.request);
    add.choice("KIND", add.options->kind, "The service, or local for tasks on this computer alone", "kind")->required();
    add.text("--name", add.options->name, "What the account is called here", "NAME")->required();
    add.text("--url", add.options->url,
             "The server's start page, https:// unless it says http://, which sends the token unencrypted", "URL");
    add.text("--username", add.options->username, "The user the token belongs to, where the service asks", "USER");
    add.texts("--subscribe", add.options->subscribe, "A project to sync, such as owner/repo, or all; may be repeated",
              "PROJECT");
    addTokenOptions(*add.app, line);
    addPlainCommand(accounts, "list", "List the accounts", line.request);
    addAccountSettings(accounts, line);
}

void addProjectCommands(CLI::App& root, CommandRequest& request) {
    CLI::App& projects = group(root, "project", "Projects and their subscriptions");
    Command<ProjectListOptions> list(projects, "list", "List the subscribed projects", request);
    list.text("--account", list.options->account, "Only projects of this account", "ACCOUNT");
    list.flag("--all", list.options->all, "Also what isn't subscribed");
    Command<ProjectsOptions> subscribe(projects, "subscribe", "Sync projects from now on", request);
    subscribe.names("PROJECT", subscribe.options->projects, "The projects' keys or names");
    Command<ProjectsOptions> unsubscribe(projects, "unsubscribe", "Sync projects no longer", request);
    unsubscribe.names("PROJECT", unsubscribe.options->projects, "The projects' keys or names");
    Command<AccountOptions> refresh(projects, "refresh", "Read the account's list of projects again", request);
    refresh.name("ACCOUNT", refresh.options->account, "The account's id or name");
    Command<ProjectCreateOptions> create(projects, "create", "Make a project of an \"On This Mac\" account", request);
    create.name("NAME", create.options->name, "The new project's name");
    create.text("--account", create.options->account, "The account's id or name", "ACCOUNT")->required();
    Command<ProjectRenameOptions> rename(projects, "rename", "Rename a project of an \"On This Mac\" account", request);
    rename.name("PROJECT", rename.options->project, "The project's key or name");
    rename.name("NAME", rename.options->name, "The new name");
    Command<ProjectOptions> remove(projects, "delete", "Delete a project of an \"On This Mac\" account", request);
    remove.name("PROJECT", remove.options->project, "The project's key or name");
}

const char* const taskHelp = "The task's id, a beginning of it, or its number with --project";
const char* const tasksHelp = "The tasks' ids, beginnings of them, or their numbers with --project";

void addTaskListing(CLI::App& tasks, CommandRequest& request) {
    Command<TaskListOptions> list(tasks, "list", "List tasks, the last updated first", request);
    list.text("--project", list.options->project, "Only tasks of this project", "PROJECT");
    list.choice("--list", list.options->list, "Only what is on this list", "list");
    list.text("--query", list.options->query, "Text in the title, notes, labels, or the number", "TEXT");
    list.text("--parent", list.options->parent, "Only the children of this task", "TASK");
    list.flag("--epics", list.options->epics, "Only tasks that others can belong to");
    list.flag("--all", list.options->all, "Completed ones too");
    list.value("--limit", list.options->limit, limitValue, "The most tasks to list (50)", "N");
    Command<TaskShowOptions> show(tasks, "show", "Show a task with its notes", request);
    show.name("TASK", show.options->task, taskHelp);
    show.inProject();
    show.flag("--comments", show.options->comments, "With its comments");
    show.flag("--raw", show.options->raw, "With the server's own answer");
}

void addTaskEditing(CLI::App& tasks, CommandRequest& request) {
    auto due = [](const std::string& text) { return dateValue("--due", text); };
    Command<TaskAddOptions> add(tasks, "add", "Add a task", request);
    add.name("TITLE", add.options->title, "The task's title");
    add.text("--project", add.options->project, "The project's key or name", "PROJECT")->required();
    add.value("--notes", add.options->notes, notesValue, "The notes; - reads standard input", "TEXT");
    add.texts("--label", add.options->labels, "A label; may be repeated", "L");
    add.value("--due", add.options->due, due, "YYYY-MM-DD or an RFC 3339 date-time", "DATE");
    add.text("--type", add.options->type, "Jira: the issue type", "T");

    Command<TaskEditOptions> edit(tasks, "edit", "Change a task", request);
    edit.name("TASK", edit.options->task, taskHelp);
    edit.inProject();
    edit.text("--title", edit.options->title, "The new title", "T");
    edit.value("--notes", edit.options->notes, notesValue, "The new notes; - reads standard input", "TEXT");
    CLI::Option* labels = edit.texts("--label", edit.options->labels, "The new labels; may be repeated", "L");
    edit.app->add_flag("--no-labels", edit.options->noLabels, "Without labels")->excludes(labels);
    CLI::Option* date = edit.value("--due", edit.options->due, due, "YYYY-MM-DD or an RFC 3339 date-time", "DATE");
    edit.app->add_flag("--no-due", edit.options->noDue, "Without a due date")->excludes(date);
    CLI::Option* parent = edit.text("--parent", edit.options->parent, "The task it belongs to", "TASK");
    edit.app->add_flag("--no-parent", edit.options->noParent, "Without a parent")->excludes(parent);
    edit.text("--status", edit.options->status, "Board tasks: the column", "S");
    CLI::Option* estimate =
        edit.value("--estimate", edit.options->estimate, estimateValue, "Jira: the story points", "N");
    edit.app->add_flag("--no-estimate", edit.options->noEstimate, "Without an estimate")->excludes(estimate);
}

template <class Options>
void addTasksCommand(CLI::App& tasks, const std::string& name, const std::string& description,
                     CommandRequest& request) {
    Command<Options> command(tasks, name, description, request);
    command.names("TASK", command.options->tasks, tasksHelp);
    command.inProject();
    if constexpr (std::is_same_v<Options, TaskFlagOptions>) {
        command.flag("--off", command.options->off, "Take it off again");
    }
}

void addTaskCommands(CLI::App& root, CommandRequest& request) {
    CLI::App& tasks = group(root, "task", "Tasks");
    addTaskListing(tasks, request);
    addTaskEditing(tasks, request);
    addTasksCommand<TasksOptions>(tasks, "done", "Complete tasks", request);
    addTasksCommand<TasksOptions>(tasks, "reopen", "Reopen tasks", request);
    Command<TaskCommentOptions> comment(tasks, "comment", "Comment on a task", request);
    comment.name("TASK", comment.options->task, taskHelp);
    comment.name("TEXT", comment.options->text, "The comment");
    comment.inProject();
    Command<TaskOptions> remove(tasks, "delete", "Delete a task of an \"On This Mac\" account", request);
    remove.name("TASK", remove.options->task, taskHelp);
    remove.inProject();
    addTasksCommand<TaskFlagOptions>(tasks, "next", "Put tasks on the Next list", request);
    addTasksCommand<TaskFlagOptions>(tasks, "star", "Star tasks", request);
    addTasksCommand<TaskFlagOptions>(tasks, "unread", "Mark tasks as unread", request);
}

void addGeneralCommands(CLI::App& root, CommandRequest& request) {
    Command<ServeOptions> serve(root, "serve", "Sync and serve agents until it is stopped", request);
    serve.value("--port", serve.options->port, portValue, "The port for agents; 0 picks a new one", "N");
    serve.flag("--relaxed", serve.options->relaxed, "Ask the servers less often");
    addPlainCommand(root, "status", "Show how accounts and projects stand", request);
    Command<DoctorOptions> doctor(root, doctorName, "Look whether all that Marlet needs is in order", request);
    doctor.completedBy([](DoctorOptions& options) {
        options.tools = toolsOnPath();
        options.linkOpener = programOnPath("xdg-open");
    });
}

void addTimerCommands(CLI::App& root, CommandRequest& request) {
    CLI::App& timer = group(root, "timer", "Time tracking");
    Command<TaskOptions> start(timer, "start", "Start the timer on a task", request);
    start.name("TASK", start.options->task, taskHelp);
    start.inProject();
    addPlainCommand(timer, "stop", "Stop the timer", request);
    addPlainCommand(timer, "status", "Show the running timer", request);
}

void addSyncCommands(CLI::App& root, CommandRequest& request) {
    Command<SyncOptions> sync(root, "sync", "Send and fetch changes now", request);
    sync.text("--account", sync.options->account, "Only this account", "ACCOUNT");
    sync.text("--project", sync.options->project, "Only this project", "PROJECT");
    sync.flag("--full", sync.options->full, "Fetch everything, to find what was deleted");

    CLI::App& pending = group(root, "pending", "Changes that wait or were refused");
    addPlainCommand(pending, "list", "List them", request);
    addTasksCommand<TasksOptions>(pending, "retry", "Send refused changes again", request);
    addTasksCommand<TasksOptions>(pending, "discard", "Give changes up", request);
}

void addCompletionCommand(CLI::App& root, CommandRequest& request) {
    Command<CompletionOptions> completion(root, completionCommand,
                                          "Print the script by which a shell completes these commands", request);
    completion.choice("SHELL", completion.options->shell, "The shell", "shell")->required();
}

// The library's words, as one sentence of ours.
std::string usageMessage(const CLI::ParseError& error, const CLI::App& root) {
    const CLI::App* command = &root;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    std::string path = command->get_parent() ? command->get_display_name() : "";
    if (command->get_parent() && command->get_parent()->get_parent()) {
        path = command->get_parent()->get_name() + " " + path;
    }
    std::string help = fmt::format("See marlet {}{}--help.", path, path.empty() ? "" : " ");
    // What no command took ends up in one of those that were asked.
    std::vector<std::string> unknown = root.remaining(true);
    bool lacksCommand = command->get_require_subcommand_min() > 0;
    if (lacksCommand && unknown.empty()) {
        return fmt::format("A command is missing. {}", help);
    }
    if (!unknown.empty()) {
        return fmt::format("{} \"{}\". {}", lacksCommand ? "Unknown command" : "There is no use here for",
                           unguarded(unknown.front()), help);
    }
    return fmt::format("{}. {}", trimmed(error.what()), help);
}

void refuseBrokenText(const std::vector<std::string>& arguments) {
    bool isPath = false;
    for (const std::string& argument : arguments) {
        // A path may be any bytes.
        if (!isPath && !argument.starts_with("--data=") && !isValidUTF8(argument)) {
            throw UsageError(fmt::format("The argument \"{}\" isn't UTF-8 text.", repairedUTF8(argument)));
        }
        isPath = argument == "--data";
    }
}

}  // namespace

std::unique_ptr<CLI::App> commandTree(CommandLine& line) {
    auto root = std::make_unique<CLI::App>(
        "Keeps the tasks of several services in one place, and serves them to agents.", "marlet");
    root->require_subcommand(1);
    root->fallthrough();
    root->set_help_flag("--help,-h", "Show this help");
    root->set_version_flag("--version", std::string("marlet ") + versionText, "Show the version");
    auto take = [&line](const std::string& folder) { line.dataFolder = std::filesystem::path(unguarded(folder)); };
    root->add_option_function<std::string>("--data", take, "The data folder")
        ->type_name("DIR")
        ->default_str(DataFolder::defaultPath().string());
    root->add_flag("--json", line.wantsJSON, "One JSON value on standard output");
    addGeneralCommands(*root, line.request);
    addAccountCommands(*root, line);
    addProjectCommands(*root, line.request);
    addTaskCommands(*root, line.request);
    addTimerCommands(*root, line.request);
    addSyncCommands(*root, line.request);
    addWorkCommands(*root, line.request);
    addAgentCommands(*root, line.request);
    addCompletionCommand(*root, line.request);
    return root;
}

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    refuseBrokenText(arguments);
    CommandLine line;
    std::unique_ptr<CLI::App> root = commandTree(line);
    try {
        // The library takes the arguments from the back.
        std::vector<std::string> reversed;
        std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), guarded);
        root->parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        line.information = root->help();
    } catch (const CLI::CallForVersion& version) {
        line.information = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        throw UsageError(usageMessage(error, *root));
    }
    if (line.dataFolder.empty()) {
        line.dataFolder = DataFolder::defaultPath();
    }
    if (line.request.command == completionCommand) {
        line.information = completionScript(decoded<CompletionOptions>(line.request.options).shell, *root);
    }
    return line;
}

bool asksForJSON(const std::vector<std::string>& arguments) {
    auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

}  // namespace marlet
