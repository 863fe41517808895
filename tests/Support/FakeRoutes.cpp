#include "TestSupport/FakeRoutes.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <charconv>

#include "MarletBase/URL.h"

namespace marlet {
namespace {

constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    size_t start = 0;
    for (size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

std::string_view pathOf(std::string_view target) {
    return target.substr(0, target.find('?'));
}

bool fits(std::string_view pattern, std::string_view path, std::vector<std::string>& captures) {
    std::vector<std::string_view> wanted = split(pattern, '/');
    std::vector<std::string_view> pieces = split(path, '/');
    if (wanted.size() != pieces.size()) {
        return false;
    }
    captures.clear();
    for (size_t index = 0; index < pieces.size(); ++index) {
        if (wanted[index] == "*" && !pieces[index].empty()) {
            captures.push_back(percentDecoded(pieces[index]));
        } else if (wanted[index] != pieces[index]) {
            return false;
        }
    }
    return true;
}

bool allOf(const boost::json::value& value, FakeKind kind);

bool isOf(const boost::json::value& value, FakeKind kind) {
    switch (kind) {
        case FakeKind::any:
            return true;
        case FakeKind::string:
            return value.is_string();
        case FakeKind::stringOrNull:
            return value.is_string() || value.is_null();
        case FakeKind::boolean:
            return value.is_bool();
        case FakeKind::number:
            return value.is_int64();
        case FakeKind::object:
            return value.is_object();
        case FakeKind::strings:
            return allOf(value, FakeKind::string);
        case FakeKind::numbers:
            return allOf(value, FakeKind::number);
        case FakeKind::objects:
            return allOf(value, FakeKind::object);
    }
    return false;
}

bool allOf(const boost::json::value& value, FakeKind kind) {
    return value.is_array() && std::all_of(value.get_array().begin(), value.get_array().end(),
                                           [&](const boost::json::value& element) { return isOf(element, kind); });
}

std::optional<std::string> readQuery(std::string_view target, const FakeRoute& route, FakeQuery& query) {
    size_t mark = target.find('?');
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    for (std::string_view item : split(target.substr(mark + 1), '&')) {
        size_t equals = item.find('=');
        std::string name = percentDecoded(item.substr(0, equals));
        std::string value = equals == std::string_view::npos ? "" : percentDecoded(item.substr(equals + 1));
        auto known = std::find_if(route.query.begin(), route.query.end(),
                                  [&](const FakeQueryKey& key) { return key.name == name; });
        if (known == route.query.end()) {
            return "unknown query item " + name;
        }
        if (!known->values.empty() &&
            std::find(known->values.begin(), known->values.end(), value) == known->values.end()) {
            return "query item " + name + " is " + value;
        }
        if (std::any_of(query.begin(), query.end(), [&](const auto& earlier) { return earlier.first == name; })) {
            return "query item " + name + " is given twice";
        }
        query.emplace_back(std::move(name), std::move(value));
    }
    return std::nullopt;
}

std::optional<std::string> checkBody(const boost::json::object& body, const FakeRoute& route) {
    for (const auto& member : body) {
        auto known = std::find_if(route.body.begin(), route.body.end(),
                                  [&](const FakeBodyKey& key) { return key.name == member.key(); });
        if (known == route.body.end()) {
            return fmt::format("unknown key {} in the body", std::string_view(member.key()));
        }
        if (!isOf(member.value(), known->kind)) {
            return fmt::format("the body's {} is of a wrong kind", known->name);
        }
    }
    for (const FakeBodyKey& key : route.body) {
        if (key.isRequired && !body.contains(key.name)) {
            return fmt::format("the body lacks {}", key.name);
        }
    }
    return std::nullopt;
}

std::optional<std::string> readBody(const FakeRequest& request, const FakeRoute& route, boost::json::object& body) {
    if (route.body.empty()) {
        return request.body.empty() ? std::nullopt : std::optional<std::string>("a body where none belongs");
    }
    if (!request.header("content-type").starts_with("application/json")) {
        return "the body's content type is \"" + request.header("content-type") + "\"";
    }
    boost::system::error_code error;
    boost::json::value value = boost::json::parse(request.body, error);
    if (error || !value.is_object()) {
        return "the body is no JSON object";
    }
    body = value.get_object();
    return checkBody(body, route);
}

}  // namespace

std::string percentEncoded(std::string_view text) {
    std::string result;
    for (char character : text) {
        if (unreserved.find(character) != std::string_view::npos) {
            result += character;
        } else {
            result += fmt::format("%{:02X}", static_cast<unsigned char>(character));
        }
    }
    return result;
}

std::optional<std::string> FakeCall::item(std::string_view name) const {
    auto found = std::find_if(query.begin(), query.end(), [&](const auto& item) { return item.first == name; });
    return found == query.end() ? std::nullopt : std::optional<std::string>(found->second);
}

int64_t FakeCall::number(size_t capture) const {
    const std::string& text = captures.at(capture);
    int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

std::optional<std::string> FakeCall::text(std::string_view key) const {
    const boost::json::value* found = body.if_contains(key);
    return found && found->is_string() ? std::optional<std::string>(found->get_string().c_str()) : std::nullopt;
}

std::optional<FakeRoutes::Match> FakeRoutes::match(const FakeRequest& request, const std::string& target) const {
    for (const FakeRoute& route : routes) {
        FakeCall call;
        if (route.method == request.method && fits(route.pattern, pathOf(target), call.captures)) {
            call.url = request.url;
            call.path = pathOf(target);
            return Match{&route, std::move(call)};
        }
    }
    return std::nullopt;
}

std::optional<std::string> FakeRoutes::check(const FakeRequest& request, const std::string& target, Match& match) {
    std::optional<std::string> problem = readQuery(target, *match.route, match.call.query);
    return problem ? problem : readBody(request, *match.route, match.call.body);
}

}  // namespace marlet
