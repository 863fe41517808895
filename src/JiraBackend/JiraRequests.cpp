#include "JiraBackend/JiraRequestsInternal.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "MarletBase/Base64.h"
#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet::jira {
namespace {

constexpr std::string_view hostedDomain = ".atlassian.net";
constexpr double margin = 600;

bool isVersion(std::string_view component) {
    return component == "2" || component == "3" || component == "latest";
}

// An epic link is a text, and may be any.
std::string quotedText(std::string_view text) {
    std::string result = "\"";
    for (char character : text) {
        result += character == '"' || character == '\\' ? "\\" : "";
        result += character;
    }
    return result + "\"";
}

void requirePathSegment(const std::string& id) {
    requirePathSegments(id);
    if (id.find('/') != std::string::npos) {
        throw BackendError::notFound();
    }
}

}  // namespace

URL webBase(const URL& baseURL) {
    URLComponents components = baseURL.components();
    std::vector<std::string_view> path = pieces(components.path, '/');
    size_t count = path.size();
    bool isRoot = count >= 3 && path[count - 3] == "rest" && path[count - 2] == "api" && isVersion(path[count - 1]);
    if (!isRoot) {
        return baseURL;
    }
    path.resize(count - 3);
    components.path = path.empty() ? "" : fmt::format("/{}", fmt::join(path, "/"));
    return URL::build(components).value_or(baseURL);
}

URL restRoot(const URL& webBaseURL) {
    return appendingPath(webBaseURL, "rest/api/2");
}

URL approximateCountURL(const URL& webBaseURL) {
    return appendingPath(webBaseURL, "rest/api/3/search/approximate-count");
}

URL browseURL(const URL& webBaseURL, const std::string& key) {
    return appendingPath(webBaseURL, "browse/" + key);
}

bool isHosted(const URL& webBaseURL) {
    return lowercasedASCII(webBaseURL.components().host.value_or("")).ends_with(hostedDomain);
}

HTTPHeaders requestHeaders(const std::string& token) {
    bool isPair = token.find(':') != std::string::npos;
    return {{"Authorization", isPair ? "Basic " + base64(token) : "Bearer " + token}, {"Accept", "application/json"}};
}

std::string projectPath(const std::string& projectID) {
    requirePathSegment(projectID);
    return "project/" + projectID;
}

std::string issuePath(const std::string& key) {
    requirePathSegment(key);
    return "issue/" + key;
}

std::string issueFields(const CustomFieldIDs& ids) {
    std::string fields =
        "summary,description,status,created,updated,duedate,priority,labels,assignee,fixVersions,project,issuetype,"
        "parent";
    if (ids.epicLink) {
        fields += "," + *ids.epicLink;
    }
    for (const std::string& id : ids.storyPoints) {
        fields += "," + id;
    }
    return fields;
}

std::string relativeDate(Date since, Date now) {
    double minutes = std::ceil((secondsBetween(since, now) + margin) / 60);
    return fmt::format("\"-{:.0f}m\"", std::max(minutes, 1.0));
}

std::string projectQuery(const std::string& projectID) {
    requireNumber(projectID);
    return "project = " + projectID;
}

std::string tasksQuery(const std::string& projectID, std::optional<Date> updatedSince, Date now) {
    std::string jql = projectQuery(projectID);
    if (updatedSince) {
        jql += " AND updated >= " + relativeDate(*updatedSince, now);
    }
    return jql + " ORDER BY updated DESC";
}

std::string ownChangesQuery(Date since, Date now) {
    return "(assignee = currentUser() OR reporter = currentUser() OR watcher = currentUser()) AND updated >= " +
           relativeDate(since, now) + " ORDER BY updated DESC";
}

std::string keysQuery(const std::vector<std::string>& keys) {
    std::vector<std::string> quoted;
    quoted.reserve(keys.size());
    for (const std::string& key : keys) {
        quoted.push_back(quotedText(key));
    }
    return fmt::format("key in ({})", fmt::join(quoted, ","));
}

URLQueryItem pageSize() {
    return {"maxResults", "100"};
}

URLQueryItem startAt(size_t count) {
    return {"startAt", std::to_string(count)};
}

URLQuery searchQuery(std::string jql, std::string fields) {
    return {{"jql", std::move(jql)}, {"fields", std::move(fields)}, pageSize()};
}

URLQuery countQuery(std::string jql) {
    return {{"jql", std::move(jql)}, {"maxResults", "0"}, {"fields", "id"}};
}

}  // namespace marlet::jira
