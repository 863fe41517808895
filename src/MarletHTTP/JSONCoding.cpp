#include "MarletHTTP/JSONCoding.h"

#include <boost/json/serialize.hpp>
#include <cmath>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

void requireUTF8(std::string_view text) {
    if (!isValidUTF8(text)) {
        throw EncodingError("a text isn't UTF-8");
    }
}

// Boost.JSON writes something for every value, also where JSON has no form for it.
void requireWritable(const boost::json::value& value) {
    if (const double* number = value.if_double()) {
        if (!std::isfinite(*number)) {
            throw EncodingError("a number isn't finite");
        }
    } else if (const boost::json::string* text = value.if_string()) {
        requireUTF8({text->data(), text->size()});
    } else if (const boost::json::array* array = value.if_array()) {
        for (const boost::json::value& element : *array) {
            requireWritable(element);
        }
    } else if (const boost::json::object* object = value.if_object()) {
        for (const auto& member : *object) {
            requireUTF8({member.key().data(), member.key().size()});
            requireWritable(member.value());
        }
    }
}

bool isASCIILetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}
char uppercased(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}
char lowercased(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

EncodingError::EncodingError(const std::string& problem)
    : LocalizedError("The data can't be written: " + problem + ".") {}

std::string JSONCoding::serialized(const boost::json::value& value) {
    requireWritable(value);
    return boost::json::serialize(value);
}

std::optional<Date> JSONCoding::parseDate(std::string_view text) {
    return parseServiceDate(text);
}

std::string JSONCoding::keyFromSnakeCase(std::string_view key) {
    size_t start = key.find_first_not_of('_');
    if (start == std::string_view::npos) {
        return std::string(key);
    }
    size_t end = key.find_last_not_of('_') + 1;
    std::string_view words = key.substr(start, end - start);
    if (words.find('_') == std::string_view::npos) {
        return std::string(key);
    }
    std::string result(key.substr(0, start));
    bool isFirstWord = true;
    bool isBehindLetter = false;
    for (char character : words) {
        if (character == '_') {
            isFirstWord = false;
            isBehindLetter = false;
            continue;
        }
        result += isFirstWord || isBehindLetter ? lowercased(character) : uppercased(character);
        isBehindLetter = isASCIILetter(character);
    }
    result += key.substr(end);
    return result;
}

}  // namespace marlet
