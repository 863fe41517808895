// Mapping of described records to the columns of an SQLite table: a column is named after the member it holds.
//
// Texts, enumerations (by code), URLs and UUIDs are TEXT, dates and doubles REAL, booleans and integers INTEGER,
// records and lists JSON text. An absent optional is NULL. An enumeration's unknown code leaves the member as the
// record sets it up: a row that a later version wrote stays readable.
#pragma once

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <string>

#include "MarletBase/JSONText.h"

namespace marlet {

// Binds to the parameter of this number, counted from 1. Texts are copied.
inline void bindValue(SQLite::Statement& statement, int index, bool value) {
    statement.bind(index, value ? 1 : 0);
}
inline void bindValue(SQLite::Statement& statement, int index, int64_t value) {
    statement.bind(index, value);
}
inline void bindValue(SQLite::Statement& statement, int index, double value) {
    statement.bind(index, value);
}
inline void bindValue(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bind(index, value);
}
inline void bindValue(SQLite::Statement& statement, int index, const UUID& value) {
    statement.bind(index, value.text());
}
inline void bindValue(SQLite::Statement& statement, int index, const URL& value) {
    statement.bind(index, value.text());
}
inline void bindValue(SQLite::Statement& statement, int index, const Date& value) {
    statement.bind(index, secondsSince1970(value));
}
template <DescribedEnumeration Enumeration>
void bindValue(SQLite::Statement& statement, int index, const Enumeration& value) {
    statement.bind(index, std::string(code(value)));
}
template <DescribedRecord Record>
void bindValue(SQLite::Statement& statement, int index, const Record& value) {
    std::string text;
    appendJSON(text, value);
    statement.bind(index, text);
}
template <class Element>
void bindValue(SQLite::Statement& statement, int index, const std::vector<Element>& values) {
    std::string text;
    appendJSON(text, values);
    statement.bind(index, text);
}
template <class Value>
void bindValue(SQLite::Statement& statement, int index, const std::optional<Value>& value) {
    if (value) {
        bindValue(statement, index, *value);
    } else {
        statement.bind(index);
    }
}

// Binds the values to the parameters 1, 2, 3 and so on.
template <class... Values>
void bindAll(SQLite::Statement& statement, const Values&... values) {
    int index = 0;
    (bindValue(statement, ++index, values), ...);
}

// The bytes in SQLite's own memory, valid until the statement moves on. Asking for a text instead would copy it.
inline std::string_view columnBytes(const SQLite::Column& column) {
    const void* bytes = column.getBlob();
    return {static_cast<const char*>(bytes), bytes ? static_cast<size_t>(column.getBytes()) : 0};
}
inline std::string columnText(const SQLite::Column& column) {
    return std::string(columnBytes(column));
}

inline void readColumn(const SQLite::Column& column, bool& value) {
    value = column.getInt() != 0;
}
inline void readColumn(const SQLite::Column& column, int64_t& value) {
    value = column.getInt64();
}
inline void readColumn(const SQLite::Column& column, double& value) {
    value = column.getDouble();
}
inline void readColumn(const SQLite::Column& column, std::string& value) {
    value = columnText(column);
}
inline void readColumn(const SQLite::Column& column, UUID& value) {
    value = UUID::parse(columnText(column)).value_or(UUID{});
}
inline void readColumn(const SQLite::Column& column, Date& value) {
    value = dateFromSeconds(column.getDouble());
}
inline void readColumn(const SQLite::Column& column, URL& value) {
    value = URL::parse(columnText(column)).value_or(URL());
}
template <DescribedEnumeration Enumeration>
void readColumn(const SQLite::Column& column, Enumeration& value) {
    value = fromCode<Enumeration>(columnBytes(column)).value_or(value);
}
template <DescribedRecord Record>
void readColumn(const SQLite::Column& column, Record& value) {
    value = decoded<Record>(parseJSON(columnBytes(column)));
}
template <class Element>
void readColumn(const SQLite::Column& column, std::vector<Element>& values) {
    std::string_view text = columnBytes(column);
    values = text == "[]" ? std::vector<Element>() : decoded<std::vector<Element>>(parseJSON(text));
}
template <class Value>
void readColumn(const SQLite::Column& column, std::optional<Value>& value) {
    if (column.isNull()) {
        value.reset();
    } else {
        readColumn(column, value.emplace());
    }
}

// Whether the column holds exactly what bindValue would write: what a writer asks to leave an unchanged row alone.
inline bool columnHolds(const SQLite::Column& column, std::string_view value) {
    return !column.isNull() && columnBytes(column) == value;
}
inline bool columnHolds(const SQLite::Column& column, const std::string& value) {
    return columnHolds(column, std::string_view(value));
}
inline bool columnHolds(const SQLite::Column& column, bool value) {
    return !column.isNull() && (column.getInt() != 0) == value;
}
inline bool columnHolds(const SQLite::Column& column, int64_t value) {
    return !column.isNull() && column.getInt64() == value;
}
inline bool columnHolds(const SQLite::Column& column, double value) {
    return !column.isNull() && column.getDouble() == value;
}
inline bool columnHolds(const SQLite::Column& column, const Date& value) {
    return columnHolds(column, secondsSince1970(value));
}
inline bool columnHolds(const SQLite::Column& column, const UUID& value) {
    return columnHolds(column, std::string_view(value.text()));
}
inline bool columnHolds(const SQLite::Column& column, const URL& value) {
    return columnHolds(column, std::string_view(value.text()));
}
template <DescribedEnumeration Enumeration>
bool columnHolds(const SQLite::Column& column, const Enumeration& value) {
    return columnHolds(column, code(value));
}
template <class Composite>
    requires DescribedRecord<Composite>
bool columnHolds(const SQLite::Column& column, const Composite& value) {
    thread_local std::string text;
    text.clear();
    appendJSON(text, value);
    return columnHolds(column, std::string_view(text));
}
template <class Element>
bool columnHolds(const SQLite::Column& column, const std::vector<Element>& values) {
    thread_local std::string text;
    text.clear();
    appendJSON(text, values);
    return columnHolds(column, std::string_view(text));
}
template <class Value>
bool columnHolds(const SQLite::Column& column, const std::optional<Value>& value) {
    return value ? columnHolds(column, *value) : column.isNull();
}

// "id, name, detail": the members in their order.
template <DescribedRecord Record>
std::string columnList() {
    std::string text;
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        text += text.empty() ? "" : ", ";
        text += member.name;
    });
    return text;
}

