// How a task row lies in its columns. Internal to MarletStore; for sources that speak SQL.
#pragma once

#include <string>
#include <string_view>

#include "MarletStore/Rows.h"

namespace SQLite {
class Statement;
}

namespace marlet {

// "remoteID, projectRemoteID, kindRaw, title, …": the members of TaskItem in their order.
const std::string& itemColumns();
// Counted from 0.
int itemColumnIndex(std::string_view column);
// Everything that readTask reads, with the names of the table in front: "StoredTask.rowNumber, …".
const std::string& taskColumns();

StoredTask readTask(SQLite::Statement& statement);

// Both leave the item's texts where they are: they must outlive the statement's run. bindItem binds from `first` on and
// returns the number of the next parameter.
int bindItem(SQLite::Statement& statement, const TaskItem& item, int first = 1);
void bindTask(SQLite::Statement& statement, const StoredTask& task);

// Whether the row's columns, from `first` on itemColumns(), are what applying the item would leave.
bool holdsItem(SQLite::Statement& statement, const TaskItem& item, int first);

// Does nothing if the key is taken.
std::string insertTaskStatement();
// Sets the item, the key and the push state, in this order, of the row whose number comes last.
std::string updateTaskStatement();
// Sets the item of the row whose number comes last.
std::string updateItemStatement();

}  // namespace marlet
