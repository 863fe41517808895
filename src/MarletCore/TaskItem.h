// The records of one task, and what belongs to it.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/URL.h"
#include "MarletCore/BackendKind.h"
#include "MarletCore/Project.h"

namespace marlet {

// Known by its name.
struct TaskLabel {
    std::string name;
    std::optional<std::string> colorHex;

    bool operator==(const TaskLabel&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskLabel, (), (name, colorHex))

struct User {
    std::string id;
    std::string login;
    std::optional<std::string> displayName;
    std::optional<URL> avatarURL;

    bool operator==(const User&) const = default;
};
BOOST_DESCRIBE_STRUCT(User, (), (id, login, displayName, avatarURL))

struct Milestone {
    std::string id;
    std::string title;
    std::optional<Date> dueDate;
    bool isClosed = false;

    bool operator==(const Milestone&) const = default;
};
BOOST_DESCRIBE_STRUCT(Milestone, (), (id, title, dueDate, isClosed))

// Names a parent task. A GitHub parent in another repository carries it in its id: "owner/repo#12".
struct TaskParent {
    std::string id;
    std::string title;

    struct Location {
        std::optional<std::string> projectID;  // none: anywhere in the account
        std::string taskID;

        bool operator==(const Location&) const = default;
    };

    // The id by which a task of `childProject` names the task `taskID` of `parentProject`.
    static std::string idOf(const std::string& taskID, const std::string& parentProject,
                            const std::string& childProject, BackendKind kind);
    bool refers(const std::string& taskID, const std::string& parentProject, const std::string& childProject,
                BackendKind kind) const;
    // The way back from the id.
    Location location(const std::string& childProject, BackendKind kind) const;

    bool operator==(const TaskParent&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskParent, (), (id, title))

struct TaskItem {
    std::string id;  // identity within its project, in the service's own form
    std::string projectID;
    TaskKind kind = TaskKind::task;
    std::string title;
    std::string notes;  // in the service's notesFormat
    bool isCompleted = false;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<Date> dueDate;
    std::optional<int64_t> priority;
    std::vector<TaskLabel> labels;
    std::vector<User> assignees;
    std::optional<Milestone> milestone;
    std::optional<TaskParent> parent;
    std::optional<std::string> typeName;
    bool canHaveChildren = false;
    bool canChangeParent = true;
    std::optional<std::string> status;  // board column or workflow status
    std::optional<double> estimate;
    std::optional<URL> webURL;

    // How a task is shown and spoken of: "#12", "PROJ-7".
    static std::string reference(std::string_view id);
    std::string reference() const { return reference(id); }

    // A board's done status completes the task, every other one reopens it.
    void setStatus(const std::string& newStatus, const Project& project);
    // On a board the status follows.
    void setCompleted(bool completed, const Project& project);

    bool operator==(const TaskItem&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskItem, (),
                      (id, projectID, kind, title, notes, isCompleted, createdAt, updatedAt, dueDate, priority, labels,
                       assignees, milestone, parent, typeName, canHaveChildren, canChangeParent, status, estimate,
                       webURL))

// What a new task starts from.
struct TaskDraft {
    std::string title;
    std::string notes;
    std::optional<Date> dueDate;
    std::vector<std::string> labels;
    std::optional<std::string> typeName;
    // The id that the task has had on this computer. A backend that remembers it answers a create that is sent again,
    // because the first answer was lost, with the task made then. No part of the content: it isn't coded or sent.
    std::optional<std::string> originID = {};

    bool operator==(const TaskDraft&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskDraft, (), (title, notes, dueDate, labels, typeName))

struct TaskComment {
    std::string id;
    std::optional<User> author;
    std::string body;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;

    bool operator==(const TaskComment&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskComment, (), (id, author, body, createdAt, updatedAt))

}  // namespace marlet
