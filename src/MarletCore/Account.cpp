#include "MarletCore/Account.h"

namespace marlet {

std::string projectKey(const UUID& accountID, const std::string& projectID) {
    return accountID.text() + "|" + projectID;
}

std::string taskKey(const UUID& accountID, const std::string& projectID, const std::string& taskID) {
    return projectKey(accountID, projectID) + "|" + taskID;
}

}  // namespace marlet
