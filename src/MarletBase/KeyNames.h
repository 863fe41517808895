// The JSON keys of a record's members, all worked out by the compiler.
//
// A record whose service has another name for a member says so beside its description; such a key is used as it stands
// in every style:
//
//   constexpr std::array<KeyName, 1> keyNames(const Ticket*) { return {{{"typeName", "issuetype"}}}; }
#pragma once

#include <array>
#include <boost/json/string_view.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/CodingStyle.h"

namespace marlet {

struct KeyName {
    std::string_view member;
    std::string_view key;
};

template <class Record>
concept NamesKeys = requires(const Record* record) { keyNames(record); };

namespace detail {

constexpr bool isUpper(char character) {
    return character >= 'A' && character <= 'Z';
}
constexpr bool isLower(char character) {
    return character >= 'a' && character <= 'z';
}

// An upper-case letter starts a word. A run of them is one word, but for its last letter where a lower-case one
// follows: "pageURL" and "URLOfPage" are "page_url" and "url_of_page".
constexpr bool startsWord(std::string_view name, size_t index) {
    if (index == 0 || !isUpper(name[index]) || name[index - 1] == '_') {
        return false;
    }
    return !isUpper(name[index - 1]) || (index + 1 < name.size() && isLower(name[index + 1]));
}

// Hands the characters of the snake-case key to `put`, one by one.
template <class Put>
constexpr void writeSnakeCase(std::string_view name, Put put) {
    for (size_t index = 0; index < name.size(); ++index) {
        if (startsWord(name, index)) {
            put('_');
        }
        put(isUpper(name[index]) ? static_cast<char>(name[index] - 'A' + 'a') : name[index]);
    }
}

// Member is a descriptor of Boost.Describe.
template <class Member>
struct SnakeCase {
    static constexpr std::string_view name = Member::name;
    static constexpr size_t size = [] {
        size_t count = 0;
        writeSnakeCase(name, [&](char) { ++count; });
        return count;
    }();
    static constexpr std::array<char, size + 1> characters = [] {
        std::array<char, size + 1> result{};
        size_t count = 0;
        writeSnakeCase(name, [&](char character) { result[count++] = character; });
        return result;
    }();
    static constexpr std::string_view key{characters.data(), size};
};

template <class Record>
constexpr std::string_view namedKey(std::string_view member) {
    if constexpr (NamesKeys<Record>) {
        for (const KeyName& name : keyNames(static_cast<const Record*>(nullptr))) {
            if (name.member == member) {
                return name.key;
            }
        }
    }
    return {};
}

template <class Record, class Member>
struct MemberKeys {
    static constexpr std::string_view named = namedKey<Record>(Member::name);
    static constexpr std::string_view declared = named.empty() ? std::string_view(Member::name) : named;
    static constexpr std::string_view snakeCase = named.empty() ? SnakeCase<Member>::key : named;

    static constexpr std::string_view of(KeyCoding coding) {
        return coding == KeyCoding::snakeCase ? snakeCase : declared;
    }
};

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

inline boost::json::string_view jsonText(std::string_view text) {
    return {text.data(), text.size()};
}

}  // namespace detail
}  // namespace marlet
