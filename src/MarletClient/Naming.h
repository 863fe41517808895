// Finding what the user names. What isn't there, or isn't the only one, throws NamingError with a text that helps on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/LocalizedError.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

class NamingError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// The candidates as one text, the first ten of them.
std::string listed(const std::vector<std::string>& candidates);

// By id, or by a name that only one account has.
Async<AccountSyncState> accountNamed(TaskStore& store, std::string text);

// By key, or by a name that only one project has. Of several with the name, the account's is meant if one is given.
Async<ProjectSnapshot> projectNamed(TaskStore& store, std::string text, std::optional<UUID> accountID = {});
// In the order given, each once.
Async<std::vector<ProjectSnapshot>> projectsNamed(TaskStore& store, std::vector<std::string> texts);

// By id, by a beginning of it that only one task has, or by its number in the project that is named.
Async<TaskSnapshot> taskNamed(TaskStore& store, std::string text, std::optional<std::string> project);
// In the order given, each once.
Async<std::vector<TaskSnapshot>> tasksNamed(TaskStore& store, std::vector<std::string> texts,
                                            std::optional<std::string> project);

// The id in full when the text is the beginning of one, for digits alone of 8 characters or more; else the text itself,
// for those who know numbers.
Async<std::string> completedTaskID(TaskStore& store, std::string text);

}  // namespace marlet
