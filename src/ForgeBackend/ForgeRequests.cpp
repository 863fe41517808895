#include "ForgeBackend/ForgeRequestsInternal.h"

#include <algorithm>
#include <unordered_map>

#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/GitHubURL.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet::forge {
namespace {

// A token without single sign-on is told the organisations it may not see in this header:
// "partial-results; organizations=21955855,20582480".
constexpr std::string_view singleSignOnHeader = "X-GitHub-SSO";

std::string repositoryPath(const std::string& projectID) {
    requirePathSegments(projectID);
    return "repos/" + projectID;
}

std::string pageSizeName(ForgeDialect dialect) {
    return dialect == ForgeDialect::github ? "per_page" : "limit";
}

// With one issue to a page the number of the last page is the number of issues.
std::optional<int64_t> lastPage(const URL& link) {
    std::string query = link.components().query.value_or("");
    for (std::string_view item : pieces(query, '&')) {
        if (item.starts_with("page=")) {
            return decimalInteger(item.substr(5));
        }
    }
    return std::nullopt;
}

}  // namespace

URL apiRoot(const Account& account) {
    return account.kind == BackendKind::github ? gitHubAPIRoot(account.baseURL) : appendingAPIv1(account.baseURL);
}

HTTPHeaders requestHeaders(ForgeDialect dialect, const std::string& token) {
    if (dialect == ForgeDialect::forgejo) {
        return {{"Authorization", "token " + token}, {"Accept", "application/json"}};
    }
    return {{"Authorization", "Bearer " + token},
            {"Accept", "application/vnd.github+json"},
            {"X-GitHub-Api-Version", "2022-11-28"}};
}

std::string issuesPath(const std::string& projectID) {
    return repositoryPath(projectID) + "/issues";
}

std::string issuePath(const std::string& projectID, const std::string& taskID) {
    requireNumber(taskID);
    return issuesPath(projectID) + "/" + taskID;
}

std::string labelsPath(const std::string& projectID) {
    return repositoryPath(projectID) + "/labels";
}

std::string organizationRepositoriesPath(const std::string& login) {
    return "orgs/" + login + "/repos";
}

URLQueryItem pageSize(ForgeDialect dialect) {
    return {pageSizeName(dialect), dialect == ForgeDialect::github ? "100" : "50"};
}

URLQuery repositoriesQuery(ForgeDialect dialect) {
    URLQuery query{pageSize(dialect)};
    if (dialect == ForgeDialect::github) {
        query.push_back({"sort", "updated"});
    }
    return query;
}

URLQuery organizationRepositoriesQuery(ForgeDialect dialect) {
    URLQuery query = repositoriesQuery(dialect);
    query.insert(query.begin(), {"type", "all"});
    return query;
}

URLQuery issuesQuery(ForgeDialect dialect, std::optional<Date> updatedSince) {
    URLQuery query{{"state", "all"}, pageSize(dialect)};
    if (dialect == ForgeDialect::github) {
        query.push_back({"sort", "updated"});
        query.push_back({"direction", "desc"});
    }
    if (updatedSince) {
        query.push_back({"since", iso8601(*updatedSince)});
    }
    return query;
}

URLQuery countQuery(ForgeDialect dialect) {
    return {{"state", "all"}, {pageSizeName(dialect), "1"}};
}

URLQuery notificationsQuery(ForgeDialect dialect, Date since) {
    return {{"all", "true"}, {"since", iso8601(since)}, pageSize(dialect)};
}

std::optional<Date> dueDateFor(ForgeDialect dialect, std::optional<Date> dueDate) {
    return dialect == ForgeDialect::forgejo ? dueDate : std::nullopt;
}

EditIssue editIssue(const TaskItem& task, ForgeDialect dialect) {
    EditIssue edit{task.title, task.notes, task.isCompleted ? "closed" : "open", {}, {}, {}};
    if (dialect == ForgeDialect::github) {
        edit.labels = LabelReferences{labelNames(task.labels)};
        return edit;
    }
    edit.dueDate = task.dueDate;
    if (!task.dueDate) {
        edit.unsetDueDate = true;
    }
    return edit;
}

LabelReferences labelIDs(const std::vector<std::string>& wanted, const std::vector<ForgeLabel>& repositoryLabels,
                         const std::vector<ForgeLabel>& issueLabels) {
    std::unordered_map<std::string_view, int64_t> known;
    for (const ForgeLabel& label : repositoryLabels) {
        known.emplace(label.name, label.id);
    }
    for (const ForgeLabel& label : issueLabels) {
        known.emplace(label.name, label.id);
    }
    std::vector<int64_t> ids;
    std::vector<std::string> missing;
    for (const std::string& name : wanted) {
        auto found = known.find(name);
        if (found == known.end()) {
            missing.push_back(name);
        } else {
            ids.push_back(found->second);
        }
    }
    if (!missing.empty()) {
        throw BackendError::unknownLabels(std::move(missing));
    }
    return {std::move(ids)};
}

int64_t hiddenOrganizations(const HTTPResponse& response) {
    std::string value = lowercasedASCII(response.header(singleSignOnHeader).value_or(""));
    if (!value.starts_with("partial-results")) {
        return 0;
    }
    constexpr std::string_view prefix = "organizations=";
    for (std::string_view piece : pieces(value, ';')) {
        std::string text = trimmed(piece);
        if (text.starts_with(prefix)) {
            auto count = static_cast<int64_t>(pieces(std::string_view(text).substr(prefix.size()), ',').size());
            return std::max<int64_t>(count, 1);
        }
    }
    return 1;
}

BackendError organizationsHidden(int64_t count) {
    std::string who = count == 1 ? "an organization" : std::to_string(count) + " organizations";
    return BackendError::rejected("GitHub hides the repositories of " + who +
                                  " that use SAML single sign-on from this token. Authorize it under Settings → "
                                  "Developer settings → Personal access tokens (classic) → Configure SSO, then connect "
                                  "again.");
}

std::optional<int64_t> issueCount(const HTTPResponse& response, ForgeDialect dialect) {
    if (dialect == ForgeDialect::forgejo) {
        return decimalInteger(response.header("X-Total-Count").value_or(""));
    }
    if (std::optional<URL> last = response.link("last")) {
        return lastPage(*last);
    }
    return static_cast<int64_t>(response.decode<std::vector<PresenceMarker>>().size());
}

}  // namespace marlet::forge
