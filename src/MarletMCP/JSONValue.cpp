#include "MarletMCP/JSONValue.h"

#include <boost/container_hash/hash.hpp>
#include <charconv>
#include <cmath>
#include <iterator>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

// Below it a double holds every whole number exactly.
constexpr double exactIntegerLimit = 9007199254740992.0;
constexpr double int64Limit = 9223372036854775808.0;
constexpr size_t indentation = 2;

bool isPlainASCII(char character) {
    auto byte = static_cast<unsigned char>(character);
    return byte >= 0x20 && byte < 0x80 && character != '"' && character != '\\';
}

void appendEscape(std::string& out, unsigned char byte) {
    constexpr const char* digits = "0123456789abcdef";
    switch (byte) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            out += "\\u00";
            out += digits[byte >> 4];
            out += digits[byte & 15];
    }
}

// `text` is UTF-8.
void appendEscaped(std::string& out, std::string_view text) {
    size_t runStart = 0;
    for (size_t index = 0; index < text.size(); ++index) {
        auto byte = static_cast<unsigned char>(text[index]);
        if (byte < 0x20 || byte == '"' || byte == '\\') {
            out.append(text, runStart, index - runStart);
            appendEscape(out, byte);
            runStart = index + 1;
        }
    }
    out.append(text, runStart, text.size() - runStart);
}

void appendString(std::string& out, std::string_view text) {
    out += '"';
    auto special = std::find_if_not(text.begin(), text.end(), isPlainASCII);
    if (special == text.end()) {
        out += text;
    } else if (isValidUTF8(text)) {
        appendEscaped(out, text);
    } else {
        appendEscaped(out, repairedUTF8(text));
    }
    out += '"';
}

void appendNumber(std::string& out, double number) {
    if (!std::isfinite(number)) {
        throw JSONError("A number that isn't finite can't be written as JSON.");
    }
    char text[40];
    if (std::trunc(number) == number && std::fabs(number) < exactIntegerLimit) {
        auto end = std::to_chars(std::begin(text), std::end(text), static_cast<int64_t>(number)).ptr;
        out.append(text, end);
        return;
    }
    auto end = std::to_chars(std::begin(text), std::end(text), number).ptr;
    std::string_view written(text, static_cast<size_t>(end - text));
    out += written;
    // The shortest form of a large whole number looks like an integer, which readers may cut to 53 bits or refuse.
    if (written.find_first_of(".e") == std::string_view::npos) {
        out += ".0";
    }
}

}  // namespace

// Appends straight to one string; the pretty form has one element or member per line.
class JSONWriter {
public:
    JSONWriter(std::string& text, bool isPretty) : out(text), pretty(isPretty) {}

    void write(const JSONValue& json) {
        std::visit([this](const auto& payload) { writePayload(payload); }, json.value);
    }

private:
    void writePayload(std::monostate) { out += "null"; }
    void writePayload(bool flag) { out += flag ? "true" : "false"; }
    void writePayload(double number) { appendNumber(out, number); }
    void writePayload(const std::string& text) { appendString(out, text); }

    void writePayload(const JSONValue::Array& elements) {
        out += '[';
        ++depth;
        for (const JSONValue& element : elements) {
            startLine(&element == elements.data());
            write(element);
        }
        endLines(elements.empty());
        out += ']';
    }

    void writePayload(const JSONValue::Object& members) {
        out += '{';
        ++depth;
        bool isFirst = true;
        for (const auto& [key, member] : members) {
            startLine(std::exchange(isFirst, false));
            appendString(out, key);
            out += pretty ? ": " : ":";
            write(member);
        }
        endLines(members.empty());
        out += '}';
    }

    void startLine(bool isFirst) {
        if (!isFirst) {
            out += ',';
        }
        if (pretty) {
            out += '\n';
            out.append(depth * indentation, ' ');
        }
    }

    void endLines(bool isEmpty) {
        --depth;
        if (pretty && !isEmpty) {
            out += '\n';
            out.append(depth * indentation, ' ');
        }
    }

    std::string& out;
    bool pretty;
    size_t depth = 0;
};

JSONValue::JSONValue(std::optional<std::string> text) {
    if (text) {
        value = std::move(*text);
    }
}

JSONValue::JSONValue(Date date) : value(iso8601(date)) {}

JSONValue::JSONValue(std::optional<Date> date) {
    if (date) {
        value = iso8601(*date);
    }
}

JSONValue::JSONValue(const std::vector<std::string>& texts) : value(Array(texts.begin(), texts.end())) {}

JSONValue JSONValue::object(std::initializer_list<Member> members) {
    Object result;
    for (const Member& member : members) {
        result.insert_or_assign(member.key, std::move(member.value));
    }
    return result;
}

std::optional<bool> JSONValue::boolValue() const {
    const bool* flag = std::get_if<bool>(&value);
    return flag ? std::optional(*flag) : std::nullopt;
}

std::optional<double> JSONValue::numberValue() const {
    const double* number = std::get_if<double>(&value);
    return number ? std::optional(*number) : std::nullopt;
}

std::optional<int64_t> JSONValue::intValue() const {
    const double* number = std::get_if<double>(&value);
    bool isWholeAndFits = number && *number >= -int64Limit && *number < int64Limit && std::trunc(*number) == *number;
    return isWholeAndFits ? std::optional(static_cast<int64_t>(*number)) : std::nullopt;
}

const JSONValue* JSONValue::operator[](std::string_view key) const {
    const Object* members = objectValue();
    if (!members) {
        return nullptr;
    }
    auto found = members->find(key);
    return found == members->end() ? nullptr : &found->second;
}

std::string JSONValue::data(bool pretty) const {
    std::string text;
    JSONWriter(text, pretty).write(*this);
    return text;
}

bool JSONValue::operator==(const JSONValue& other) const {
    return value == other.value;
}

size_t hash_value(const JSONValue& json) {
    size_t seed = json.value.index();
    if (const JSONValue::Array* elements = json.arrayValue()) {
        for (const JSONValue& element : *elements) {
            boost::hash_combine(seed, hash_value(element));
        }
    } else if (const JSONValue::Object* members = json.objectValue()) {
        for (const auto& [key, member] : *members) {
            boost::hash_combine(seed, std::hash<std::string>()(key));
            boost::hash_combine(seed, hash_value(member));
        }
    } else if (const std::string* text = json.stringValue()) {
        boost::hash_combine(seed, std::hash<std::string>()(*text));
    } else if (std::optional<double> number = json.numberValue()) {
        boost::hash_combine(seed, std::hash<double>()(*number));
    } else if (std::optional<bool> flag = json.boolValue()) {
        boost::hash_combine(seed, std::hash<bool>()(*flag));
    }
    return seed;
}

}  // namespace marlet
