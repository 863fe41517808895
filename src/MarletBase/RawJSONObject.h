#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlet {

// A JSON object whose members keep their own text, so that what nobody changes goes back as it came: numbers of any
// size, the order of keys, members of every kind.
class RawJSONObject {
public:
    struct Member {
        std::string key;
        std::string text;  // of the value, as it came
    };

    // No value for bytes that aren't one JSON object.
    static std::optional<RawJSONObject> parse(std::string_view bytes);

    // The value's own text; the last one where a key stands twice, as readers take it. Valid until the next change.
    std::optional<std::string_view> member(std::string_view key) const;

    // Replaces the member where it stands, or adds it at the end.
    void set(std::string_view key, const boost::json::value& value);
    void set(std::string_view key, const RawJSONObject& value);
    // Without effect if there is no such member.
    void remove(std::string_view key);

    // In the order of the text. A key that stands there twice is here twice.
    const std::vector<Member>& members() const { return all; }

    std::string text() const;
    // For people: over several lines, each object with its keys in ascending order.
    std::string prettyText() const;

private:
    void setText(std::string_view key, std::string text);

    std::vector<Member> all;
};

}  // namespace marlet
