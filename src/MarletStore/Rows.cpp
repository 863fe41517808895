#include "MarletStore/Rows.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include "MarletBase/ColumnCoding.h"
#include "MarletStore/StoreError.h"
#include "MarletStore/TaskColumns.h"
#include "MarletStore/TaskSearch.h"

namespace marlet {
namespace {

std::string select(const std::string& columns, const char* rest) {
    return "SELECT " + columns + " FROM " + rest;
}

const std::string& selectAccount() {
    static const std::string columns = columnList<StoredAccount>();
    return columns;
}

const std::string& selectProject() {
    static const std::string columns = columnList<StoredProject>();
    return columns;
}

template <class Row>
std::vector<Row> readAll(SQLite::Statement& statement) {
    std::vector<Row> rows;
    while (statement.executeStep()) {
        rows.push_back(readRecord<Row>(statement));
    }
    statement.reset();
    return rows;
}

std::optional<StoredTask> firstTask(SQLite::Statement& statement) {
    std::optional<StoredTask> task;
    if (statement.executeStep()) {
        task = readTask(statement);
    }
    statement.reset();
    return task;
}

}  // namespace

BackendKind StoredAccount::kind() const {
    return fromCode<BackendKind>(kindRaw).value_or(BackendKind::github);
}

std::optional<std::string> StoredAccount::effectiveDefaultTaskType() const {
    std::optional<std::string> standard = marlet::defaultTaskType(kind());
    return standard && defaultTaskType ? defaultTaskType : standard;
}

Project StoredProject::project() const {
    std::optional<ProjectKind> kind = kindRaw ? fromCode<ProjectKind>(*kindRaw) : std::nullopt;
    return {remoteID,     accountID, name,        detail,
            webURL,       cloneURL,  sshCloneURL, projectKind(kind, cloneURL, sshCloneURL),
            statusOptions};
}

std::optional<PendingOperation> PushState::pendingOperation() const {
    return pendingOperationRaw ? fromCode<PendingOperation>(*pendingOperationRaw) : std::nullopt;
}

bool StoredTask::isUnread() const {
    return item.updatedAt && (!local.viewedAt || *local.viewedAt < *item.updatedAt);
}

std::optional<TaskParent> mergedParent(const std::optional<TaskParent>& given, const std::optional<TaskParent>& known) {
    bool isKnown = given && known && given->title.empty() && given->id == known->id;
    return isKnown ? known : given;
}

void StoredTask::applyRemote(TaskItem given) {
    given.projectID = item.projectID;
    given.parent = mergedParent(given.parent, item.parent);
    item = std::move(given);
    key = taskKey(accountID, item.projectID, item.id);
}

StoredAccount storedAccount(ModelContext& context, const UUID& id) {
    static const std::string sql = select(selectAccount(), "StoredAccount WHERE id = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, id);
    if (!statement.executeStep()) {
        throw StoreError::accountNotFound();
    }
    return readRecord<StoredAccount>(statement);
}

StoredProject storedProject(ModelContext& context, const UUID& accountID, const std::string& projectID) {
    std::optional<StoredProject> project = findProject(context, projectKey(accountID, projectID));
    if (!project) {
        throw StoreError::projectNotFound();
    }
    return std::move(*project);
}

std::optional<StoredProject> findProject(ModelContext& context, const std::string& key) {
    static const std::string sql = select(selectProject(), "StoredProject WHERE key = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, key);
    std::optional<StoredProject> project;
    if (statement.executeStep()) {
        project = readRecord<StoredProject>(statement);
    }
    statement.reset();
    return project;
}

std::optional<StoredTask> storedTask(ModelContext& context, const std::string& key) {
    static const std::string sql = select(taskColumns(), "StoredTask WHERE key = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, key);
    return firstTask(statement);
}

std::optional<StoredTask> storedTask(ModelContext& context, const UUID& localID) {
    static const std::string sql = select(taskColumns(), "StoredTask WHERE localID = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, localID);
    return firstTask(statement);
}

std::optional<StoredTask> storedTaskAt(ModelContext& context, int64_t rowNumber) {
    static const std::string sql = select(taskColumns(), "StoredTask WHERE rowNumber = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, rowNumber);
    return firstTask(statement);
}

std::vector<StoredAccount> allAccounts(ModelContext& context) {
    static const std::string sql = select(selectAccount(), "StoredAccount ORDER BY rowNumber");
    return readAll<StoredAccount>(context.statement(sql));
}

std::vector<StoredProject> projectsOfAccount(ModelContext& context, const UUID& accountID) {
    static const std::string sql = select(selectProject(), "StoredProject WHERE accountID = ? ORDER BY rowNumber");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, accountID);
    return readAll<StoredProject>(statement);
}

std::vector<StoredProject> allProjects(ModelContext& context) {
    static const std::string sql = select(selectProject(), "StoredProject ORDER BY rowNumber");
    return readAll<StoredProject>(context.statement(sql));
}

void insertAccount(ModelContext& context, const Account& account) {
    SQLite::Statement& statement =
        context.statement("INSERT INTO StoredAccount (id, kindRaw, displayName, baseURL) VALUES (?, ?, ?, ?)");
    bindAll(statement, account.id, account.kind, account.displayName, account.baseURL);
    statement.exec();
}

void insertProject(ModelContext& context, const Project& project, const StoredAccount& account) {
    SQLite::Statement& statement = context.statement(
        "INSERT INTO StoredProject (key, accountID, remoteID, name, detail, webURL, cloneURL, sshCloneURL, kindRaw, "
        "statusOptions, account) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    bindAll(statement, projectKey(account.id, project.id), account.id, project.id, project.name, project.detail,
            project.webURL, project.cloneURL, project.sshCloneURL, project.kind, project.statusOptions,
            account.rowNumber);
    statement.exec();
}

std::optional<int64_t> insertTask(ModelContext& context, const StoredTask& task) {
    static const std::string sql = insertTaskStatement();
    SQLite::Statement& statement = context.statement(sql);
    bindTask(statement, task);
    if (statement.exec() == 0) {
        return std::nullopt;
    }
    int64_t rowNumber = context.database().getLastInsertRowid();
    insertSearchText(context, rowNumber, task.item);
    return rowNumber;
}

void updateTask(ModelContext& context, const StoredTask& task) {
    static const std::string sql = updateTaskStatement();
    SQLite::Statement& statement = context.statement(sql);
    int next = bindItem(statement, task.item);
    bindValue(statement, next++, task.key);
    next = bindRecord(statement, task.push, next);
    bindValue(statement, next, task.rowNumber);
    statement.exec();
    updateSearchText(context, task.rowNumber, task.item);
}

void deleteTaskRow(ModelContext& context, int64_t rowNumber) {
    SQLite::Statement& statement = context.statement("DELETE FROM StoredTask WHERE rowNumber = ?");
    bindAll(statement, rowNumber);
    statement.exec();
}

bool hasTimeLogs(ModelContext& context, int64_t task) {
    SQLite::Statement& statement = context.statement("SELECT EXISTS (SELECT 1 FROM StoredTimeLog WHERE task = ?)");
    bindAll(statement, task);
    statement.executeStep();
    return statement.getColumn(0).getInt() != 0;
}

}  // namespace marlet
