#include "MarletHTTP/HTTPResponse.h"

#include <algorithm>
#include <vector>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr std::string_view relationMark = "rel=";

std::string_view withoutQuotes(std::string_view text) {
    size_t start = std::min(text.find_first_not_of('"'), text.size());
    size_t end = text.find_last_not_of('"') + 1;
    return start < end ? text.substr(start, end - start) : std::string_view();
}

// One entry of a "Link" header: a target in angle brackets and its parameters.
struct LinkEntry {
    std::vector<std::string> parts;

    bool hasTarget() const { return !parts.empty() && parts.front().starts_with('<') && parts.front().ends_with('>'); }
    std::string_view target() const { return std::string_view(parts.front()).substr(1, parts.front().size() - 2); }

    bool hasRelation(std::string_view relation) const {
        return std::any_of(parts.begin() + 1, parts.end(), [&](std::string_view part) {
            if (!part.starts_with(relationMark)) {
                return false;
            }
            std::vector<std::string_view> relations = pieces(withoutQuotes(part.substr(relationMark.size())), ' ');
            return std::find(relations.begin(), relations.end(), relation) != relations.end();
        });
    }
};

LinkEntry linkEntry(std::string_view text) {
    LinkEntry entry;
    for (std::string_view piece : pieces(text, ';')) {
        entry.parts.push_back(trimmed(piece));
    }
    return entry;
}

}  // namespace

HTTPResponse HTTPResponse::of(TransportAnswer answer) {
    HTTPResponse response{std::move(answer.body), answer.status, {}};
    for (auto& [name, value] : answer.headers) {
        auto [place, isNew] = response.headers.try_emplace(lowercasedASCII(name), std::move(value));
        if (!isNew) {
            place->second += ", " + value;
        }
    }
    return response;
}

std::optional<std::string> HTTPResponse::header(std::string_view name) const {
    auto found = headers.find(lowercasedASCII(name));
    return found != headers.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<URL> HTTPResponse::link(std::string_view relation) const {
    std::optional<std::string> value = header("link");
    if (!value) {
        return std::nullopt;
    }
    // A comma inside a target breaks its entry; no service writes one.
    for (std::string_view text : pieces(*value, ',')) {
        LinkEntry entry = linkEntry(text);
        if (entry.hasTarget() && entry.hasRelation(relation)) {
            return URL::parse(entry.target());
        }
    }
    return std::nullopt;
}

}  // namespace marlet
