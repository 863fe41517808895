#include "MarletHTTP/ServiceRecords.h"

#include <algorithm>
#include <set>

#include "MarletBase/Text.h"

namespace marlet {

std::optional<URL> url(const WebAddress& address) {
    return address ? URL::parse(*address) : std::nullopt;
}

void decode(const boost::json::value&, PresenceMarker&, const DecodingPath&) {}

TaskComment commentAsSent(std::string id, std::string body) {
    return {std::move(id), std::nullopt, std::move(body), std::nullopt, std::nullopt};
}

std::optional<std::string> colorHex(const std::optional<std::string>& color) {
    std::string_view digits = color ? std::string_view(*color) : std::string_view();
    while (digits.starts_with('#')) {
        digits.remove_prefix(1);
    }
    while (digits.ends_with('#')) {
        digits.remove_suffix(1);
    }
    return digits.empty() ? std::nullopt : std::optional(lowercasedASCII(digits));
}

std::vector<std::string> labelNames(const std::vector<TaskLabel>& labels) {
    std::vector<std::string> names;
    names.reserve(labels.size());
    for (const TaskLabel& label : labels) {
        names.push_back(label.name);
    }
    return names;
}

bool haveSameNames(const std::vector<TaskLabel>& labels, const std::vector<TaskLabel>& others) {
    auto namesOf = [](const std::vector<TaskLabel>& list) {
        std::set<std::string_view> names;
        for (const TaskLabel& label : list) {
            names.insert(label.name);
        }
        return names;
    };
    return namesOf(labels) == namesOf(others);
}

bool isDenied(const BackendError& error) {
    const auto* http = error.as<BackendError::HTTP>();
    return error.as<BackendError::NotFound>() || error.as<BackendError::Rejected>() || (http && http->status == 403);
}

void requirePathSegments(std::string_view id) {
    size_t start = 0;
    while (true) {
        size_t end = std::min(id.find('/', start), id.size());
        std::string_view segment = id.substr(start, end - start);
        if (segment.empty() || segment == "." || segment == "..") {
            throw BackendError::notFound();
        }
        if (end == id.size()) {
            return;
        }
        start = end + 1;
    }
}

void requireNumber(std::string_view id) {
    if (id.empty() || id.find_first_not_of("0123456789") != std::string_view::npos) {
        throw BackendError::notFound();
    }
}

}  // namespace marlet
