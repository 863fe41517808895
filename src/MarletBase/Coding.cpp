#include "MarletBase/Coding.h"

#include <fmt/format.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <cmath>

namespace marlet {
namespace {

// Deeper than any service nests, and far from the end of a thread's stack.
constexpr size_t maximalDepth = 128;

void appendSorted(std::string& text, const boost::json::value& value) {
    if (const boost::json::array* array = value.if_array()) {
        text += '[';
        for (size_t index = 0; index < array->size(); ++index) {
            text += index > 0 ? "," : "";
            appendSorted(text, (*array)[index]);
        }
        text += ']';
    } else if (const boost::json::object* object = value.if_object()) {
        std::map<std::string_view, const boost::json::value*> members;
        for (const auto& member : *object) {
            members.emplace(std::string_view(member.key().data(), member.key().size()), &member.value());
        }
        text += '{';
        bool isFirst = true;
        for (const auto& [key, member] : members) {
            text += isFirst ? "" : ",";
            isFirst = false;
            text += boost::json::serialize(boost::json::string_view(key.data(), key.size()));
            text += ':';
            appendSorted(text, *member);
        }
        text += '}';
    } else {
        text += boost::json::serialize(value);
    }
}

void decodeServiceDate(const boost::json::value& json, Date& value, const DecodingPath& path) {
    std::string text;
    decode(json, text, path);
    std::optional<Date> date = parseServiceDate(text);
    if (!date) {
        throw DecodingError::invalidDate(path.text(), text);
    }
    value = *date;
}

}  // namespace

DecodingError::DecodingError(const std::string& path, const std::string& problem)
    : LocalizedError(path.empty() ? fmt::format("The data can't be read: it {}.", problem)
                                  : fmt::format("The data can't be read: \"{}\" {}.", path, problem)),
      place(path) {}

DecodingError::DecodingError(std::string path, Whole whole)
    : LocalizedError(std::move(whole.description)), place(std::move(path)) {}

DecodingError DecodingError::invalidDate(std::string path, const std::string& text) {
    return {std::move(path), Whole{"Invalid date: " + text}};
}

std::string DecodingPath::text() const {
    if (!parent) {
        return std::string(key);
    }
    std::string own = key.empty() ? std::to_string(index) : std::string(key);
    std::string above = parent->text();
    return above.empty() ? own : above + "." + own;
}

void DecodingPath::fail(const std::string& problem) const {
    throw DecodingError(text(), problem);
}

boost::json::value encode(bool value, const CodingStyle&) {
    return value;
}
boost::json::value encode(int64_t value, const CodingStyle&) {
    return value;
}
boost::json::value encode(double value, const CodingStyle&) {
    return value;
}
boost::json::value encode(const std::string& value, const CodingStyle&) {
    return boost::json::value(value);
}
boost::json::value encode(const UUID& value, const CodingStyle&) {
    return boost::json::value(value.text());
}
boost::json::value encode(const URL& value, const CodingStyle&) {
    return boost::json::value(value.text());
}
boost::json::value encode(const Date& value, const CodingStyle& style) {
    if (style.dates == DateCoding::seconds) {
        return secondsSince1970(value);
    }
    return boost::json::value(iso8601(value));
}

void decode(const boost::json::value& json, bool& value, const DecodingPath& path) {
    const bool* boolean = json.if_bool();
    if (!boolean) {
        path.fail("isn't true or false");
    }
    value = *boolean;
}

void decode(const boost::json::value& json, int64_t& value, const DecodingPath& path) {
    constexpr double limit = 9223372036854775808.0;
    if (const int64_t* integer = json.if_int64()) {
        value = *integer;
    } else if (const double* number = json.if_double();
               number && std::trunc(*number) == *number && *number >= -limit && *number < limit) {
        value = static_cast<int64_t>(*number);
    } else {
        path.fail("isn't a whole number");
    }
}

void decode(const boost::json::value& json, double& value, const DecodingPath& path) {
    if (!json.is_number()) {
        path.fail("isn't a number");
    }
    value = json.to_number<double>();
}

void decode(const boost::json::value& json, std::string& value, const DecodingPath& path) {
    const boost::json::string* string = json.if_string();
    if (!string) {
        path.fail("isn't a text");
    }
    value.assign(string->data(), string->size());
}

void decode(const boost::json::value& json, UUID& value, const DecodingPath& path) {
    std::string text;
    decode(json, text, path);
    std::optional<UUID> uuid = UUID::parse(text);
    if (!uuid) {
        path.fail("isn't a UUID");
    }
    value = *uuid;
}

void decode(const boost::json::value& json, URL& value, const DecodingPath& path) {
    std::string text;
    decode(json, text, path);
    std::optional<URL> url = URL::parse(text);
    if (!url) {
        path.fail("isn't a URL");
    }
    value = *url;
}

void decode(const boost::json::value& json, Date& value, const DecodingPath& path) {
    if (path.style.dates == DateCoding::services) {
        decodeServiceDate(json, value, path);
        return;
    }
    if (json.is_number()) {
        value = dateFromSeconds(json.to_number<double>());
        return;
    }
    std::string text;
    decode(json, text, path);
    double seconds = 0;
    auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (failure == std::errc() && std::string_view(end) == "s") {
        value = dateFromSeconds(seconds);
        return;
    }
    std::optional<Date> date = parseISO8601(text);
    if (!date) {
        path.fail("isn't a date");
    }
    value = *date;
}

const boost::json::object& detail::objectIn(const boost::json::value& json, const DecodingPath& path) {
    const boost::json::object* object = json.if_object();
    if (!object) {
        path.fail("isn't an object");
    }
    return *object;
}

boost::json::value parseJSON(std::string_view bytes, boost::json::storage_ptr storage) {
    boost::json::parse_options options;
    options.max_depth = maximalDepth;
    boost::json::error_code failure;
    boost::json::value value =
        boost::json::parse(boost::json::string_view(bytes.data(), bytes.size()), failure, std::move(storage), options);
    if (failure) {
        throw DecodingError("", "isn't JSON (" + failure.message() + ")");
    }
    return value;
}

std::string sortedJSON(const boost::json::value& value) {
    std::string text;
    appendSorted(text, value);
    return text;
}

}  // namespace marlet
