// What each command is asked, as it travels to the process that carries it out. Everything that depends on the caller's
// own surroundings (standard input, time zone) has been read before.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletClient/Completion.h"
#include "MarletCore/BackendKind.h"
#include "MarletStore/TaskQuery.h"
#include "MarletWorkspace/AgentDestination.h"
#include "MarletWorkspace/ToolSettings.h"

namespace marlet {

struct NoOptions {};
BOOST_DESCRIBE_STRUCT(NoOptions, (), ())

struct ServeOptions {
    std::optional<int64_t> port;  // 0: any free one; none: the one kept from the last run
    bool relaxed = false;
};
BOOST_DESCRIBE_STRUCT(ServeOptions, (), (port, relaxed))

// What is waited for by whoever asks how it gets on.
struct ProgressOptions {
    std::string command;
};
BOOST_DESCRIBE_STRUCT(ProgressOptions, (), (command))

struct AccountAddOptions {
    BackendKind kind = BackendKind::local;
    std::string name;
    std::optional<std::string> url;
    std::optional<std::string> username;
    std::optional<std::string> token;  // none: only whether the account could be added is asked, unless it is local
    std::vector<std::string> subscribe;
};
BOOST_DESCRIBE_STRUCT(AccountAddOptions, (), (kind, name, url, username, token, subscribe))

struct AccountOptions {
    std::string account;
};
BOOST_DESCRIBE_STRUCT(AccountOptions, (), (account))

struct AccountTokenOptions {
    std::string account;
    std::optional<std::string> token;  // none: only whether it could be set is asked
};
BOOST_DESCRIBE_STRUCT(AccountTokenOptions, (), (account, token))

// Where an account's tasks go when they are handed to an agent: an AgentDestination, by its code, or where each fits.
enum class AgentChoice { code, cowork, copilot, none };
BOOST_DESCRIBE_ENUM(AgentChoice, code, cowork, copilot, none)

struct AccountAgentOptions {
    std::string account;
    AgentChoice agent = AgentChoice::none;
};
BOOST_DESCRIBE_STRUCT(AccountAgentOptions, (), (account, agent))

struct AccountTypeOptions {
    std::string account;
    std::optional<std::string> type;
    bool isDefault = false;
};
BOOST_DESCRIBE_STRUCT(AccountTypeOptions, (), (account, type, isDefault))

struct ProjectListOptions {
    std::optional<std::string> account;
    bool all = false;
};
BOOST_DESCRIBE_STRUCT(ProjectListOptions, (), (account, all))

struct ProjectsOptions {
    std::vector<std::string> projects;
};
BOOST_DESCRIBE_STRUCT(ProjectsOptions, (), (projects))

struct ProjectCreateOptions {
    std::string name;
    std::string account;
};
BOOST_DESCRIBE_STRUCT(ProjectCreateOptions, (), (name, account))

struct ProjectRenameOptions {
    std::string project;
    std::string name;
};
BOOST_DESCRIBE_STRUCT(ProjectRenameOptions, (), (project, name))

struct ProjectOptions {
    std::string project;
};
BOOST_DESCRIBE_STRUCT(ProjectOptions, (), (project))

struct TaskListOptions {
    std::optional<std::string> project;
    std::optional<TaskList> list;
    std::optional<std::string> query;
    std::optional<std::string> parent;
    bool epics = false;
    bool all = false;
    std::optional<int64_t> limit;
};
BOOST_DESCRIBE_STRUCT(TaskListOptions, (), (project, list, query, parent, epics, all, limit))

// Tasks as the user names them: by id, by the beginning of it, or by number in `project`.
struct TasksOptions {
    std::vector<std::string> tasks;
    std::optional<std::string> project;
};
BOOST_DESCRIBE_STRUCT(TasksOptions, (), (tasks, project))

struct TaskOptions {
    std::string task;
    std::optional<std::string> project;
};
BOOST_DESCRIBE_STRUCT(TaskOptions, (), (task, project))

struct TaskShowOptions {
    std::string task;
    std::optional<std::string> project;
    bool comments = false;
    bool raw = false;
};
BOOST_DESCRIBE_STRUCT(TaskShowOptions, (), (task, project, comments, raw))

struct TaskAddOptions {
    std::string title;
    std::string project;
    std::optional<std::string> notes;
    std::vector<std::string> labels;
    std::optional<Date> due;
    std::optional<std::string> type;
};
BOOST_DESCRIBE_STRUCT(TaskAddOptions, (), (title, project, notes, labels, due, type))

struct TaskEditOptions {
    std::string task;
    std::optional<std::string> project;
    std::optional<std::string> title;
    std::optional<std::string> notes;
    std::vector<std::string> labels;
    bool noLabels = false;
    std::optional<Date> due;
    bool noDue = false;
    std::optional<std::string> parent;
    bool noParent = false;
    std::optional<std::string> status;
    std::optional<double> estimate;
    bool noEstimate = false;
};
BOOST_DESCRIBE_STRUCT(TaskEditOptions, (),
                      (task, project, title, notes, labels, noLabels, due, noDue, parent, noParent, status, estimate,
                       noEstimate))

struct TaskCommentOptions {
    std::string task;
    std::optional<std::string> project;
    std::string text;
};
BOOST_DESCRIBE_STRUCT(TaskCommentOptions, (), (task, project, text))

struct TaskFlagOptions {
    std::vector<std::string> tasks;
    std::optional<std::string> project;
    bool off = false;
};
BOOST_DESCRIBE_STRUCT(TaskFlagOptions, (), (tasks, project, off))

struct MCPRegisterOptions {
    AgentApp agent = AgentApp::claude;
    std::optional<std::string> folder;  // absolute; none for an agent that knows one configuration for all folders
    ToolSettings tools;
};
BOOST_DESCRIBE_STRUCT(MCPRegisterOptions, (), (agent, folder, tools))

struct DoctorOptions {
    ToolSettings tools;
    std::optional<std::string> linkOpener;  // the program's path
};
BOOST_DESCRIBE_STRUCT(DoctorOptions, (), (tools, linkOpener))

struct CompletionOptions {
    Shell shell = Shell::bash;
};
BOOST_DESCRIBE_STRUCT(CompletionOptions, (), (shell))

struct SyncOptions {
    std::optional<std::string> account;
    std::optional<std::string> project;
    bool full = false;
};
BOOST_DESCRIBE_STRUCT(SyncOptions, (), (account, project, full))

}  // namespace marlet
