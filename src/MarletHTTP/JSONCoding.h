// The JSON of the services: snake-case keys and the services' spellings of a date. A record only declares its fields.
#pragma once

#include <boost/json/monotonic_resource.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/Coding.h"

namespace marlet {

// A value that JSON can't hold: a number that isn't finite, or a text that isn't UTF-8.
class EncodingError final : public LocalizedError {
public:
    explicit EncodingError(const std::string& problem);
};

}  // namespace marlet

namespace marlet::JSONCoding {

inline constexpr CodingStyle style{DateCoding::services, KeyCoding::snakeCase};

// The text of any JSON value, keys in their order. Throws EncodingError.
std::string serialized(const boost::json::value& value);

// `dueDate` is written as "due_date", a date in UTC with whole seconds; an absent optional is left out, and the order
// is that of the declaration. Throws EncodingError.
template <class T>
std::string encode(const T& value) {
    return serialized(encode(value, style));
}

// "due_date" and "dueDate" are both read into `dueDate`. Throws DecodingError, also for bytes that aren't JSON, with
// "Invalid date: " and the text for a date that parseDate can't read.
template <class T>
T decode(std::string_view bytes) {
    boost::json::monotonic_resource memory;
    boost::json::value json = parseJSON(bytes, &memory);
    T result{};
    decode(json, result, DecodingPath(style));
    return result;
}

// "2026-03-14T09:26:53Z" or with a fraction of a second, with a zone or in GMT where the latter names none.
std::optional<Date> parseDate(std::string_view text);

// The member that a key of the wire means, for a decoder that walks over keys of its own: "due_date" is "dueDate",
// "customfield_10014" is "customfield10014". Underscores at either end stay, and a key without any inside is as it is.
std::string keyFromSnakeCase(std::string_view key);

}  // namespace marlet::JSONCoding
