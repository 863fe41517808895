#include "MarletSync/AccountPassInternal.h"

#include <algorithm>

#include "MarletSync/ErrorLevelInternal.h"

namespace marlet {
namespace {

TaskDraft draftOf(const TaskItem& item) {
    TaskDraft draft{item.title, item.notes, item.dueDate, {}, item.typeName, item.id};
    for (const TaskLabel& label : item.labels) {
        draft.labels.push_back(label.name);
    }
    return draft;
}

Async<TaskItem> send(std::shared_ptr<TaskBackend> backend, PendingPush push) {
    if (push.operation == PendingOperation::create) {
        co_return co_await backend->createTask(draftOf(push.item), push.item.projectID);
    }
    co_return co_await backend->updateTask(push.item);
}

}  // namespace

Async<void> pushPending(TaskStore& store, std::shared_ptr<TaskBackend> backend, UUID accountID) {
    std::vector<PendingPush> pushes = co_await store.pendingPushes(accountID);
    for (const PendingPush& push : pushes) {
        // Nothing may come between the server's answer and its place in the store: a lost answer to a creation would
        // make the task a second time.
        Answer<TaskItem> sent = co_await answer(send(backend, push));
        if (sent.value) {
            co_await store.completePush(push.key, push.revision, *sent.value);
        } else {
            co_await store.failPush(push.key, sent.refusal);
        }
    }
}

AccountPass::AccountPass(TaskStore& taskStore, SyncMemory& syncMemory, const SyncEngine::ChangeHandler& handler,
                         Pass& whole, AccountSyncState accountState, std::shared_ptr<TaskBackend> accountBackend)
    : store(taskStore),
      memory(syncMemory),
      changeHandler(handler),
      pass(whole),
      state(std::move(accountState)),
      accountID(state.account.id),
      backend(std::move(accountBackend)) {}

Async<void> AccountPass::run() {
    // Push comes before fetch: a fetch then sees this computer's changes on the server, and their rows are clean.
    co_await pushPending(store, backend, accountID);
    co_await readProjects();
    memory.restoreSyncState(state, projects);

    auto* probing = dynamic_cast<AccountChangeProbing*>(backend.get());
    bool isAutomatic = !pass.mode;
    if (isAutomatic && probing && !memory.isProbeRejected(accountID, pass.now)) {
        co_await probeChanges(*probing);
        co_return;
    }
    if (isAutomatic) {
        hints = co_await collectHints();
    }
    co_await walkProjects();
}

Async<void> AccountPass::readProjects() {
    const std::optional<Date>& refreshed = state.lastProjectRefresh;
    if (!refreshed || memory.policy.projectRefreshInterval <= secondsBetween(*refreshed, pass.now)) {
        std::vector<Project> listed = co_await backend->fetchProjects();
        co_await store.replaceProjects(std::move(listed), accountID, pass.now);
    }
    projects = co_await store.subscribedProjects(accountID);
    if (pass.projectID) {
        std::erase_if(projects, [&](const ProjectSyncState& project) { return project.projectID != *pass.projectID; });
    }
}

Async<void> AccountPass::walkProjects() {
    int64_t number = 0;
    for (const ProjectSyncState& project : projects) {
        ++number;
        auto found = hints.find(project.projectID);
        const Hint* hint = found == hints.end() ? nullptr : &found->second;
        std::optional<Mode> mode = co_await scheduledMode(project);
        if (hint && (!mode || hint->mode == Mode::full)) {
            mode = hint->mode;
        }
        if (!mode) {
            continue;
        }
        if (pass.budget < 1) {
            allServed = allServed && !hint;
            continue;
        }
        --pass.budget;
        if (hint) {
            co_await memory.setQuietCount(0, accountID, project.projectID);
        }
        memory.progress = SyncProgress{accountID, project.projectID, number, static_cast<int64_t>(projects.size())};
        bool isServed = co_await fetchProject(project, *mode);
        if (hint && isServed) {
            co_await memory.setActedHint(hint->date, accountID, project.projectID);
        }
        allServed = allServed && (isServed || !hint);
    }
    if (allServed && hasReadHints) {
        co_await memory.setChangeChecks(accountID, {.hintedThrough = pass.now});
    }
}

// None: the project's time hasn't come.
Async<std::optional<AccountPass::Mode>> AccountPass::scheduledMode(ProjectSyncState project) {
    if (pass.mode) {
        co_return pass.mode;
    }
    std::optional<Mode> otherwise = isDeltaFetchDue(project) ? std::optional(Mode::delta) : std::nullopt;
    if (!isFullFetchDue(project)) {
        co_return otherwise;
    }
    auto* counting = dynamic_cast<TaskCounting*>(backend.get());
    if (!counting || pass.budget < 1) {
        co_return Mode::full;
    }
    CountOutcome outcome = co_await checkCount(project, *counting);
    if (outcome != CountOutcome::unchanged) {
        co_return modeAfter(outcome);
    }
    if (!otherwise) {
        --pass.budget;  // the count was a request, too
    }
    co_return otherwise;
}

Async<bool> AccountPass::fetchProject(ProjectSyncState project, Mode mode) {
    std::optional<Date> since = mode == Mode::delta ? project.deltaCursor : std::nullopt;
    Answer<std::vector<TaskItem>> fetched = co_await answer(backend->fetchTasks(project.projectID, since));
    if (!fetched.value) {
        co_await store.setSyncError(fetched.refusal, accountID, project.projectID);
        co_return false;
    }
    co_await applyTasks(std::move(project), since, std::move(*fetched.value));
    co_return true;
}

Async<void> AccountPass::applyTasks(ProjectSyncState project, std::optional<Date> since, std::vector<TaskItem> tasks) {
    // A result that fills the limit may have been cut off, and then a task that it lacks isn't proven gone.
    bool isComplete = since || static_cast<int64_t>(tasks.size()) < backend->itemLimit();
    FetchedTasks fetch{.tasks = std::move(tasks),
                       .accountID = accountID,
                       .projectID = project.projectID,
                       .isFullFetch = !since,
                       .isComplete = isComplete,
                       .syncedAt = pass.now};
    std::vector<RemoteChange> changes = co_await store.applyFetchedTasks(std::move(fetch));
    if (!changes.empty()) {
        co_await memory.setQuietCount(0, accountID, project.projectID);
        co_await tellChanges(std::move(changes));
    } else if (project.lastSyncedAt) {
        co_await memory.countQuiet(accountID, project.projectID);
    }
}

Async<void> AccountPass::tellChanges(std::vector<RemoteChange> changes) {
    // A copy: the handler may be replaced while it runs.
    SyncEngine::ChangeHandler handler = changeHandler;
    if (!handler) {
        co_return;
    }
    try {
        co_await handler(std::move(changes));
    } catch (...) {
        // The tasks are stored. That telling of them failed says nothing about the account.
    }
}

bool AccountPass::isFullFetchDue(const ProjectSyncState& project) const {
    if (!project.lastFullSyncAt) {
        return true;
    }
    Date reference = std::max(*project.lastFullSyncAt, project.lastCountCheckAt.value_or(*project.lastFullSyncAt));
    return memory.policy.fullInterval * memory.factor() <= secondsBetween(reference, pass.now);
}

bool AccountPass::isDeltaFetchDue(const ProjectSyncState& project) const {
    return !project.lastSyncedAt ||
           memory.projectDeltaInterval(project) <= secondsBetween(*project.lastSyncedAt, pass.now);
}

}  // namespace marlet
