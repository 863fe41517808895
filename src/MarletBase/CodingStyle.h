// How values stand in JSON, and how a decoder tells where it was when it couldn't read one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "MarletBase/LocalizedError.h"

namespace marlet {

enum class DateCoding {
    iso8601,   // text in UTC, cut to whole seconds
    seconds,   // a number that reads back exactly
    services,  // written like iso8601; read as parseServiceDate does, and nothing else is a date
};

enum class KeyCoding {
    asDeclared,  // a key is the member's name
    snakeCase,   // `dueDate` is written as "due_date" and read from that, or else from "dueDate"
};

// Dates alone make a style, so that a caller without wishes for the keys names just these.
struct CodingStyle {
    constexpr CodingStyle(DateCoding dateCoding, KeyCoding keyCoding = KeyCoding::asDeclared)
        : dates(dateCoding), keys(keyCoding) {}

    DateCoding dates;
    KeyCoding keys;
};

class DecodingError final : public LocalizedError {
public:
    // `path` names the value, such as "labels.0.name".
    DecodingError(const std::string& path, const std::string& problem);
    // A date in no form that the style reads: the description is "Invalid date: " and the text.
    static DecodingError invalidDate(std::string path, const std::string& text);

    const std::string& path() const { return place; }

private:
    struct Whole {
        std::string description;
    };
    DecodingError(std::string path, Whole whole);

    std::string place;
};

// Where the decoder stands, for the text of an error, and the style that it reads. Built only on the stack, so a path
// costs nothing until it is told.
struct DecodingPath {
    DecodingPath() = default;
    explicit DecodingPath(CodingStyle styleOfAll) : style(styleOfAll) {}
    DecodingPath(const DecodingPath* above, std::string_view ownKey, size_t ownIndex = 0)
        : parent(above), key(ownKey), index(ownIndex), style(above->style) {}

    std::string text() const;
    [[noreturn]] void fail(const std::string& problem) const;

    const DecodingPath* parent = nullptr;
    std::string_view key;
    size_t index = 0;
    CodingStyle style = DateCoding::seconds;
};

}  // namespace marlet
