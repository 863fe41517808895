#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletStore/MarletSchema.h"
#include "MarletStore/TaskStore.h"
#include "TestSupport/TemporaryFolder.h"
#include "TestSupport/TestLoop.h"

namespace marlet {

inline const Date noon = dateFromSeconds(1'800'000'000);

// A store with one account and the subscribed project "p1", named "Garden". Its operations as ordinary calls.
class StoreFixture {
public:
    explicit StoreFixture(BackendKind kind = BackendKind::github)
        : StoreFixture(MarletSchema::makeInMemoryContainer(), kind) {}
    StoreFixture(ModelContainer container, BackendKind kind)
        : account(makeAccount(kind)), store(std::move(container), [this] { return now; }) {
        runToEnd(store.addAccount(account));
        addProject("p1", "Garden");
    }

    static Account makeAccount(BackendKind kind, const std::string& name = "Home") {
        return {UUID::random(), kind, name, URL::parse("https://example.org").value()};
    }

    static TaskItem item(const std::string& id, std::optional<Date> updatedAt = noon,
                         const std::string& title = "Water the beans") {
        TaskItem item;
        item.id = id;
        item.projectID = "p1";
        item.kind = TaskKind::issue;
        item.title = title;
        item.updatedAt = updatedAt;
        return item;
    }

    Project project(const std::string& id, const std::string& name) const {
        Project made;
        made.id = id;
        made.accountID = account.id;
        made.name = name;
        return made;
    }

    void addProject(const std::string& id, const std::string& name) {
        listed.push_back(project(id, name));
        runToEnd(store.replaceProjects(listed, account.id, noon));
        runToEnd(store.setSubscribed(true, account.id, id));
    }

    std::string key(const std::string& id) const { return taskKey(account.id, "p1", id); }

    FetchedTasks fetch(std::vector<TaskItem> tasks, const std::string& projectID = "p1") const {
        for (TaskItem& task : tasks) {
            task.projectID = projectID;
        }
        return {std::move(tasks), account.id, projectID, true, true, noon};
    }
    std::vector<RemoteChange> applyFull(std::vector<TaskItem> tasks, const std::string& projectID = "p1") {
        return runToEnd(store.applyFetchedTasks(fetch(std::move(tasks), projectID)));
    }
    std::vector<RemoteChange> applyDelta(std::vector<TaskItem> tasks) {
        FetchedTasks delta = fetch(std::move(tasks));
        delta.isFullFetch = false;
        delta.isComplete = false;
        return runToEnd(store.applyFetchedTasks(delta));
    }

    std::optional<TaskItem> task(const std::string& id) { return runToEnd(store.task(key(id))); }
    std::optional<TaskSnapshot> snapshot(const std::string& id) { return runToEnd(store.taskSnapshot(key(id))); }
    std::vector<TaskSnapshot> snapshots(TaskQuery query = {}) { return runToEnd(store.taskSnapshots(query)); }
    std::vector<std::string> ids(TaskQuery query = {}) {
        std::vector<std::string> found;
        for (const TaskSnapshot& snapshot : snapshots(std::move(query))) {
            found.push_back(snapshot.item.id);
        }
        return found;
    }
    void rename(const std::string& id, const std::string& title, Date at = noon) {
        runToEnd(store.editTask(key(id), at, [title](TaskItem& task) { task.title = title; }));
    }
    std::string create(const std::string& title, Date at = noon, std::vector<std::string> labels = {}) {
        TaskDraft draft;
        draft.title = title;
        draft.labels = std::move(labels);
        return runToEnd(store.createTask(draft, account.id, "p1", at));
    }
    std::vector<PendingPush> pushes() { return runToEnd(store.pendingPushes(account.id)); }
    std::optional<ProjectSyncState> projectState(const std::string& id = "p1") {
        for (const ProjectSyncState& state : runToEnd(store.subscribedProjects(account.id))) {
            if (state.projectID == id) {
                return state;
            }
        }
        return std::nullopt;
    }
    ProjectSnapshot projectSnapshot(const std::string& id = "p1") {
        return runToEnd(store.projectSnapshot(projectKey(account.id, id))).value();
    }
    AccountSyncState accountState() { return runToEnd(store.accounts()).at(0); }
    // Tracks some time on the task.
    void track(const std::string& id, double seconds = 60) {
        runToEnd(store.startTimer(key(id), noon));
        runToEnd(store.stopTimer(noon + seconds));
    }

    Account account;
    Date now = noon;
    std::vector<Project> listed;
    TaskStore store;
};

// The same on disk, with a way to look at its tables and to write what only another version would.
class DiskStoreFixture {
public:
    explicit DiskStoreFixture(BackendKind kind = BackendKind::github, const std::string& vfs = {})
        : fixture(std::make_unique<StoreFixture>(MarletSchema::makeContainer(folder.path(), vfs), kind)) {}

    StoreFixture& operator*() { return *fixture; }
    StoreFixture* operator->() { return fixture.get(); }
    std::filesystem::path file() const { return folder.path() / "Marlet.sqlite"; }

    void execute(const std::string& sql) { connection().exec(sql); }
    int64_t number(const std::string& sql) { return connection().execAndGet(sql).getInt64(); }
    std::string text(const std::string& sql) { return connection().execAndGet(sql).getString(); }

private:
    // Foreign keys are SQLite's default here: off.
    SQLite::Database connection() { return SQLite::Database(file().string(), SQLite::OPEN_READWRITE); }

    TemporaryFolder folder;
    std::unique_ptr<StoreFixture> fixture;
};

}  // namespace marlet
