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
        bool isThere = rest.starts_with(expected);
        rest.remove_prefix(isThere ? 1 : 0);
        return isThere;
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

std::string asJSON(std::string_view text) {
    return boost::json::serialize(boost::json::string_view(text));
}

struct KeyAndValue {
    std::string key;
    std::string_view value;
};

// Behind the opening brace.
std::vector<KeyAndValue> takeMembers(Scanner& scanner) {
    std::vector<KeyAndValue> members;
    while (!scanner.take('}')) {
        std::string key = decodedKey(scanner.takeValue());
        scanner.take(':');
        members.push_back(KeyAndValue{std::move(key), scanner.takeValue()});
        scanner.take(',');
    }
    return members;
}

// Writes values over several lines. Each is scanned once by every value around it, whose number is bounded.
class Layout {
public:
    void append(std::string_view value) {
        Scanner scanner(value);
        if (scanner.take('{')) {
            appendMembers(takeMembers(scanner));
        } else if (scanner.take('[')) {
            appendElements(scanner);
        } else {
            result += value;
        }
    }

    std::string result;

private:
    void appendMembers(std::vector<KeyAndValue> members) {
        // Of equal keys the last one counts, so they keep their order.
        std::stable_sort(members.begin(), members.end(),
                         [](const KeyAndValue& left, const KeyAndValue& right) { return left.key < right.key; });
        open('{');
        for (const KeyAndValue& member : members) {
            beginItem();
            result += asJSON(member.key) + ": ";
            append(member.value);
        }
        close('}');
    }

    void appendElements(Scanner& scanner) {
        open('[');
        while (!scanner.take(']')) {
            beginItem();
            append(scanner.takeValue());
            scanner.take(',');
        }
        close(']');
    }

    void open(char bracket) {
        result += bracket;
        ++depth;
    }

    void beginItem() {
        result += isEmptySoFar() ? "" : ",";
        startLine();
    }

    void close(char bracket) {
        --depth;
        if (!isEmptySoFar()) {
            startLine();
        }
        result += bracket;
    }

    // No other value ends like that.
    bool isEmptySoFar() const { return result.ends_with('{') || result.ends_with('['); }

    void startLine() { result.append(1, '\n').append(2 * depth, ' '); }

    size_t depth = 0;
};

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
    for (KeyAndValue& member : takeMembers(scanner)) {
        object.all.push_back(Member{std::move(member.key), std::string(member.value)});
    }
    return object;
}

std::optional<std::string_view> RawJSONObject::member(std::string_view key) const {
    auto last = std::find_if(all.rbegin(), all.rend(), [&](const Member& member) { return member.key == key; });
    return last == all.rend() ? std::nullopt : std::optional<std::string_view>(last->text);
}

void RawJSONObject::set(std::string_view key, const boost::json::value& value) {
    setText(key, boost::json::serialize(value));
}

void RawJSONObject::set(std::string_view key, const RawJSONObject& value) {
    setText(key, value.text());
}

void RawJSONObject::setText(std::string_view key, std::string text) {
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
        result += asJSON(member.key);
        result += ':';
        result += member.text;
    }
    result += '}';
    return result;
}

std::string RawJSONObject::prettyText() const {
    std::string compact = text();
    Layout layout;
    layout.append(compact);
    return std::move(layout.result);
}

}  // namespace marlet
