#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "MarletCore/TaskBackend.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"
#include "MarletSync/SyncMemoryInternal.h"

namespace marlet {

// What one pass over the accounts was asked for, and what it may still do.
struct Pass {
    std::optional<SyncEngine::Mode> mode;  // none: an automatic pass, which decides for each project
    std::optional<std::string> projectID;  // only this project
    Date now;                              // the date of all that the pass does
    int64_t budget = 0;                    // fetches left, over all accounts
};

// Sends what waits, the oldest first. A task that the server refuses says so and leaves the queue; any other failure
// ends the sending and is thrown.
Async<void> pushPending(TaskStore& store, std::shared_ptr<TaskBackend> backend, UUID accountID);

// One account's part of one pass: push, refresh the project list when it is old, find out what changed, fetch it.
// What it is given outlives it. To be used on the engine's strand.
class AccountPass {
public:
    AccountPass(TaskStore& taskStore, SyncMemory& syncMemory, const SyncEngine::ChangeHandler& handler, Pass& whole,
                AccountSyncState accountState, std::shared_ptr<TaskBackend> accountBackend);

    // Throws what ends the account's part.
    Async<void> run();

private:
    using Mode = SyncEngine::Mode;

    // One project has reason to be fetched, in this mode, because of a change of this date.
    struct Hint {
        Date date;
        Mode mode = Mode::delta;
    };
    using Hints = std::map<std::string, Hint>;  // by project id

    struct DueProject {
        ProjectSyncState project;
        Mode mode = Mode::delta;
    };

    // How the server's count compares with the store's.
    enum class CountOutcome {
        delta,      // the server has more
        full,       // the server has fewer, so tasks have gone
        unknown,    // nothing is proven
        unchanged,  // the counts agree
    };

    Async<void> readProjects();
    Async<void> walkProjects();
    Async<std::optional<Mode>> scheduledMode(ProjectSyncState project);
    // False when the server refused, which the project then says.
    Async<bool> fetchProject(ProjectSyncState project, Mode mode);
    Async<void> applyTasks(ProjectSyncState project, std::optional<Date> since, std::vector<TaskItem> tasks);
    Async<void> tellChanges(std::vector<RemoteChange> changes);

    // A full fetch proves what a count couldn't.
    static Mode modeAfter(CountOutcome outcome) { return outcome == CountOutcome::delta ? Mode::delta : Mode::full; }
    bool isFullFetchDue(const ProjectSyncState& project) const;
    bool isDeltaFetchDue(const ProjectSyncState& project) const;
    std::optional<Date> oldestSync() const;
    std::optional<Date> actedHint(const ProjectSyncState& project) const;

    Async<CountOutcome> checkCount(ProjectSyncState project, TaskCounting& counting);
    Async<Hints> collectHints();
    Hints hintsIn(const ChangeHints& notified) const;

    Async<void> probeChanges(AccountChangeProbing& probing);
    Async<void> fetchOverdueProjects();
    Async<std::optional<Mode>> overdueMode(ProjectSyncState project);
    Async<void> actOnDeletionHints();
    std::vector<DueProject> dueProjects(const std::optional<std::map<std::string, Date>>& newest) const;
    // False when the budget ran out before every project had its turn.
    Async<bool> fetchDueProjects(std::vector<DueProject> due);
    Async<void> noteProbedThrough();

    TaskStore& store;
    SyncMemory& memory;
    const SyncEngine::ChangeHandler& changeHandler;
    Pass& pass;
    const AccountSyncState state;
    const UUID accountID;
    const std::shared_ptr<TaskBackend> backend;

    std::vector<ProjectSyncState> projects;  // as they are at the start, whatever the pass does
    Hints hints;
    bool hasReadHints = false;  // the service was asked in this pass
    bool allServed = true;      // all that the hints or the probe found is fetched
    std::set<std::string> fullyFetched;
    std::set<std::string> deltaFetched;
};

}  // namespace marlet
