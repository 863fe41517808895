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

    // Replaces the member where it stands, or adds it at the end.
    void set(std::string_view key, const boost::json::value& value);
    // Without effect if there is no such member.
    void remove(std::string_view key);

    // In the order of the text. A key that stands there twice is here twice.
    const std::vector<Member>& members() const { return all; }

    std::string text() const;

private:
    std::vector<Member> all;
};

}  // namespace marlet
