// From Vikunja's records to those of the engine. Plain functions; `web` is where the service's pages are.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletCore/ChangeHint.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"
#include "VikunjaBackend/VikunjaRecordsInternal.h"

namespace marlet::vikunja {

// Those that are real and in use: the service lists its filters among them, with negative ids.
std::vector<Project> projects(std::vector<VikunjaProject> found, const UUID& accountID, const URL& web);

std::vector<TaskLabel> taskLabels(std::optional<std::vector<VikunjaLabel>> labels);
// The first of the task's parents.
std::optional<VikunjaRelated> parentOf(VikunjaTaskParents task);

TaskItem taskItem(VikunjaTask task, const URL& web);
// What the answer leaves unreadable is as it was sent.
TaskItem taskItem(CreatedVikunjaTask created, const TaskDraft& draft, const std::string& projectID, const URL& web);

TaskComment taskComment(VikunjaComment comment);
TaskComment taskComment(CreatedVikunjaComment created, const std::string& body);

// Whether the task changed at this date or later. One that doesn't say when may have changed at any time.
bool isChanged(const VikunjaTask& task, Date since);

// The latest change of each project, by its id.
std::map<std::string, Date> latestUpdates(const std::vector<VikunjaTask>& tasks);

// What the notifications say about tasks, by project.
ChangeHints changeHints(const std::vector<VikunjaNotification>& notifications);

}  // namespace marlet::vikunja
