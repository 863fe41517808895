// The pass over an account whose service can tell, in one request, which of all its projects changed.
#include "MarletSync/AccountPassInternal.h"
#include "MarletSync/ErrorLevelInternal.h"

namespace marlet {

Async<void> AccountPass::probeChanges(AccountChangeProbing& probing) {
    co_await fetchOverdueProjects();

    std::optional<Date> last = valueFor(memory.lastProbeAt, accountID);
    if (last && secondsBetween(*last, pass.now) < memory.accountProbeInterval(accountID)) {
        co_return;
    }
    std::optional<Date> probedThrough = valueFor(memory.probedThrough, accountID);
    std::optional<Date> start = probedThrough ? probedThrough : oldestSync();
    if (!start) {
        co_return;
    }
    Date since = *start - memory.policy.probeOverlap;
    auto newest = co_await answer(probing.latestTaskUpdates(since));
    if (!newest.value) {
        co_await memory.setProbeRejection(pass.now, accountID);
        co_return;
    }
    co_await memory.setProbeRejection(std::nullopt, accountID);
    co_await memory.setChangeChecks(accountID, {.lastProbeAt = pass.now});

    hints = co_await collectHints();
    co_await actOnDeletionHints();
    std::vector<DueProject> due = dueProjects(*newest.value);
    if (due.empty()) {
        co_await memory.countQuiet(accountID, std::nullopt);
    } else {
        co_await memory.setQuietCount(0, accountID, std::nullopt);
    }
    bool hadTheirTurn = co_await fetchDueProjects(std::move(due));
    if (hadTheirTurn && allServed) {
        co_await noteProbedThrough();
    }
}

Async<void> AccountPass::fetchOverdueProjects() {
    for (const ProjectSyncState& project : projects) {
        if (pass.budget <= 0) {
            co_return;
        }
        if (!isFullFetchDue(project)) {
            continue;
        }
        --pass.budget;
        std::optional<Mode> mode = co_await overdueMode(project);
        if (!mode) {
            continue;
        }
        bool isServed = co_await fetchProject(project, *mode);
        if (isServed) {
            (*mode == Mode::full ? fullyFetched : deltaFetched).insert(project.projectID);
        }
    }
}

// None: the counts agree.
Async<std::optional<AccountPass::Mode>> AccountPass::overdueMode(ProjectSyncState project) {
    auto* counting = dynamic_cast<TaskCounting*>(backend.get());
    if (!counting) {
        co_return Mode::full;
    }
    CountOutcome outcome = co_await checkCount(std::move(project), *counting);
    co_return outcome == CountOutcome::unchanged ? std::nullopt : std::optional(modeAfter(outcome));
}

// The probe answers for changed tasks; only deletions are left for the hints to tell.
Async<void> AccountPass::actOnDeletionHints() {
    std::erase_if(hints, [](const auto& entry) { return entry.second.mode != Mode::full; });
    for (const auto& [projectID, hint] : hints) {
        if (fullyFetched.contains(projectID)) {
            co_await memory.setActedHint(hint.date, accountID, projectID);
        }
    }
}

std::vector<AccountPass::DueProject> AccountPass::dueProjects(
    const std::optional<std::map<std::string, Date>>& newest) const {
    std::vector<DueProject> due;
    for (const ProjectSyncState& project : projects) {
        if (fullyFetched.contains(project.projectID) || !project.lastSyncedAt) {
            continue;
        }
        if (hints.contains(project.projectID)) {
            due.push_back({project, Mode::full});
            continue;
        }
        if (deltaFetched.contains(project.projectID)) {
            continue;
        }
        if (newest) {
            auto found = newest->find(project.projectID);
            if (found == newest->end() || found->second <= project.deltaCursor.value_or(distantPast)) {
                continue;
            }
        }
        due.push_back({project, Mode::delta});
    }
    return due;
}

Async<bool> AccountPass::fetchDueProjects(std::vector<DueProject> due) {
    for (const auto& [project, mode] : due) {
        if (pass.budget <= 0) {
            co_return false;
        }
        --pass.budget;
        bool isServed = co_await fetchProject(project, mode);
        allServed = allServed && isServed;
        auto hint = hints.find(project.projectID);
        if (isServed && hint != hints.end()) {
            co_await memory.setActedHint(hint->second.date, accountID, project.projectID);
        }
    }
    co_return true;
}

// Dates move only when all that was found is fetched: what was refused or had to wait is found again.
Async<void> AccountPass::noteProbedThrough() {
    ChangeChecks checks{.probedThrough = pass.now};
    if (hasReadHints) {
        checks.hintedThrough = pass.now;
    }
    co_await memory.setChangeChecks(accountID, checks);
}

}  // namespace marlet
