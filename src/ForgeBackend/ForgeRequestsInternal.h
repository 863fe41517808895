// What is asked of the services: paths, queries and bodies, and what the headers of an answer say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ForgeBackend/ForgeRecordsInternal.h"
#include "ForgeBackend/ForgeTaskBackend.h"
#include "MarletCore/BackendError.h"

namespace marlet::forge {

URL apiRoot(const Account& account);
HTTPHeaders requestHeaders(ForgeDialect dialect, const std::string& token);

// "repos/owner/repo/issues". BackendError::notFound for an id that would lead elsewhere.
std::string issuesPath(const std::string& projectID);
// The same for one issue, which has a number.
std::string issuePath(const std::string& projectID, const std::string& taskID);
std::string labelsPath(const std::string& projectID);
std::string organizationRepositoriesPath(const std::string& login);

URLQueryItem pageSize(ForgeDialect dialect);
URLQuery repositoriesQuery(ForgeDialect dialect);
URLQuery organizationRepositoriesQuery(ForgeDialect dialect);
URLQuery issuesQuery(ForgeDialect dialect, std::optional<Date> updatedSince);
URLQuery countQuery(ForgeDialect dialect);
URLQuery notificationsQuery(ForgeDialect dialect, Date since);

// Issues of GitHub have no due dates; sending one is an error there.
std::optional<Date> dueDateFor(ForgeDialect dialect, std::optional<Date> dueDate);
EditIssue editIssue(const TaskItem& task, ForgeDialect dialect);

// The ids of the wanted labels, in order. Those that an issue carries count where the repository lacks them: its list
// leaves out the labels of its organisation. Throws BackendError::unknownLabels.
LabelReferences labelIDs(const std::vector<std::string>& wanted, const std::vector<ForgeLabel>& repositoryLabels,
                         const std::vector<ForgeLabel>& issueLabels);

// How many organisations the answer says it leaves out, since the token wasn't authorized for them.
int64_t hiddenOrganizations(const HTTPResponse& response);
BackendError organizationsHidden(int64_t count);

std::optional<int64_t> issueCount(const HTTPResponse& response, ForgeDialect dialect);

}  // namespace marlet::forge
