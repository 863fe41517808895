// Described records and enumerations: BOOST_DESCRIBE_STRUCT and BOOST_DESCRIBE_ENUM are all that they declare.
#pragma once

#include <boost/describe.hpp>
#include <boost/mp11/algorithm.hpp>
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

namespace marlet {

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

}  // namespace marlet
