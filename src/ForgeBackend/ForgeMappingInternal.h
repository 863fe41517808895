// What the services' records mean in the engine's own words.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ForgeBackend/ForgeRecordsInternal.h"
#include "ForgeBackend/ForgeTaskBackend.h"

namespace marlet::forge {

Project project(ForgeRepository repository, const UUID& accountID);

// Those that can have issues, each once, in the order in which they were found.
std::vector<Project> projects(std::vector<ForgeRepository> repositories, const UUID& accountID);

std::vector<TaskLabel> taskLabels(std::vector<ForgeLabel> labels);

// A parent has no title: the issue tells only where it lies.
TaskItem taskItem(ForgeIssue issue, const std::string& projectID, ForgeDialect dialect);

// A parent that is among the issues has its title.
std::vector<TaskItem> taskItems(std::vector<ForgeIssue> issues, const std::string& projectID, ForgeDialect dialect);

// What the answer leaves unreadable is as it was sent.
TaskItem taskItem(CreatedIssue created, const TaskDraft& draft, const std::string& projectID, ForgeDialect dialect);

// The parent that the issue names, by its number or, in another repository, as "owner/repo#number".
std::optional<TaskParent> parentOf(const ForgeIssue& issue, const std::string& projectID);

TaskComment taskComment(ForgeComment comment);
TaskComment taskComment(CreatedComment created, const std::string& body);

// What the notifications say about issues and pull requests, by project.
ChangeHints changeHints(const std::vector<ForgeNotification>& notifications);

}  // namespace marlet::forge