// "INSERT INTO table (id, name) VALUES (?, ?)".
template <DescribedRecord Record>
std::string insertStatement(const std::string& table) {
    constexpr size_t count = boost::mp11::mp_size<MembersOf<Record>>::value;
    std::string text = "INSERT INTO " + table + " (" + columnList<Record>() + ") VALUES (?";
    for (size_t index = 1; index < count; ++index) {
        text += ", ?";
    }
    return text + ")";
}

// "UPDATE table SET id = ?, name = ?": the condition is the caller's.
template <DescribedRecord Record>
std::string updateStatement(const std::string& table) {
    std::string text;
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        text += text.empty() ? "UPDATE " + table + " SET " : ", ";
        text += member.name;
        text += " = ?";
    });
    return text;
}

// Binds every member, in order, from `first` on; returns the number of the next parameter.
template <DescribedRecord Record>
int bindRecord(SQLite::Statement& statement, const Record& record, int first = 1) {
    boost::mp11::mp_for_each<MembersOf<Record>>(
        [&](auto member) { bindValue(statement, first++, record.*member.pointer); });
    return first;
}

// Reads a row whose columns, from `first` on, are columnList<Record>().
template <DescribedRecord Record>
Record readRecord(SQLite::Statement& statement, int first = 0) {
    Record record;
    boost::mp11::mp_for_each<MembersOf<Record>>(
        [&](auto member) { readColumn(statement.getColumn(first++), record.*member.pointer); });
    return record;
}

}  // namespace marlet
