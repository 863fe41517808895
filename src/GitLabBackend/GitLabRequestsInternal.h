// What is asked of GitLab: paths, queries and bodies.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "GitLabBackend/GitLabRecordsInternal.h"
#include "MarletCore/Account.h"
#include "MarletCore/TaskItem.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet::gitlab {

URL apiRoot(const Account& account);
URL graphQLURL(const Account& account);
HTTPHeaders requestHeaders(const std::string& token);

// Issues and tasks are numbered together, merge requests by themselves.
struct ItemNumber {
    int64_t iid = 0;
    bool isMergeRequest = false;

    std::string taskID() const;  // "7", or "!7" for a merge request
};
// Throws BackendError::notFound for an id that names nothing.
ItemNumber itemNumber(const std::string& taskID);

// "projects/4/issues". BackendError::notFound for an id that would lead elsewhere.
std::string issuesPath(const std::string& projectID);
std::string issueStatisticsPath(const std::string& projectID);
std::string mergeRequestsPath(const std::string& projectID);
// "projects/4/issues/7" or "projects/4/merge_requests/7".
std::string itemPath(const std::string& projectID, ItemNumber item);
std::string notesPath(const TaskItem& task);

URLQuery projectsQuery();
URLQuery issuesQuery(std::optional<Date> updatedSince);
URLQuery mergeRequestsQuery(std::optional<Date> updatedSince);
URLQuery mergeRequestCountQuery();
URLQuery notesQuery();
URLQuery todosQuery();

// Both throw BackendError::rejected for a label with a comma: the wire has the names in one text, parted by commas, and
// GitLab lets no label have one.
CreateIssue createIssue(const TaskDraft& draft);
EditIssue editIssue(const TaskItem& task, ItemNumber item, const GitLabIssue& current);

}  // namespace marlet::gitlab
