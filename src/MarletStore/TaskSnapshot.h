// What readers see of a task or a project: the record with the derived facts that a list needs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "MarletBase/Date.h"
#include "MarletCore/Account.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"
#include "MarletStore/PendingOperation.h"

namespace marlet {

struct TaskSnapshot {
    UUID localID;  // stays with the task for life; the key changes when a server names the task
    std::string key;
    UUID accountID;
    std::string projectName;
    TaskItem item;
    bool isNext = false;
    bool isStarred = false;
    bool isUnread = false;
    bool isTiming = false;
    double trackedTime = 0;  // seconds
    std::optional<Date> lastStartedAt;
    std::optional<PendingOperation> pendingOperation;
    std::optional<std::string> pushError;

    std::string projectKey() const { return marlet::projectKey(accountID, item.projectID); }

    bool operator==(const TaskSnapshot&) const = default;
};

struct ProjectSnapshot {
    std::string key;
    UUID accountID;
    std::string accountName;
    BackendKind kind = BackendKind::github;
    std::string projectID;
    std::string name;
    std::string detail;
    std::optional<URL> webURL;
    bool isSubscribed = false;
    int64_t openTaskCount = 0;
    std::optional<std::string> syncError;
    Project project;

    bool operator==(const ProjectSnapshot&) const = default;
};

}  // namespace marlet
