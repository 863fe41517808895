// How a pass learns with one cheap request where to look: a count before a full fetch, and the notification feed.
#include <algorithm>

#include "MarletSync/AccountPassInternal.h"
#include "MarletSync/ErrorLevelInternal.h"

namespace marlet {

std::optional<Date> AccountPass::oldestSync() const {
    std::optional<Date> oldest;
    for (const ProjectSyncState& project : projects) {
        if (project.lastSyncedAt) {
            oldest = std::min(oldest.value_or(*project.lastSyncedAt), *project.lastSyncedAt);
        }
    }
    return oldest;
}

std::optional<Date> AccountPass::actedHint(const ProjectSyncState& project) const {
    return valueFor(memory.actedHints, projectKey(accountID, project.projectID));
}

Async<AccountPass::CountOutcome> AccountPass::checkCount(ProjectSyncState project, TaskCounting& counting) {
    double safetyInterval = memory.policy.safetyFullInterval * memory.factor();
    if (!project.lastFullSyncAt || secondsBetween(*project.lastFullSyncAt, pass.now) >= safetyInterval) {
        co_return CountOutcome::unknown;
    }
    Answer<std::optional<int64_t>> counted = co_await answer(counting.taskCount(project.projectID));
    std::optional<int64_t> remote = counted.value.value_or(std::nullopt);
    if (!remote) {
        co_return CountOutcome::unknown;
    }
    int64_t local = co_await store.remoteTaskCount(accountID, project.projectID);
    if (*remote < local) {
        co_return CountOutcome::full;
    }
    co_await store.setCountChecked(pass.now, accountID, project.projectID);
    co_return local < *remote ? CountOutcome::delta : CountOutcome::unchanged;
}

Async<AccountPass::Hints> AccountPass::collectHints() {
    auto* hinting = dynamic_cast<ChangeHinting*>(backend.get());
    if (!hinting || !hinting->providesChangeHints() || memory.isHintRejected(accountID, pass.now)) {
        co_return Hints();
    }
    std::optional<Date> last = valueFor(memory.lastHintAt, accountID);
    if (last && secondsBetween(*last, pass.now) < memory.policy.hintInterval * memory.factor()) {
        co_return Hints();
    }
    std::optional<Date> hintedThrough = valueFor(memory.hintedThrough, accountID);
    std::optional<Date> start = hintedThrough ? hintedThrough : oldestSync();
    if (!start) {
        co_return Hints();
    }
    Date since = *start - memory.policy.probeOverlap;
    Answer<ChangeHints> notified = co_await answer(hinting->notifiedTaskUpdates(since));
    if (!notified.value) {
        // The server doesn't offer this to us: not worth a word to the user, nor another request today.
        co_await memory.setHintRejection(pass.now, accountID);
        co_return Hints();
    }
    co_await memory.setHintRejection(std::nullopt, accountID);
    co_await memory.setChangeChecks(accountID, {.lastHintAt = pass.now});
    hasReadHints = true;
    co_return hintsIn(*notified.value);
}

AccountPass::Hints AccountPass::hintsIn(const ChangeHints& notified) const {
    Hints result;
    for (const ProjectSyncState& project : projects) {
        auto found = notified.find(project.projectID);
        if (!project.lastSyncedAt || found == notified.end()) {
            continue;
        }
        const ChangeHint& change = found->second;
        Date acted = actedHint(project).value_or(distantPast);
        if (change.latestDeletion && *change.latestDeletion > acted) {
            result[project.projectID] = {change.latest, Mode::full};
        } else if (change.latest > std::max(acted, project.deltaCursor.value_or(distantPast))) {
            result[project.projectID] = {change.latest, Mode::delta};
        }
    }
    return result;
}

}  // namespace marlet
