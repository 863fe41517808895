// The way of a described record into JSON. Coding.h says how.
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

boost::json::value encode(bool value, const CodingStyle& style);
boost::json::value encode(int64_t value, const CodingStyle& style);
boost::json::value encode(double value, const CodingStyle& style);
boost::json::value encode(const std::string& value, const CodingStyle& style);
boost::json::value encode(const UUID& value, const CodingStyle& style);
boost::json::value encode(const URL& value, const CodingStyle& style);
boost::json::value encode(const Date& value, const CodingStyle& style);
template <DescribedEnumeration Enumeration>
boost::json::value encode(const Enumeration& value, const CodingStyle& style);
template <class Element>
boost::json::value encode(const std::vector<Element>& values, const CodingStyle& style);
template <class Element>
boost::json::value encode(const std::map<std::string, Element>& values, const CodingStyle& style);
template <DescribedRecord Record>
boost::json::value encode(const Record& record, const CodingStyle& style);

// Any value, written as it is.
template <std::same_as<boost::json::value> Value>
boost::json::value encode(const Value& value, const CodingStyle&) {
    return value;
}

template <DescribedEnumeration Enumeration>
boost::json::value encode(const Enumeration& value, const CodingStyle&) {
    return boost::json::value(code(value));
}

template <class Element>
boost::json::value encode(const std::vector<Element>& values, const CodingStyle& style) {
    boost::json::array result;
    result.reserve(values.size());
    for (const Element& element : values) {
        result.push_back(encode(element, style));
    }
    return result;
}

template <class Element>
boost::json::value encode(const std::map<std::string, Element>& values, const CodingStyle& style) {
    boost::json::object result;
    for (const auto& [key, element] : values) {
        result[key] = encode(element, style);
    }
    return result;
}

template <DescribedRecord Record>
boost::json::value encode(const Record& record, const CodingStyle& style) {
    boost::json::object result;
    boost::mp11::mp_for_each<MembersOf<Record>>([&](auto member) {
        const std::string_view key = detail::MemberKeys<Record, decltype(member)>::of(style.keys);
        const auto& value = record.*member.pointer;
        if constexpr (detail::isOptional<std::remove_cvref_t<decltype(value)>>) {
            if (value) {
                result[detail::jsonText(key)] = encode(*value, style);
            }
        } else {
            result[detail::jsonText(key)] = encode(value, style);
        }
    });
    return result;
}

}  // namespace marlet
