#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {

class JSONError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// A JSON value of any shape: messages, input schemas, tool arguments and tool results.
//
// Converts from whatever has a plain JSON form, so that a value can be written down as a literal:
//     JSONValue::object({{"type", "string"}, {"enum", JSONValue::array({"open", "closed"})}, {"limit", 50}})
class JSONValue {
public:
    using Array = std::vector<JSONValue>;
    // Sorted by key, and searchable by a view.
    using Object = std::map<std::string, JSONValue, std::less<>>;

    JSONValue() = default;  // null
    JSONValue(std::nullptr_t) {}
    // Only a real bool: a pointer doesn't become one here.
    template <std::same_as<bool> Bool>
    JSONValue(Bool flag) : value(flag) {}
    template <class Number>
        requires(std::is_arithmetic_v<Number> && !std::same_as<Number, bool> && !std::same_as<Number, char>)
    JSONValue(Number number) : value(static_cast<double>(number)) {}
    JSONValue(const char* text) : value(std::string(text)) {}
    JSONValue(std::string_view text) : value(std::string(text)) {}
    JSONValue(std::string text) : value(std::move(text)) {}
    JSONValue(std::optional<std::string> text);
    // In UTC, cut to whole seconds: "2026-01-31T09:05:00Z".
    JSONValue(Date date);
    JSONValue(std::optional<Date> date);
    JSONValue(const std::vector<std::string>& texts);
    JSONValue(Array elements) : value(std::move(elements)) {}
    JSONValue(Object members) : value(std::move(members)) {}

    static JSONValue array(std::initializer_list<JSONValue> elements) { return Array(elements); }
    struct Member;
    static JSONValue object(std::initializer_list<Member> members);

    bool isNull() const { return std::holds_alternative<std::monostate>(value); }
    std::optional<bool> boolValue() const;
    std::optional<double> numberValue() const;
    // The number, if it is whole and fits. No value for 3.5, and none for 1e300.
    std::optional<int64_t> intValue() const;
    // Null if the value is of another kind.
    const std::string* stringValue() const { return std::get_if<std::string>(&value); }
    const Array* arrayValue() const { return std::get_if<Array>(&value); }
    Array* arrayValue() { return std::get_if<Array>(&value); }
    const Object* objectValue() const { return std::get_if<Object>(&value); }
    Object* objectValue() { return std::get_if<Object>(&value); }

    // The member of an object; null if there is none, or if this isn't an object.
    const JSONValue* operator[](std::string_view key) const;

    // UTF-8 text with sorted keys; "/" isn't escaped. Whole numbers below 2^53 have no fraction, bytes that aren't
    // UTF-8 become U+FFFD. Throws JSONError for a number that isn't finite.
    std::string data(bool pretty = false) const;

    // Throws JSONError for what isn't one JSON text in UTF-8, is nested deeper than `maximalDepth`, or has a number
    // beyond all 64-bit floats. Of members with the same key the last one stays.
    static JSONValue decode(std::string_view bytes);
    static constexpr size_t maximalDepth = 128;

    bool operator==(const JSONValue& other) const;

private:
    std::variant<std::monostate, bool, double, std::string, Array, Object> value;

    friend class JSONWriter;
    friend size_t hash_value(const JSONValue& json);
};

// A key and its value in a literal. The value is moved into the object, which a large one is glad of.
struct JSONValue::Member {
    std::string key;
    mutable JSONValue value;
};

size_t hash_value(const JSONValue& json);

}  // namespace marlet

template <>
struct std::hash<marlet::JSONValue> {
    size_t operator()(const marlet::JSONValue& json) const { return hash_value(json); }
};
