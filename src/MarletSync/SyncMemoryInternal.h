#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"

namespace marlet {

// What the engine knows between passes. All but the blocks and the relaxed mode mirrors the store, which refills it
// after a restart; within a run the memory wins. To be used on the engine's strand.
class SyncMemory {
public:
    SyncMemory(TaskStore& taskStore, SyncPolicy syncPolicy) : policy(syncPolicy), store(taskStore) {}

    const SyncPolicy policy;
    bool isRelaxed = false;
    std::optional<SyncProgress> progress;         // of the pass that runs
    std::unordered_map<UUID, Date> blockedUntil;  // rate-limited accounts; a restart forgets them

    std::unordered_map<std::string, int64_t> quietDeltas;  // by project key, and by account key for probes
    std::unordered_map<UUID, Date> lastProbeAt;
    std::unordered_map<UUID, Date> probedThrough;
    std::unordered_map<UUID, Date> probeRejectedAt;
    std::unordered_map<UUID, Date> hintRejectedAt;
    std::unordered_map<UUID, Date> lastHintAt;
    std::unordered_map<UUID, Date> hintedThrough;
    std::unordered_map<std::string, Date> actedHints;  // by project key

    // What relaxed mode multiplies intervals by.
    double factor() const { return isRelaxed ? policy.relaxedFactor : 1; }
    double projectDeltaInterval(const ProjectSyncState& project) const;
    double accountProbeInterval(const UUID& accountID) const;
    // The server refused the request not long ago.
    bool isProbeRejected(const UUID& accountID, Date now) const;
    bool isHintRejected(const UUID& accountID, Date now) const;
    bool isBlocked(const UUID& accountID, Date now) const;

    void restoreSyncState(const AccountSyncState& account, const std::vector<ProjectSyncState>& projects);

    // These write the store only for a value that is new. No project: the account's own count.
    Async<void> setQuietCount(int64_t count, UUID accountID, std::optional<std::string> projectID);
    Async<void> countQuiet(UUID accountID, std::optional<std::string> projectID);
    Async<void> setProbeRejection(std::optional<Date> date, UUID accountID);
    Async<void> setHintRejection(std::optional<Date> date, UUID accountID);

    Async<void> setChangeChecks(UUID accountID, ChangeChecks checks);
    Async<void> setActedHint(Date date, UUID accountID, std::string projectID);
    Async<void> resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID);
    Async<void> clearRejections(UUID accountID);

private:
    double backedOffInterval(const std::string& quietKey) const;

    TaskStore& store;
    // A pass may hold states that were read before the clearing or the reset; they don't bring back what is forgotten.
    std::unordered_set<UUID> rejectionsCleared;
    bool isQuietForgotten = false;
};

template <class Key, class Value>
std::optional<Value> valueFor(const std::unordered_map<Key, Value>& map, const Key& key) {
    auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional<Value>(found->second);
}

}  // namespace marlet
