#include "MarletSync/SyncMemoryInternal.h"

#include <algorithm>
#include <cmath>

namespace marlet {
namespace {

// Guards the arithmetic; with ordinary policies the longest interval is reached far earlier.
constexpr int64_t maxExponent = 16;

std::string quietKey(const UUID& accountID, const std::optional<std::string>& projectID) {
    return projectID ? projectKey(accountID, *projectID) : accountID.text() + "\n";
}

template <class Key, class Value>
void restore(std::unordered_map<Key, Value>& map, const Key& key, const std::optional<Value>& stored) {
    if (stored) {
        map.try_emplace(key, *stored);
    }
}

bool isRecent(const std::unordered_map<UUID, Date>& dates, const UUID& accountID, Date now, double interval) {
    std::optional<Date> date = valueFor(dates, accountID);
    return date && secondsBetween(*date, now) < interval;
}

// False when the map holds this already.
bool replace(std::unordered_map<UUID, Date>& dates, const UUID& accountID, std::optional<Date> date) {
    if (valueFor(dates, accountID) == date) {
        return false;
    }
    if (date) {
        dates[accountID] = *date;
    } else {
        dates.erase(accountID);
    }
    return true;
}

// For what the memory holds anyway: a store that can't keep it costs some requests after the next start.
Async<void> passingOver(Async<void> writing) {
    try {
        co_await std::move(writing);
    } catch (...) {
    }
}

}  // namespace

double SyncMemory::backedOffInterval(const std::string& key) const {
    int64_t quiet = valueFor(quietDeltas, key).value_or(0);
    double doubled = policy.deltaInterval * std::exp2(static_cast<double>(std::min(quiet, maxExponent)));
    return std::min(policy.maxDeltaInterval, doubled) * factor();
}

double SyncMemory::projectDeltaInterval(const ProjectSyncState& project) const {
    return backedOffInterval(quietKey(project.accountID, project.projectID));
}

double SyncMemory::accountProbeInterval(const UUID& accountID) const {
    return backedOffInterval(quietKey(accountID, std::nullopt));
}

bool SyncMemory::isProbeRejected(const UUID& accountID, Date now) const {
    return isRecent(probeRejectedAt, accountID, now, policy.rejectionRetryInterval);
}

bool SyncMemory::isHintRejected(const UUID& accountID, Date now) const {
    return isRecent(hintRejectedAt, accountID, now, policy.rejectionRetryInterval);
}

bool SyncMemory::isBlocked(const UUID& accountID, Date now) const {
    std::optional<Date> until = valueFor(blockedUntil, accountID);
    return until && *until > now;
}

void SyncMemory::restoreSyncState(const AccountSyncState& account, const std::vector<ProjectSyncState>& projects) {
    const UUID& id = account.account.id;
    auto quiet = [&](int64_t stored) { return isQuietForgotten ? 0 : stored; };
    quietDeltas.try_emplace(quietKey(id, std::nullopt), quiet(account.quietProbes));
    restore(lastProbeAt, id, account.lastProbeAt);
    restore(probedThrough, id, account.probedThrough);
    restore(lastHintAt, id, account.lastHintAt);
    restore(hintedThrough, id, account.hintedThrough);
    if (!rejectionsCleared.contains(id)) {
        restore(probeRejectedAt, id, account.probeRejectedAt);
        restore(hintRejectedAt, id, account.hintRejectedAt);
    }
    for (const ProjectSyncState& project : projects) {
        std::string key = quietKey(id, project.projectID);
        quietDeltas.try_emplace(key, quiet(project.quietFetches));
        restore(actedHints, key, project.actedHintAt);
    }
}

Async<void> SyncMemory::setQuietCount(int64_t count, UUID accountID, std::optional<std::string> projectID) {
    std::string key = quietKey(accountID, projectID);
    if (valueFor(quietDeltas, key) == count) {
        co_return;
    }
    quietDeltas[key] = count;
    if (projectID) {
        co_await store.setQuietFetches(count, accountID, *projectID);
    } else {
        co_await store.setQuietProbes(count, accountID);
    }
}

Async<void> SyncMemory::countQuiet(UUID accountID, std::optional<std::string> projectID) {
    int64_t before = valueFor(quietDeltas, quietKey(accountID, projectID)).value_or(0);
    co_await setQuietCount(before + 1, accountID, std::move(projectID));
}

Async<void> SyncMemory::setProbeRejection(std::optional<Date> date, UUID accountID) {
    if (replace(probeRejectedAt, accountID, date)) {
        co_await store.setProbeRejected(date, accountID);
    }
}

Async<void> SyncMemory::setHintRejection(std::optional<Date> date, UUID accountID) {
    if (replace(hintRejectedAt, accountID, date)) {
        co_await store.setHintRejected(date, accountID);
    }
}

Async<void> SyncMemory::setChangeChecks(UUID accountID, ChangeChecks checks) {
    auto note = [&](std::unordered_map<UUID, Date>& dates, const std::optional<Date>& date) {
        if (date) {
            dates[accountID] = *date;
        }
    };
    note(lastProbeAt, checks.lastProbeAt);
    note(probedThrough, checks.probedThrough);
    note(lastHintAt, checks.lastHintAt);
    note(hintedThrough, checks.hintedThrough);
    co_await store.setChangeChecks(accountID, checks);
}

Async<void> SyncMemory::setActedHint(Date date, UUID accountID, std::string projectID) {
    actedHints[projectKey(accountID, projectID)] = date;
    co_await store.setActedHint(date, accountID, projectID);
}

Async<void> SyncMemory::resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID) {
    if (projectID && accountID) {
        co_await passingOver(setQuietCount(0, *accountID, projectID));
        co_await passingOver(setQuietCount(0, *accountID, std::nullopt));
        co_return;
    }
    isQuietForgotten = true;
    for (auto& [key, count] : quietDeltas) {
        count = 0;
    }
    co_await passingOver(store.resetQuietCounts());
}

Async<void> SyncMemory::clearRejections(UUID accountID) {
    rejectionsCleared.insert(accountID);
    probeRejectedAt.erase(accountID);
    hintRejectedAt.erase(accountID);
    co_await passingOver(store.setProbeRejected(std::nullopt, accountID));
    co_await passingOver(store.setHintRejected(std::nullopt, accountID));
}

}  // namespace marlet
