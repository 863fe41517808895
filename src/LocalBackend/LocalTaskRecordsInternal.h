// The rows of the local task database, and what each operation does to them. Every function runs inside a transaction
// of its caller; a record that has gone is BackendError::notFound.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Database.h"
#include "MarletBase/Date.h"
#include "MarletBase/UUID.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"

namespace marlet {

struct LocalProjectRecord {
    std::string key;
    UUID accountID;
    std::string projectID;
    std::string name;
    std::string detail;
    Date createdAt;
    int64_t nextNumber = 1;
};
BOOST_DESCRIBE_STRUCT(LocalProjectRecord, (), (key, accountID, projectID, name, detail, createdAt, nextNumber))

struct LocalTaskRecord {
    std::string key;
    UUID accountID;
    std::string projectID;
    int64_t number = 0;
    std::string title;
    std::string notes;
    bool isCompleted = false;
    Date createdAt;
    Date updatedAt;
    std::optional<Date> dueDate;
    std::optional<int64_t> priority;
    std::vector<std::string> labels;
    std::optional<int64_t> parentNumber;
    std::optional<std::string> originID;  // TaskDraft::originID of the create that made it
    int64_t project = 0;
};
BOOST_DESCRIBE_STRUCT(LocalTaskRecord, (),
                      (key, accountID, projectID, number, title, notes, isCompleted, createdAt, updatedAt, dueDate,
                       priority, labels, parentNumber, originID, project))

struct LocalCommentRecord {
    UUID id;
    std::string body;
    Date createdAt;
    int64_t task = 0;
};
BOOST_DESCRIBE_STRUCT(LocalCommentRecord, (), (id, body, createdAt, task))

namespace localTasks {

std::vector<Project> projects(ModelContext& context, const UUID& accountID);
Project createProject(ModelContext& context, const std::string& name, const UUID& accountID, Date at);
void renameProject(ModelContext& context, const std::string& projectKey, const std::string& name);
void deleteProject(ModelContext& context, const std::string& projectKey);
void removeAccount(ModelContext& context, const UUID& accountID);

std::vector<TaskItem> tasks(ModelContext& context, const std::string& projectKey, std::optional<Date> updatedSince);
TaskItem task(ModelContext& context, const std::string& taskKey);
TaskItem createTask(ModelContext& context, const TaskDraft& draft, const UUID& accountID, const std::string& projectID,
                    Date at);
TaskItem updateTask(ModelContext& context, const TaskItem& item, const UUID& accountID, Date at);
void deleteTask(ModelContext& context, const TaskItem& item, const UUID& accountID, Date at);

std::vector<TaskComment> comments(ModelContext& context, const std::string& taskKey);
TaskComment addComment(ModelContext& context, const std::string& text, const std::string& taskKey, Date at);

}  // namespace localTasks
}  // namespace marlet
