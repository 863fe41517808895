// The way of a described record out of JSON. Coding.h says how.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "MarletBase/CodingStyle.h"
#include "MarletBase/Date.h"
#include "MarletBase/Description.h"
#include "MarletBase/KeyNames.h"
#include "MarletBase/URL.h"
#include "MarletBase/UUID.h"

namespace marlet {

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
template <class Element>
void decode(const boost::json::value& json, std::map<std::string, Element>& values, const DecodingPath& path);
template <DescribedRecord Record>
void decode(const boost::json::value& json, Record& record, const DecodingPath& path);

// Any value, taken as it is.
template <std::same_as<boost::json::value> Value>
void decode(const boost::json::value& json, Value& value, const DecodingPath&) {
    value = json;
}

namespace detail {
// Fails where the value isn't an object.
const boost::json::object& objectIn(const boost::json::value& json, const DecodingPath& path);
}  // namespace detail

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

template <class Element>
void decode(const boost::json::value& json, std::map<std::string, Element>& values, const DecodingPath& path) {
    values.clear();
    for (const auto& member : detail::objectIn(json, path)) {
        std::string key(member.key().data(), member.key().size());
        DecodingPath memberPath{&path, key};
        decode(member.value(), values[key], memberPath);
    }
}

namespace detail {
template <class Keys>
const boost::json::value* memberOf(const boost::json::object& object, KeyCoding coding) {
    if constexpr (Keys::snakeCase != Keys::declared) {
        if (coding == KeyCoding::snakeCase) {
            if (const boost::json::value* found = object.if_contains(jsonText(Keys::snakeCase))) {
                return found;
            }
        }
    }
    return object.if_contains(jsonText(Keys::declared));
}
}  // namespace detail

template <DescribedRecord Record>
void decode(const boost::json::value& json, Record& record, const DecodingPath& path) {
    const boost::json::object& object = detail::objectIn(json, path);
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        using Keys = detail::MemberKeys<Record, decltype(member)>;
        auto& value = record.*member.pointer;
        DecodingPath memberPath{&path, Keys::of(path.style.keys)};
        if (const boost::json::value* found = detail::memberOf<Keys>(object, path.style.keys)) {
            decode(*found, value, memberPath);
        } else if constexpr (!detail::isOptional<std::remove_cvref_t<decltype(value)>>) {
            memberPath.fail("is missing");
        }
    });
}

}  // namespace marlet
