#include "MarletBase/RawJSONObject.h"

#include <algorithm>
#include <boost/json/serialize.hpp>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

// Walks over text that is known to be a JSON object.
class Scanner {
public:
    explicit Scanner(std::string_view bytes) : rest(bytes) {}

    bool take(char expected) {
        skipSpace();
        if (rest.empty() || rest.front() != expected) {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }

    // The text of the value that comes next, whatever it is.
    std::string_view takeValue() {
        skipSpace();
        size_t length = 0;
        size_t depth = 0;
        do {
            char first = rest[length];
            if (first == '"') {
                length += stringLength(rest.substr(length));
                continue;
            }
            depth += first == '{' || first == '[' ? 1 : 0;
            depth -= first == '}' || first == ']' ? 1 : 0;
            ++length;
        } while (depth > 0 || !endsValue(length));
        std::string_view value = rest.substr(0, length);
        rest.remove_prefix(length);
        return value;
    }

private:
    static size_t stringLength(std::string_view text) {
        size_t length = 1;
        while (text[length] != '"') {
            length += text[length] == '\\' ? 2 : 1;
        }
        return length + 1;
    }

    void skipSpace() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size())); }

    bool endsValue(size_t length) const {
        return length >= rest.size() || std::string_view(",:]} \t\r\n").find(rest[length]) != std::string_view::npos;
    }

    std::string_view rest;
};

std::string decodedKey(std::string_view text) {
    boost::json::value key = parseJSON(text);
    return std::string(key.get_string().data(), key.get_string().size());
}

}  // namespace

std::optional<RawJSONObject> RawJSONObject::parse(std::string_view bytes) {
    try {
        if (!parseJSON(bytes).is_object()) {
            return std::nullopt;
        }
    } catch (const DecodingError&) {
        return std::nullopt;
    }
    RawJSONObject object;
    Scanner scanner(bytes);
    scanner.take('{');
    while (!scanner.take('}')) {
        std::string key = decodedKey(scanner.takeValue());
        scanner.take(':');
        std::string_view value = scanner.takeValue();
        scanner.take(',');
        object.all.push_back(Member{std::move(key), std::string(value)});
    }
    return object;
}

void RawJSONObject::set(std::string_view key, const boost::json::value& value) {
    std::string text = boost::json::serialize(value);
    auto first = std::find_if(all.begin(), all.end(), [&](const Member& member) { return member.key == key; });
    if (first == all.end()) {
        all.push_back(Member{std::string(key), std::move(text)});
        return;
    }
    first->text = std::move(text);
    // A key that stands twice would speak against the new value.
    auto behind = std::next(first);
    all.erase(std::remove_if(behind, all.end(), [&](const Member& member) { return member.key == key; }), all.end());
}

void RawJSONObject::remove(std::string_view key) {
    std::erase_if(all, [&](const Member& member) { return member.key == key; });
}

std::string RawJSONObject::text() const {
    std::string result = "{";
    for (const Member& member : all) {
        result += result.size() > 1 ? "," : "";
        result += boost::json::serialize(boost::json::string_view(member.key));
        result += ':';
        result += member.text;
    }
    result += '}';
    return result;
}

}  // namespace marlet
