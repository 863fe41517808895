#pragma once

#include <optional>
#include <string>

#include "MarletBase/Async.h"
#include "MarletClient/WorkOptions.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

// A task that an agent shall work on, with all that is known of where that happens.
struct WorkSubject {
    TaskSnapshot task;
    Account account;
    std::optional<Project> project;
    std::optional<RepositoryCoordinates> repository;
    TaskHandoff handoff;
};

// Throws NamingError.
Async<WorkSubject> workSubject(TaskStore& store, std::string task, std::optional<std::string> project);

// Whether its server hasn't named the task yet.
bool isUnsent(const TaskSnapshot& task);

// The agent that is asked for, or else the choice of the project or account that fits, or else the one that suits the
// task. Throws CommandError for one that can't take the task.
AgentDestination destinationFor(const WorkSubject& subject, std::optional<AgentDestination> wanted);

// Whether the address leads to the account's own server, safely: the only one that may see its token.
bool mayShowToken(const std::string& remote, const Account& account);

}  // namespace marlet
