// Where requests go and what they ask for, as plain values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "JiraBackend/JiraFieldsInternal.h"
#include "MarletBase/Date.h"
#include "MarletHTTP/HTTPTransport.h"
#include "MarletHTTP/ServerURL.h"

namespace marlet::jira {

// Where the web pages are: the base that the user gave, without a REST root at its end.
URL webBase(const URL& baseURL);
URL restRoot(const URL& webBaseURL);
URL approximateCountURL(const URL& webBaseURL);
URL browseURL(const URL& webBaseURL, const std::string& key);
// A server that doesn't tell its deployment is told by its name.
bool isHosted(const URL& webBaseURL);

HTTPHeaders requestHeaders(const std::string& token);

// BackendError::notFound for an id that would lead elsewhere.
std::string projectPath(const std::string& projectID);
std::string issuePath(const std::string& key);

// The fields that a task is made of, as a query names them.
std::string issueFields(const CustomFieldIDs& ids);

// "\"-70m\"": at least ten minutes more than have gone by since the date. The service reads clock times in a zone of
// its own, and its clock may differ.
std::string relativeDate(Date since, Date now);
// BackendError::notFound for an id that is no number: it would be read as a part of the query.
std::string projectQuery(const std::string& projectID);
std::string tasksQuery(const std::string& projectID, std::optional<Date> updatedSince, Date now);
std::string ownChangesQuery(Date since, Date now);
std::string keysQuery(const std::vector<std::string>& keys);

// One page of any list.
URLQueryItem pageSize();
URLQueryItem startAt(size_t count);
URLQuery searchQuery(std::string jql, std::string fields);
URLQuery countQuery(std::string jql);

}  // namespace marlet::jira
