#pragma once

#include <boost/describe.hpp>
#include <string>

#include "MarletBase/URL.h"
#include "MarletBase/UUID.h"
#include "MarletCore/BackendKind.h"

namespace marlet {

// One configured connection to a service.
struct Account {
    UUID id;
    BackendKind kind = BackendKind::github;
    std::string displayName;
    URL baseURL;

    bool operator==(const Account&) const = default;
};
BOOST_DESCRIBE_STRUCT(Account, (), (id, kind, displayName, baseURL))

// Keys know a project or a task across accounts. No part of a key is escaped.
std::string projectKey(const UUID& accountID, const std::string& projectID);
std::string taskKey(const UUID& accountID, const std::string& projectID, const std::string& taskID);

}  // namespace marlet
