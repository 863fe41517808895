// JSON coding of described records: BOOST_DESCRIBE_STRUCT is all that a record declares.
//
// Keys are the member names, enumerators their own names. An absent optional is left out, and a null reads as absent.
// A member that is missing or of another kind throws DecodingError, unknown members are passed over.
#pragma once

#include <boost/describe.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <boost/mp11/algorithm.hpp>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/URL.h"
#include "MarletBase/UUID.h"

namespace marlet {

class DecodingError final : public LocalizedError {
public:
    // `path` names the value, such as "labels.0.name".
    DecodingError(const std::string& path, const std::string& problem);
};

enum class DateCoding {
    iso8601,  // text in UTC, cut to whole seconds
    seconds,  // a number that reads back exactly
};

template <class Record>
concept DescribedRecord = boost::describe::has_describe_members<Record>::value && std::is_class_v<Record>;

template <class Enumeration>
concept DescribedEnumeration = boost::describe::has_describe_enumerators<Enumeration>::value;

// The string code of an enumerator.
template <DescribedEnumeration Enumeration>
std::string_view code(Enumeration value) {
    return boost::describe::enum_to_string(value, "");
}

// No value for a code that no enumerator has.
template <DescribedEnumeration Enumeration>
std::optional<Enumeration> fromCode(std::string_view text) {
    std::optional<Enumeration> result;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<Enumeration>>([&](auto enumerator) {
        if (text == enumerator.name) {
            result = enumerator.value;
        }
    });
    return result;
}

// Every enumerator, in the order of declaration.
template <DescribedEnumeration Enumeration>
std::vector<Enumeration> allCases() {
    std::vector<Enumeration> result;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<Enumeration>>(
        [&](auto enumerator) { result.push_back(enumerator.value); });
    return result;
}

template <DescribedRecord Record>
using MembersOf = boost::describe::describe_members<Record, boost::describe::mod_public>;

boost::json::value encode(bool value, DateCoding dates);
boost::json::value encode(int64_t value, DateCoding dates);
boost::json::value encode(double value, DateCoding dates);
boost::json::value encode(const std::string& value, DateCoding dates);
boost::json::value encode(const UUID& value, DateCoding dates);
boost::json::value encode(const URL& value, DateCoding dates);
boost::json::value encode(const Date& value, DateCoding dates);
template <DescribedEnumeration Enumeration>
boost::json::value encode(const Enumeration& value, DateCoding dates);
template <class Element>
boost::json::value encode(const std::vector<Element>& values, DateCoding dates);
template <class Element>
boost::json::value encode(const std::map<std::string, Element>& values, DateCoding dates);
template <DescribedRecord Record>
boost::json::value encode(const Record& record, DateCoding dates);

template <DescribedEnumeration Enumeration>
boost::json::value encode(const Enumeration& value, DateCoding) {
    return boost::json::value(code(value));
}

template <class Element>
boost::json::value encode(const std::vector<Element>& values, DateCoding dates) {
    boost::json::array result;
    result.reserve(values.size());
    for (const Element& element : values) {
        result.push_back(encode(element, dates));
    }
    return result;
}

template <class Element>
boost::json::value encode(const std::map<std::string, Element>& values, DateCoding dates) {
    boost::json::object result;
    for (const auto& [key, element] : values) {
        result[key] = encode(element, dates);
    }
    return result;
}

namespace detail {
template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;
}  // namespace detail

template <DescribedRecord Record>
boost::json::value encode(const Record& record, DateCoding dates) {
    boost::json::object result;
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        const auto& value = record.*member.pointer;
        if constexpr (detail::isOptional<std::remove_cvref_t<decltype(value)>>) {
            if (value) {
                result[member.name] = encode(*value, dates);
            }
        } else {
            result[member.name] = encode(value, dates);
        }
    });
    return result;
}

// Where the decoder stands, for the text of an error. Built only on the stack, so a path costs nothing until it is
// told.
struct DecodingPath {
    const DecodingPath* parent = nullptr;
    std::string_view key;
    size_t index = 0;

    std::string text() const;
    [[noreturn]] void fail(const std::string& problem) const;
};

void decode(const boost::json::value& json, bool& value, const DecodingPath& path);
void decode(const boost::json::value& json, int64_t& value, const DecodingPath& path);
void decode(const boost::json::value& json, double& value, const DecodingPath& path);
void decode(const boost::json::value& json, std::string& value, const DecodingPath& path);
void decode(const boost::json::value& json, UUID& value, const DecodingPath& path);
void decode(const boost::json::value& json, URL& value, const DecodingPath& path);
void decode(const boost::json::value& json, Date& value, const DecodingPath& path);
template <DescribedEnumeration Enumeration>
void decode(const boost::json::value& json, Enumeration& value, const DecodingPath& path);
template <class Element>
void decode(const boost::json::value& json, std::optional<Element>& value, const DecodingPath& path);
template <class Element>
void decode(const boost::json::value& json, std::vector<Element>& values, const DecodingPath& path);
template <DescribedRecord Record>
void decode(const boost::json::value& json, Record& record, const DecodingPath& path);

template <DescribedEnumeration Enumeration>
void decode(const boost::json::value& json, Enumeration& value, const DecodingPath& path) {
    std::string text;
    decode(json, text, path);
    std::optional<Enumeration> known = fromCode<Enumeration>(text);
    if (!known) {
        path.fail("has the unknown value \"" + text + "\"");
    }
    value = *known;
}

template <class Element>
void decode(const boost::json::value& json, std::optional<Element>& value, const DecodingPath& path) {
    if (json.is_null()) {
        value.reset();
    } else {
        decode(json, value.emplace(), path);
    }
}

template <class Element>
void decode(const boost::json::value& json, std::vector<Element>& values, const DecodingPath& path) {
    const boost::json::array* array = json.if_array();
    if (!array) {
        path.fail("isn't a list");
    }
    values.clear();
    values.reserve(array->size());
    for (size_t index = 0; index < array->size(); ++index) {
        decode((*array)[index], values.emplace_back(), DecodingPath{&path, {}, index});
    }
}

template <DescribedRecord Record>
void decode(const boost::json::value& json, Record& record, const DecodingPath& path) {
    const boost::json::object* object = json.if_object();
    if (!object) {
        path.fail("isn't an object");
    }
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        auto& value = record.*member.pointer;
        const boost::json::value* found = object->if_contains(member.name);
        DecodingPath memberPath{&path, member.name};
        if (found) {
            decode(*found, value, memberPath);
        } else if constexpr (!detail::isOptional<std::remove_cvref_t<decltype(value)>>) {
            memberPath.fail("is missing");
        }
    });
}

template <class T>
T decoded(const boost::json::value& json) {
    T result{};
    decode(json, result, DecodingPath{});
    return result;
}

// Throws DecodingError for bytes that aren't JSON. Nesting is bounded.
boost::json::value parseJSON(std::string_view bytes);

// Objects with their keys in ascending order, "/" not escaped.
std::string sortedJSON(const boost::json::value& value);

}  // namespace marlet
