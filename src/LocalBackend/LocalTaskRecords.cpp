#include <SQLiteCpp/Statement.h>

#include <charconv>

#include "LocalBackend/LocalTaskRecordsInternal.h"
#include "MarletBase/ColumnCoding.h"
#include "MarletCore/Account.h"
#include "MarletCore/BackendError.h"

namespace marlet::localTasks {
namespace {

// The step by which a change moves a task's stamp when the clock hasn't moved on.
constexpr double smallestStep = 0.001;

Date nextStamp(Date at, Date previous) {
    return std::max(at, previous + smallestStep);
}

// The whole text must be the number.
std::optional<int64_t> decimalNumber(const std::string& text) {
    int64_t number = 0;
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::vector<std::string> labelNames(const TaskItem& item) {
    std::vector<std::string> names;
    names.reserve(item.labels.size());
    for (const TaskLabel& label : item.labels) {
        names.push_back(label.name);
    }
    return names;
}

// The row that `statement` finds. Its first column is the row's id.
int64_t foundRow(SQLite::Statement& statement) {
    if (!statement.executeStep()) {
        throw BackendError::notFound();
    }
    return statement.getColumn(0).getInt64();
}

int64_t projectRow(ModelContext& context, const std::string& projectKey) {
    SQLite::Statement& select = context.statement("SELECT id FROM LocalProjectRecord WHERE key = ?");
    bindAll(select, projectKey);
    return foundRow(select);
}

int64_t taskRow(ModelContext& context, const std::string& taskKey) {
    SQLite::Statement& select = context.statement("SELECT id FROM LocalTaskRecord WHERE key = ?");
    bindAll(select, taskKey);
    return foundRow(select);
}

// The rows of tasks with the titles of their parents, so that no title costs a fetch of its own.
std::string selectTasks(const std::string& condition) {
    return "SELECT " + columnList<LocalTaskRecord>() +
           ", (SELECT parent.title FROM LocalTaskRecord AS parent"
           " WHERE parent.project = LocalTaskRecord.project AND parent.number = LocalTaskRecord.parentNumber)"
           " FROM LocalTaskRecord WHERE " +
           condition;
}

TaskItem taskItem(SQLite::Statement& row) {
    auto record = readRecord<LocalTaskRecord>(row);
    std::optional<std::string> parentTitle;
    readColumn(row.getColumn(row.getColumnCount() - 1), parentTitle);

    TaskItem item;
    item.id = std::to_string(record.number);
    item.projectID = std::move(record.projectID);
    item.kind = TaskKind::task;
    item.title = std::move(record.title);
    item.notes = std::move(record.notes);
    item.isCompleted = record.isCompleted;
    item.createdAt = record.createdAt;
    item.updatedAt = record.updatedAt;
    item.dueDate = record.dueDate;
    item.priority = record.priority;
    item.labels.reserve(record.labels.size());
    for (std::string& name : record.labels) {
        item.labels.push_back({std::move(name), std::nullopt});
    }
    // No title: the parent isn't there. Only a damaged database says so, and the next change of the task mends it.
    if (record.parentNumber && parentTitle) {
        item.parent = TaskParent{std::to_string(*record.parentNumber), std::move(*parentTitle)};
    }
    item.canHaveChildren = true;
    item.canChangeParent = true;
    return item;
}

std::optional<LocalTaskRecord> record(ModelContext& context, const std::string& taskKey) {
    static const std::string sql = "SELECT " + columnList<LocalTaskRecord>() + " FROM LocalTaskRecord WHERE key = ?";
    SQLite::Statement& select = context.statement(sql);
    bindAll(select, taskKey);
    return select.executeStep() ? std::optional(readRecord<LocalTaskRecord>(select)) : std::nullopt;
}

bool holdsNumber(ModelContext& context, int64_t project, int64_t number) {
    SQLite::Statement& select = context.statement("SELECT 1 FROM LocalTaskRecord WHERE project = ? AND number = ?");
    bindAll(select, project, number);
    return select.executeStep();
}

// Whether `number` is `from` or stands above it. UNION takes each task once, so the walk ends also on a cycle that is
// already there.
bool standsAbove(ModelContext& context, int64_t project, int64_t number, int64_t from) {
    SQLite::Statement& select = context.statement(R"(
        WITH RECURSIVE above (number) AS (
            VALUES (?1)
            UNION
            SELECT task.parentNumber FROM above
            JOIN LocalTaskRecord AS task ON task.project = ?2 AND task.number = above.number
            WHERE task.parentNumber IS NOT NULL)
        SELECT 1 FROM above WHERE number = ?3)");
    bindAll(select, from, project, number);
    return select.executeStep();
}

// The number of the parent that the task may have.
std::optional<int64_t> checkedParent(ModelContext& context, const LocalTaskRecord& task,
                                     const std::optional<TaskParent>& parent) {
    if (!parent) {
        return std::nullopt;
    }
    std::optional<int64_t> number = decimalNumber(parent->id);
    if (!number || !holdsNumber(context, task.project, *number)) {
        throw BackendError::rejected("Task " + parent->id + " isn't in this project.");
    }
    if (standsAbove(context, task.project, task.number, *number)) {
        throw BackendError::rejected("A task can't be placed below itself or one of its subtasks.");
    }
    return number;
}

void writeContent(ModelContext& context, const LocalTaskRecord& task) {
    SQLite::Statement& update = context.statement(
        "UPDATE LocalTaskRecord SET title = ?, notes = ?, isCompleted = ?, updatedAt = ?, dueDate = ?, priority = ?,"
        " labels = ?, parentNumber = ? WHERE key = ?");
    bindAll(update, task.title, task.notes, task.isCompleted, task.updatedAt, task.dueDate, task.priority, task.labels,
            task.parentNumber, task.key);
    update.exec();
}

// The task that an earlier create with this mark has made.
std::optional<LocalTaskRecord> earlierCreate(ModelContext& context, const TaskDraft& draft, int64_t project) {
    if (!draft.originID) {
        return std::nullopt;
    }
    static const std::string sql =
        "SELECT " + columnList<LocalTaskRecord>() + " FROM LocalTaskRecord WHERE project = ? AND originID = ?";
    SQLite::Statement& select = context.statement(sql);
    bindAll(select, project, *draft.originID);
    return select.executeStep() ? std::optional(readRecord<LocalTaskRecord>(select)) : std::nullopt;
}

// The user may have gone on writing since the create whose answer was lost.
TaskItem repeatedCreate(ModelContext& context, LocalTaskRecord earlier, const TaskDraft& draft, Date at) {
    bool isSame = earlier.title == draft.title && earlier.notes == draft.notes && earlier.dueDate == draft.dueDate &&
                  earlier.labels == draft.labels;
    if (!isSame) {
        earlier.title = draft.title;
        earlier.notes = draft.notes;
        earlier.dueDate = draft.dueDate;
        earlier.labels = draft.labels;
        earlier.updatedAt = nextStamp(at, earlier.updatedAt);
        writeContent(context, earlier);
    }
    return task(context, earlier.key);
}

int64_t takeNumber(ModelContext& context, int64_t project) {
    SQLite::Statement& update = context.statement(
        "UPDATE LocalProjectRecord SET nextNumber = nextNumber + 1 WHERE id = ? RETURNING nextNumber - 1");
    bindAll(update, project);
    return foundRow(update);
}

Project project(const LocalProjectRecord& record) {
    Project result;
    result.id = record.projectID;
    result.accountID = record.accountID;
    result.name = record.name;
    result.detail = record.detail;
    result.kind = ProjectKind::list;
    return result;
}

}  // namespace

std::vector<Project> projects(ModelContext& context, const UUID& accountID) {
    static const std::string sql = "SELECT " + columnList<LocalProjectRecord>() +
                                   " FROM LocalProjectRecord WHERE accountID = ? ORDER BY createdAt, id";
    SQLite::Statement& select = context.statement(sql);
    bindAll(select, accountID);
    std::vector<Project> result;
    while (select.executeStep()) {
        result.push_back(project(readRecord<LocalProjectRecord>(select)));
    }
    return result;
}

Project createProject(ModelContext& context, const std::string& name, const UUID& accountID, Date at) {
    LocalProjectRecord record;
    record.accountID = accountID;
    record.projectID = UUID::random().lowercaseText();
    record.key = projectKey(accountID, record.projectID);
    record.name = name;
    record.createdAt = at;
    static const std::string sql = insertStatement<LocalProjectRecord>("LocalProjectRecord");
    SQLite::Statement& insert = context.statement(sql);
    bindRecord(insert, record);
    insert.exec();
    return project(record);
}

void renameProject(ModelContext& context, const std::string& projectKey, const std::string& name) {
    SQLite::Statement& update = context.statement("UPDATE LocalProjectRecord SET name = ? WHERE key = ?");
    bindAll(update, name, projectKey);
    if (update.exec() == 0) {
        throw BackendError::notFound();
    }
}

void deleteProject(ModelContext& context, const std::string& projectKey) {
    SQLite::Statement& remove = context.statement("DELETE FROM LocalProjectRecord WHERE key = ?");
    bindAll(remove, projectKey);
    if (remove.exec() == 0) {
        throw BackendError::notFound();
    }
}

void removeAccount(ModelContext& context, const UUID& accountID) {
    SQLite::Statement& remove = context.statement("DELETE FROM LocalProjectRecord WHERE accountID = ?");
    bindAll(remove, accountID);
    remove.exec();
}

std::vector<TaskItem> tasks(ModelContext& context, const std::string& projectKey, std::optional<Date> updatedSince) {
    static const std::string all = selectTasks("project = ? ORDER BY number");
    static const std::string changed = selectTasks("project = ? AND updatedAt > ? ORDER BY number");
    int64_t project = projectRow(context, projectKey);
    SQLite::Statement& select = context.statement(updatedSince ? changed : all);
    bindValue(select, 1, project);
    if (updatedSince) {
        bindValue(select, 2, *updatedSince);
    }
    std::vector<TaskItem> result;
    while (select.executeStep()) {
        result.push_back(taskItem(select));
    }
    return result;
}

TaskItem task(ModelContext& context, const std::string& taskKey) {
    static const std::string sql = selectTasks("key = ?");
    SQLite::Statement& select = context.statement(sql);
    bindAll(select, taskKey);
    if (!select.executeStep()) {
        throw BackendError::notFound();
    }
    return taskItem(select);
}

TaskItem createTask(ModelContext& context, const TaskDraft& draft, const UUID& accountID, const std::string& projectID,
                    Date at) {
    int64_t project = projectRow(context, projectKey(accountID, projectID));
    if (std::optional<LocalTaskRecord> earlier = earlierCreate(context, draft, project)) {
        return repeatedCreate(context, std::move(*earlier), draft, at);
    }
    LocalTaskRecord record;
    record.number = takeNumber(context, project);
    record.key = taskKey(accountID, projectID, std::to_string(record.number));
    record.accountID = accountID;
    record.projectID = projectID;
    record.title = draft.title;
    record.notes = draft.notes;
    record.createdAt = at;
    record.updatedAt = at;
    record.dueDate = draft.dueDate;
    record.labels = draft.labels;
    record.originID = draft.originID;
    record.project = project;
    static const std::string sql = insertStatement<LocalTaskRecord>("LocalTaskRecord");
    SQLite::Statement& insert = context.statement(sql);
    bindRecord(insert, record);
    insert.exec();
    return task(context, record.key);
}

TaskItem updateTask(ModelContext& context, const TaskItem& item, const UUID& accountID, Date at) {
    std::optional<LocalTaskRecord> found = record(context, taskKey(accountID, item.projectID, item.id));
    if (!found) {
        throw BackendError::notFound();
    }
    found->title = item.title;
    found->notes = item.notes;
    found->isCompleted = item.isCompleted;
    found->dueDate = item.dueDate;
    found->priority = item.priority;
    found->labels = labelNames(item);
    found->parentNumber = checkedParent(context, *found, item.parent);
    found->updatedAt = nextStamp(at, found->updatedAt);
    writeContent(context, *found);
    return task(context, found->key);
}

void deleteTask(ModelContext& context, const TaskItem& item, const UUID& accountID, Date at) {
    // A task whose create was answered but not noted is still known by its local id.
    SQLite::Statement& select = context.statement(
        "SELECT id, project, number FROM LocalTaskRecord WHERE key = ?1 OR (originID = ?2 AND"
        " project = (SELECT id FROM LocalProjectRecord WHERE key = ?3))");
    bindAll(select, taskKey(accountID, item.projectID, item.id), item.id, projectKey(accountID, item.projectID));
    int64_t row = foundRow(select);
    int64_t project = select.getColumn(1).getInt64();
    int64_t number = select.getColumn(2).getInt64();

    SQLite::Statement& release = context.statement(
        "UPDATE LocalTaskRecord SET parentNumber = NULL, updatedAt = MAX(?, updatedAt + ?)"
        " WHERE project = ? AND parentNumber = ?");
    bindAll(release, at, smallestStep, project, number);
    release.exec();
    SQLite::Statement& remove = context.statement("DELETE FROM LocalTaskRecord WHERE id = ?");
    bindAll(remove, row);
    remove.exec();
}

std::vector<TaskComment> comments(ModelContext& context, const std::string& taskKey) {
    int64_t task = taskRow(context, taskKey);
    SQLite::Statement& select = context.statement(
        "SELECT id, body, createdAt FROM LocalCommentRecord WHERE task = ? ORDER BY createdAt, sequence");
    bindAll(select, task);
    std::vector<TaskComment> result;
    while (select.executeStep()) {
        TaskComment comment;
        readColumn(select.getColumn(0), comment.id);
        readColumn(select.getColumn(1), comment.body);
        readColumn(select.getColumn(2), comment.createdAt);
        result.push_back(std::move(comment));
    }
    return result;
}

TaskComment addComment(ModelContext& context, const std::string& text, const std::string& taskKey, Date at) {
    LocalCommentRecord record{UUID::random(), text, at, taskRow(context, taskKey)};
    static const std::string sql = insertStatement<LocalCommentRecord>("LocalCommentRecord");
    SQLite::Statement& insert = context.statement(sql);
    bindRecord(insert, record);
    insert.exec();
    TaskComment comment;
    comment.id = record.id.text();
    comment.body = text;
    comment.createdAt = at;
    return comment;
}

}  // namespace marlet::localTasks
