// Mapping of described records to the columns of an SQLite table: a column is named after the member it holds.
//
// Texts, enumerations (by code), URLs and UUIDs are TEXT, dates and doubles REAL, booleans and integers INTEGER,
// records and lists JSON text. An absent optional is NULL.
#pragma once

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <boost/json/serialize.hpp>
#include <string>

#include "MarletBase/Coding.h"

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
    statement.bind(index, boost::json::serialize(encode(value, DateCoding::seconds)));
}
template <class Element>
void bindValue(SQLite::Statement& statement, int index, const std::vector<Element>& values) {
    statement.bind(index, values.empty() ? "[]" : boost::json::serialize(encode(values, DateCoding::seconds)));
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

inline std::string columnText(const SQLite::Column& column) {
    const char* bytes = column.getText("");
    return {bytes, static_cast<size_t>(column.getBytes())};
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
template <DescribedRecord Record>
void readColumn(const SQLite::Column& column, Record& value) {
    value = decoded<Record>(parseJSON(columnText(column)));
}
template <class Element>
void readColumn(const SQLite::Column& column, std::vector<Element>& values) {
    std::string text = columnText(column);
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
