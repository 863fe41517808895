#include "MarletBase/JSONText.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace marlet {
namespace {

bool needsEscape(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

void appendEscaped(std::string& text, char character) {
    switch (character) {
        case '"':
            text += "\\\"";
            break;
        case '\\':
            text += "\\\\";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\t':
            text += "\\t";
            break;
        default:
            fmt::format_to(std::back_inserter(text), "\\u{:04x}", static_cast<unsigned>(character));
    }
}

}  // namespace

void appendJSON(std::string& text, bool value) {
    text += value ? "true" : "false";
}

void appendJSON(std::string& text, int64_t value) {
    fmt::format_to(std::back_inserter(text), "{}", value);
}

void appendJSON(std::string& text, double value) {
    // JSON has no word for a value that is no number.
    if (std::isfinite(value)) {
        fmt::format_to(std::back_inserter(text), "{}", value);
    } else {
        text += "null";
    }
}

void appendJSON(std::string& text, const Date& value) {
    double seconds = secondsSince1970(value);
    bool isText = std::isfinite(seconds) && seconds != std::trunc(seconds);
    text += isText ? "\"" : "";
    appendJSON(text, seconds);
    text += isText ? "s\"" : "";
}

void appendJSON(std::string& text, std::string_view value) {
    text += '"';
    size_t written = 0;
    for (size_t position = 0; position < value.size(); ++position) {
        if (needsEscape(value[position])) {
            text.append(value, written, position - written);
            appendEscaped(text, value[position]);
            written = position + 1;
        }
    }
    text.append(value, written);
    text += '"';
}

}  // namespace marlet
