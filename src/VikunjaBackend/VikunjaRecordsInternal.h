// What Vikunja sends and takes. The keys on the wire are these names in snake case.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/Date.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet {

struct VikunjaProject {
    int64_t id = 0;
    std::string title;
    std::optional<std::string> description;
    std::optional<bool> isArchived;
};
BOOST_DESCRIBE_STRUCT(VikunjaProject, (), (id, title, description, isArchived))

struct VikunjaLabel {
    int64_t id = 0;
    std::string title;
    std::optional<std::string> hexColor;
};
BOOST_DESCRIBE_STRUCT(VikunjaLabel, (), (id, title, hexColor))

struct VikunjaUser {
    int64_t id = 0;
    std::string username;
    std::optional<std::string> name;
};
BOOST_DESCRIBE_STRUCT(VikunjaUser, (), (id, username, name))

struct VikunjaRelated {
    int64_t id = 0;
    std::string title;

    bool operator==(const VikunjaRelated&) const = default;
};
BOOST_DESCRIBE_STRUCT(VikunjaRelated, (), (id, title))

// By kind, such as "parenttask". A kind may be there without any task.
using VikunjaRelations = std::map<std::string, std::optional<std::vector<VikunjaRelated>>>;

struct VikunjaTask {
    int64_t id = 0;
    int64_t projectId = 0;
    std::string title;
    std::optional<std::string> description;
    bool done = false;
    std::optional<Date> created;
    std::optional<Date> updated;
    std::optional<Date> dueDate;
    std::optional<int64_t> priority;
    std::optional<std::vector<VikunjaLabel>> labels;
    std::optional<std::vector<VikunjaUser>> assignees;
    std::optional<VikunjaRelations> relatedTasks;  // absent: the answer doesn't tell
};
BOOST_DESCRIBE_STRUCT(VikunjaTask, (),
                      (id, projectId, title, description, done, created, updated, dueDate, priority, labels, assignees,
                       relatedTasks))

// What of a task must be known before it is written. The rest may be of any shape: nobody reads it.
struct VikunjaTaskParents {
    struct Parent {
        int64_t id = 0;
        std::optional<std::string> title;
    };
    struct Relations {
        std::optional<std::vector<Parent>> parenttask;
    };

    std::optional<Relations> relatedTasks;
};
BOOST_DESCRIBE_STRUCT(VikunjaTaskParents::Parent, (), (id, title))
BOOST_DESCRIBE_STRUCT(VikunjaTaskParents::Relations, (), (parenttask))
BOOST_DESCRIBE_STRUCT(VikunjaTaskParents, (), (relatedTasks))

struct VikunjaComment {
    int64_t id = 0;
    std::optional<VikunjaUser> author;
    std::string comment;
    std::optional<Date> created;
    std::optional<Date> updated;
};
BOOST_DESCRIBE_STRUCT(VikunjaComment, (), (id, author, comment, created, updated))

struct VikunjaNotification {
    struct TaskReference {
        std::optional<int64_t> projectId;
    };
    // Other kinds of notifications have other payloads, and may have any.
    struct Payload {
        std::optional<TaskReference> task;
    };

    std::string name;
    std::optional<Readable<Payload>> notification;
    Date created;
};
BOOST_DESCRIBE_STRUCT(VikunjaNotification::TaskReference, (), (projectId))
BOOST_DESCRIBE_STRUCT(VikunjaNotification::Payload, (), (task))
BOOST_DESCRIBE_STRUCT(VikunjaNotification, (), (name, notification, created))

struct VikunjaIdentity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(VikunjaIdentity, (), (id))

using CreatedVikunjaTask = Created<VikunjaIdentity, VikunjaTask>;
using CreatedVikunjaComment = Created<VikunjaIdentity, VikunjaComment>;

struct NewTask {
    std::string title;
    std::string description;
    std::optional<Date> dueDate;
};
BOOST_DESCRIBE_STRUCT(NewTask, (), (title, description, dueDate))

struct NewLabel {
    std::string title;
    std::string hexColor;
};
BOOST_DESCRIBE_STRUCT(NewLabel, (), (title, hexColor))

struct LabelBulk {
    std::vector<VikunjaIdentity> labels;
};
BOOST_DESCRIBE_STRUCT(LabelBulk, (), (labels))

struct NewRelation {
    int64_t taskId = 0;
    int64_t otherTaskId = 0;
    std::string relationKind;
};
BOOST_DESCRIBE_STRUCT(NewRelation, (), (taskId, otherTaskId, relationKind))

struct NewComment {
    std::string comment;
};
BOOST_DESCRIBE_STRUCT(NewComment, (), (comment))

}  // namespace marlet
