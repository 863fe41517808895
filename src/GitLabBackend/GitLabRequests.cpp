#include "GitLabBackend/GitLabRequestsInternal.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "GitLabBackend/GitLabMappingInternal.h"
#include "MarletCore/BackendError.h"

namespace marlet::gitlab {
namespace {

const URLQueryItem pageSize{"per_page", "100"};

std::string projectPath(const std::string& projectID) {
    requirePathSegments(projectID);
    return "projects/" + projectID;
}

URLQuery listQuery(URLQueryItem which, std::optional<Date> updatedSince) {
    URLQuery query{
        std::move(which), {"order_by", "updated_at"}, {"sort", "desc"}, {"with_labels_details", "true"}, pageSize};
    if (updatedSince) {
        query.push_back({"updated_after", iso8601(*updatedSince)});
    }
    return query;
}

std::string joinedLabels(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (name.find(',') != std::string::npos) {
            throw BackendError::rejected("GitLab can't have a label with a comma in its name: \"" + name + "\".");
        }
    }
    return fmt::format("{}", fmt::join(names, ","));
}

std::optional<std::string> localDay(std::optional<Date> date) {
    return date ? std::optional(marlet::localDay(*date)) : std::nullopt;
}

}  // namespace

URL apiRoot(const Account& account) {
    return appendingAPIPath(account.baseURL, "api/v4");
}

// Beside the root of REST, in the place of its version.
URL graphQLURL(const Account& account) {
    URL root = apiRoot(account);
    URLComponents components = root.components();
    while (components.path.ends_with('/')) {
        components.path.pop_back();
    }
    components.path = components.path.substr(0, components.path.rfind('/') + 1) + "graphql";
    return URL::build(components).value_or(root);
}

HTTPHeaders requestHeaders(const std::string& token) {
    return {{"Authorization", "Bearer " + token}, {"Accept", "application/json"}};
}

std::string ItemNumber::taskID() const {
    return (isMergeRequest ? "!" : "") + std::to_string(iid);
}

ItemNumber itemNumber(const std::string& taskID) {
    bool isMergeRequest = taskID.starts_with('!');
    std::optional<int64_t> iid = decimalInteger(std::string_view(taskID).substr(isMergeRequest ? 1 : 0));
    if (!iid) {
        throw BackendError::notFound();
    }
    return {*iid, isMergeRequest};
}

std::string issuesPath(const std::string& projectID) {
    return projectPath(projectID) + "/issues";
}

std::string issueStatisticsPath(const std::string& projectID) {
    return projectPath(projectID) + "/issues_statistics";
}

std::string mergeRequestsPath(const std::string& projectID) {
    return projectPath(projectID) + "/merge_requests";
}

std::string itemPath(const std::string& projectID, ItemNumber item) {
    std::string list = item.isMergeRequest ? mergeRequestsPath(projectID) : issuesPath(projectID);
    return list + "/" + std::to_string(item.iid);
}

std::string notesPath(const TaskItem& task) {
    return itemPath(task.projectID, itemNumber(task.id)) + "/notes";
}

URLQuery projectsQuery() {
    return {
        {"membership", "true"}, {"archived", "false"}, {"order_by", "last_activity_at"}, {"sort", "desc"}, pageSize};
}

URLQuery issuesQuery(std::optional<Date> updatedSince) {
    return listQuery({"scope", "all"}, updatedSince);
}

URLQuery mergeRequestsQuery(std::optional<Date> updatedSince) {
    return listQuery({"state", "all"}, updatedSince);
}

URLQuery mergeRequestCountQuery() {
    return {{"state", "all"}, {"per_page", "1"}};
}

URLQuery notesQuery() {
    return {{"order_by", "created_at"}, {"sort", "asc"}, pageSize};
}

URLQuery todosQuery() {
    return {pageSize};
}

CreateIssue createIssue(const TaskDraft& draft) {
    CreateIssue body{draft.title, draft.notes, {}, localDay(draft.dueDate)};
    if (!draft.labels.empty()) {
        body.labels = joinedLabels(draft.labels);
    }
    return body;
}

EditIssue editIssue(const TaskItem& task, ItemNumber item, const GitLabIssue& current) {
    EditIssue body{task.title, task.notes, joinedLabels(labelNames(task.labels)), {}, !item.isMergeRequest, {}};
    if (isClosed(current) != task.isCompleted) {
        body.stateEvent = task.isCompleted ? "close" : "reopen";
    }
    if (body.includesDueDate) {
        body.dueDate = localDay(task.dueDate);
    }
    return body;
}

}  // namespace marlet::gitlab
