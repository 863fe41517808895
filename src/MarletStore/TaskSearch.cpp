#include "MarletStore/TaskSearch.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <cstring>
#include <string_view>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr char fieldEnd = '\xFF';

std::string_view bytesOf(sqlite3_value* value) {
    const void* bytes = sqlite3_value_blob(value);
    return {static_cast<const char*>(bytes), bytes ? static_cast<size_t>(sqlite3_value_bytes(value)) : 0};
}

bool contains(std::string_view bytes, std::string_view searched) {
    return searched.empty() || ::memmem(bytes.data(), bytes.size(), searched.data(), searched.size());
}

void taskTextMatches(sqlite3_context* call, int, sqlite3_value** values) {
    std::string_view block = bytesOf(values[0]);
    std::string_view foldedText = bytesOf(values[1]);
    std::string_view text = bytesOf(values[2]);
    size_t idEnd = block.find(fieldEnd);
    if (idEnd == std::string_view::npos) {
        sqlite3_result_int(call, 0);
        return;
    }
    bool matches = block.substr(0, idEnd) == text || contains(block.substr(idEnd + 1), foldedText);
    sqlite3_result_int(call, matches ? 1 : 0);
}

void appendField(std::string& block, std::string_view folded) {
    block += folded;
    block += fieldEnd;
}

}  // namespace

void installTaskSearch(ModelContext& context) {
    constexpr int argumentCount = 3;
    int outcome = sqlite3_create_function_v2(context.database().getHandle(), "taskTextMatches", argumentCount,
                                             SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, taskTextMatches, nullptr,
                                             nullptr, nullptr);
    if (outcome != SQLITE_OK) {
        throw SQLite::Exception(context.database().getHandle(), outcome);
    }
}

std::string searchBlock(const TaskItem& item) {
    std::string block;
    block.reserve(item.id.size() + item.title.size() + item.notes.size() + 64);
    appendField(block, item.id);
    appendField(block, foldedForSearch(item.title));
    appendField(block, foldedForSearch(item.notes));
    for (const TaskLabel& label : item.labels) {
        appendField(block, foldedForSearch(label.name));
    }
    return block;
}

void insertSearchText(ModelContext& context, int64_t task, const TaskItem& item) {
    SQLite::Statement& statement = context.statement("INSERT INTO TaskSearch (task, folded) VALUES (?, ?)");
    std::string block = searchBlock(item);
    statement.bind(1, task);
    statement.bindNoCopy(2, block.data(), static_cast<int>(block.size()));
    statement.exec();
}

void updateSearchText(ModelContext& context, int64_t task, const TaskItem& item) {
    SQLite::Statement& statement =
        context.statement("UPDATE TaskSearch SET folded = ?1 WHERE task = ?2 AND folded <> ?1");
    std::string block = searchBlock(item);
    statement.bindNoCopy(1, block.data(), static_cast<int>(block.size()));
    statement.bind(2, task);
    statement.exec();
}

}  // namespace marlet
