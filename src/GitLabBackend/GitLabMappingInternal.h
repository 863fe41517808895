// What GitLab's records mean in the engine's own words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "GitLabBackend/GitLabRecordsInternal.h"
#include "GitLabBackend/GitLabWorkItemsInternal.h"
#include "MarletCore/ChangeHint.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"

namespace marlet::gitlab {

// Those that can have issues.
std::vector<Project> projects(std::vector<GitLabProject> found, const UUID& accountID);

// Also when a merge request was merged.
bool isClosed(const GitLabIssue& issue);
// A "task" in the sense of GitLab: a work item below an issue.
bool isTask(const GitLabIssue& issue);
std::vector<int64_t> taskNumbers(const std::vector<GitLabIssue>& issues);

TaskItem taskItem(GitLabIssue issue, const std::string& projectID, bool isMergeRequest,
                  std::optional<TaskParent> parent);
// Of both lists the `limit` that changed last, the newest change first.
std::vector<TaskItem> taskItems(std::vector<GitLabIssue> issues, std::vector<GitLabIssue> mergeRequests,
                                const ParentsByNumber& parents, const std::string& projectID, size_t limit);
// What the answer leaves unreadable is as it was sent.
TaskItem taskItem(CreatedIssue created, const CreateIssue& sent, const std::string& projectID);

// A label without a color gets the one that it has among `known`.
void takeColors(TaskItem& item, const std::vector<TaskLabel>& known);

TaskComment taskComment(GitLabNote note);
TaskComment taskComment(CreatedNote created, const std::string& body);
// Without what GitLab notes by itself.
std::vector<TaskComment> taskComments(std::vector<GitLabNote> notes);

// What the todos say about issues and merge requests, by project.
ChangeHints changeHints(const std::vector<GitLabTodo>& todos);

}  // namespace marlet::gitlab
