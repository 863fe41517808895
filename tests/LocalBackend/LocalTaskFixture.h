#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LocalBackend/LocalTaskDatabase.h"
#include "MarletCore/BackendError.h"
#include "TestSupport/TestLoop.h"

namespace marlet {

inline constexpr Date noon = dateFromSeconds(1'800'000'000);

// A local task database with one account and one project in it.
class LocalTaskFixture {
public:
    explicit LocalTaskFixture(std::shared_ptr<LocalTaskDatabase> opened = LocalTaskDatabase::inMemory())
        : database(std::move(opened)), project(run(database->createProject("Garden", accountID, noon))) {}

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }
    TaskItem create(const std::string& title, Date at = noon) { return create(TaskDraft{.title = title}, at); }
    TaskItem create(TaskDraft draft, Date at = noon) {
        return run(database->createTask(std::move(draft), accountID, project.id, at));
    }
    TaskItem createBelow(const std::string& title, const TaskItem& parent, Date at = noon) {
        return moveBelow(create(title, at), parent.id, at);
    }
    TaskItem update(const TaskItem& item, Date at = noon) { return run(database->updateTask(item, accountID, at)); }
    TaskItem moveBelow(TaskItem item, const std::string& parentID, Date at = noon) {
        item.parent = TaskParent{parentID, ""};
        return update(item, at);
    }
    void remove(const TaskItem& item, Date at = noon) { run(database->deleteTask(item, accountID, at)); }
    std::vector<TaskItem> tasks(std::optional<Date> since = std::nullopt) {
        return run(database->tasks(accountID, project.id, since));
    }
    TaskItem task(const std::string& id) { return run(database->task(accountID, project.id, id)); }

    TestLoop loop;
    UUID accountID = UUID::random();
    std::shared_ptr<LocalTaskDatabase> database;
    Project project;
};

// The error that `body` throws; an http status 0 when it throws none.
template <class Body>
BackendError backendErrorOf(Body&& body) {
    try {
        body();
    } catch (const BackendError& error) {
        return error;
    }
    return BackendError::http(0);
}

}  // namespace marlet
