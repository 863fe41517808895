#include "MarletStore/TaskColumns.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include "MarletBase/ColumnCoding.h"

namespace marlet {
namespace {

std::string_view columnOf(std::string_view member) {
    if (member == "id") {
        return "remoteID";
    }
    if (member == "projectID") {
        return "projectRemoteID";
    }
    return member == "kind" ? "kindRaw" : member;
}

template <class Write>
void forEachItemColumn(Write write) {
    boost::mp11::mp_for_each<MembersOf<TaskItem>>([&](auto member) { write(columnOf(member.name)); });
}

std::string withTable(const std::string& columns) {
    std::string text = "StoredTask.";
    for (char character : columns) {
        text += character;
        text += character == ' ' ? "StoredTask." : "";
    }
    return text;
}

std::string rowColumns() {
    return "key, localID, accountID, " + itemColumns() + ", " + columnList<LocalFields>() + ", " +
           columnList<PushState>() + ", project";
}

std::string itemAssignments() {
    std::string text;
    forEachItemColumn([&](std::string_view column) {
        text += text.empty() ? "" : ", ";
        text += column;
        text += " = ?";
    });
    return text;
}

template <class Record>
int readMembers(SQLite::Statement& statement, Record& record, int first) {
    boost::mp11::mp_for_each<MembersOf<Record>>(
        [&](auto member) { readColumn(statement.getColumn(first++), record.*member.pointer); });
    return first;
}

template <class Value>
void bindMember(SQLite::Statement& statement, int index, const Value& value) {
    bindValue(statement, index, value);
}

// Notes are long and imports are many.
void bindMember(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bindNoCopy(index, value);
}

// Costs a decoding, so only a parent that was given without its title comes here.
bool holdsUntitledParent(const SQLite::Column& column, const TaskParent& parent) {
    std::optional<TaskParent> known;
    readColumn(column, known);
    return known && known->id == parent.id;
}

template <class Member>
bool holdsMember(const SQLite::Column& column, const TaskItem& item, Member TaskItem::*member) {
    return columnHolds(column, item.*member);
}

bool holdsMember(const SQLite::Column& column, const TaskItem& item, std::string TaskItem::*member) {
    // A row stays in its project.
    return member == &TaskItem::projectID || columnHolds(column, item.*member);
}

bool holdsMember(const SQLite::Column& column, const TaskItem& item, std::optional<TaskParent> TaskItem::*member) {
    const std::optional<TaskParent>& parent = item.*member;
    return (parent && parent->title.empty() && holdsUntitledParent(column, *parent)) || columnHolds(column, parent);
}

}  // namespace

const std::string& itemColumns() {
    static const std::string columns = [] {
        std::string text;
        forEachItemColumn([&](std::string_view column) {
            text += text.empty() ? "" : ", ";
            text += column;
        });
        return text;
    }();
    return columns;
}

int itemColumnIndex(std::string_view column) {
    int index = 0;
    int found = -1;
    forEachItemColumn([&](std::string_view name) {
        found = name == column ? index : found;
        ++index;
    });
    return found;
}

const std::string& taskColumns() {
    static const std::string columns = withTable("rowNumber, " + rowColumns());
    return columns;
}

StoredTask readTask(SQLite::Statement& statement) {
    StoredTask task;
    readColumn(statement.getColumn(0), task.rowNumber);
    readColumn(statement.getColumn(1), task.key);
    readColumn(statement.getColumn(2), task.localID);
    readColumn(statement.getColumn(3), task.accountID);
    int next = readMembers(statement, task.item, 4);
    next = readMembers(statement, task.local, next);
    next = readMembers(statement, task.push, next);
    readColumn(statement.getColumn(next), task.project);
    return task;
}

int bindItem(SQLite::Statement& statement, const TaskItem& item, int first) {
    boost::mp11::mp_for_each<MembersOf<TaskItem>>(
        [&](auto member) { bindMember(statement, first++, item.*member.pointer); });
    return first;
}

void bindTask(SQLite::Statement& statement, const StoredTask& task) {
    bindAll(statement, task.key, task.localID, task.accountID);
    int next = bindItem(statement, task.item, 4);
    next = bindRecord(statement, task.local, next);
    next = bindRecord(statement, task.push, next);
    bindValue(statement, next, task.project);
}

bool holdsItem(SQLite::Statement& statement, const TaskItem& item, int first) {
    bool isSame = true;
    boost::mp11::mp_for_each<MembersOf<TaskItem>>([&](auto member) {
        if (isSame) {
            isSame = holdsMember(statement.getColumn(first), item, member.pointer);
        }
        ++first;
    });
    return isSame;
}

std::string insertTaskStatement() {
    std::string columns = rowColumns();
    std::string text = "INSERT INTO StoredTask (" + columns + ") VALUES (?";
    for (char character : columns) {
        text += character == ',' ? ", ?" : "";
    }
    return text + ") ON CONFLICT (key) DO NOTHING";
}

std::string updateTaskStatement() {
    std::string push;
    boost::mp11::mp_for_each<MembersOf<PushState>>([&](auto member) {
        push += ", ";
        push += member.name;
        push += " = ?";
    });
    return "UPDATE StoredTask SET " + itemAssignments() + ", key = ?" + push + " WHERE rowNumber = ?";
}

std::string updateItemStatement() {
    return "UPDATE StoredTask SET " + itemAssignments() + " WHERE rowNumber = ?";
}

}  // namespace marlet
