// What a fake Vikunja holds, how it changes and how it looks in JSON, with the fields that the real service sends.
#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Date.h"
#include "TestSupport/FakeForgeState.h"

namespace marlet {

struct FakeVikunjaProject {
    int64_t id = 0;
    std::string title;
    bool isArchived = false;
};

struct FakeVikunjaTask {
    std::string title;
    std::string description = {};
    bool isDone = false;
    std::optional<Date> dueDate = {};
    int64_t priority = 0;
    int64_t repeatAfter = 0;                  // seconds
    std::vector<std::string> labels = {};     // by title
    std::vector<std::string> assignees = {};  // by login
    std::vector<int64_t> parents = {};        // tasks, in the order in which they became it
    boost::json::object rest = {};            // what a write replaces and nobody here looks at

    // What the service gives.
    int64_t id = 0;
    int64_t projectID = 0;
    std::string author = {};
    Date created = {};
    Date updated = {};
    std::vector<FakeComment> comments = {};

    bool operator==(const FakeVikunjaTask&) const = default;
};

struct FakeVikunjaNotification {
    int64_t id = 0;
    std::string name;
    boost::json::object payload;
    Date created;
};

class FakeVikunjaState {
public:
    // Throws std::out_of_range for what isn't there.
    FakeVikunjaTask& task(int64_t id) { return tasks.at(id); }
    FakeUser& user(const std::string& login);  // made when it is first named
    FakeLabel& label(const std::string& title, const std::string& color);
    const FakeLabel* labelByID(int64_t id) const;

    FakeVikunjaTask& addTask(int64_t projectID, FakeVikunjaTask task, const std::string& author, Date now);
    FakeComment& addComment(int64_t taskID, const std::string& author, const std::string& body, Date now);
    void removeTask(int64_t id);
    void notify(const std::string& name, const FakeVikunjaTask& about, Date now);
    // Whether the one is the other or above it.
    bool isAncestor(int64_t above, int64_t taskID) const;

    // The last one changed comes first. Of all projects that are in use without a project.
    std::vector<const FakeVikunjaTask*> changes(std::optional<int64_t> projectID) const;

    boost::json::object json(const FakeVikunjaProject& project);
    boost::json::object json(const FakeUser& person) const;
    boost::json::object json(const FakeLabel& label);
    boost::json::object json(const FakeComment& comment);
    boost::json::object json(const FakeVikunjaNotification& notification) const;
    // `tellsRelations` false: as the answer to a write has it.
    boost::json::object json(const FakeVikunjaTask& task, bool tellsRelations = true);
    boost::json::object relations(const FakeVikunjaTask& task);

    std::string viewer = "ada";
    std::string otherUser = "grace";
    std::map<int64_t, FakeVikunjaProject> projects;
    std::map<int64_t, FakeVikunjaTask> tasks;
    std::vector<FakeLabel> labels;
    std::map<std::string, FakeUser> users;
    std::vector<FakeVikunjaNotification> notifications;

    int64_t nextID() { return ++lastID; }

private:
    int64_t lastID = 100;
};

// "0001-01-01T00:00:00Z" for none.
std::string vikunjaDate(const std::optional<Date>& date);

}  // namespace marlet
