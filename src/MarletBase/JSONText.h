// The compact JSON text of described records, written straight into a string: for the many small values of a row.
//
// Reads back with parseJSON and decoded(). Equal values have equal texts. Dates are seconds; with a fraction they are a
// text such as "1800000000.25s", since the parser of JSON numbers rounds.
#pragma once

#include <string>
#include <string_view>

#include "MarletBase/Coding.h"

namespace marlet {

void appendJSON(std::string& text, bool value);
void appendJSON(std::string& text, int64_t value);
void appendJSON(std::string& text, double value);
void appendJSON(std::string& text, std::string_view value);

inline void appendJSON(std::string& text, const std::string& value) {
    appendJSON(text, std::string_view(value));
}
inline void appendJSON(std::string& text, const UUID& value) {
    appendJSON(text, std::string_view(value.text()));
}
inline void appendJSON(std::string& text, const URL& value) {
    appendJSON(text, std::string_view(value.text()));
}
void appendJSON(std::string& text, const Date& value);
template <DescribedEnumeration Enumeration>
void appendJSON(std::string& text, const Enumeration& value) {
    appendJSON(text, code(value));
}
template <DescribedRecord Record>
void appendJSON(std::string& text, const Record& record);

template <class Element>
void appendJSON(std::string& text, const std::vector<Element>& values) {
    text += '[';
    bool isFirst = true;
    for (const Element& element : values) {
        if (!isFirst) {
            text += ',';
        }
        isFirst = false;
        appendJSON(text, element);
    }
    text += ']';
}

namespace detail {

template <class Value>
void appendMember(std::string& text, bool& isFirst, std::string_view key, const Value& value) {
    text += isFirst ? "\"" : ",\"";
    isFirst = false;
    text += key;
    text += "\":";
    appendJSON(text, value);
}
template <class Value>
void appendMember(std::string& text, bool& isFirst, std::string_view key, const std::optional<Value>& value) {
    if (value) {
        appendMember(text, isFirst, key, *value);
    }
}

}  // namespace detail

template <DescribedRecord Record>
void appendJSON(std::string& text, const Record& record) {
    text += '{';
    bool isFirst = true;
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        constexpr std::string_view key = detail::MemberKeys<Record, decltype(member)>::declared;
        detail::appendMember(text, isFirst, key, record.*member.pointer);
    });
    text += '}';
}

}  // namespace marlet
