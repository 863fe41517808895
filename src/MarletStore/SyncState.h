// What the sync engine remembers between runs, per account and per subscribed project.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "MarletBase/Date.h"
#include "MarletCore/Account.h"

namespace marlet {

struct AccountSyncState {
    Account account;
    std::optional<Date> lastProjectRefresh;
    std::optional<std::string> syncError;
    int64_t quietProbes = 0;
    std::optional<Date> lastProbeAt;
    std::optional<Date> probedThrough;
    std::optional<Date> lastHintAt;
    std::optional<Date> hintedThrough;
    std::optional<Date> probeRejectedAt;
    std::optional<Date> hintRejectedAt;
    std::optional<std::string> defaultTaskType;

    bool operator==(const AccountSyncState&) const = default;
};

struct ProjectSyncState {
    UUID accountID;
    std::string projectID;
    std::optional<Date> deltaCursor;
    std::optional<Date> lastSyncedAt;
    std::optional<Date> lastFullSyncAt;
    std::optional<Date> lastCountCheckAt;
    int64_t quietFetches = 0;
    std::optional<Date> actedHintAt;

    bool operator==(const ProjectSyncState&) const = default;
};

// The dates of an account's probes and hint requests; those absent stay as they are in the store.
struct ChangeChecks {
    std::optional<Date> lastProbeAt;
    std::optional<Date> probedThrough;
    std::optional<Date> lastHintAt;
    std::optional<Date> hintedThrough;
};

}  // namespace marlet
