// Addresses on a server: what a client composes, and bases as users type them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/URL.h"

namespace marlet {

struct URLQueryItem {
    std::string name;
    std::optional<std::string> value;

    bool operator==(const URLQueryItem&) const = default;
};
using URLQuery = std::vector<URLQueryItem>;

// "a=1&b=a%20b": every item has its "=", and only what RFC 3986 leaves unreserved stays as it is. Servers read a bare
// "+" as a blank.
std::string encodedQuery(const URLQuery& query);

// The path behind the base's own, with one slash between them. It is data: "%" and everything else that a component
// can't hold is percent-encoded, so "a%2Fb" is one component of five characters.
URL appendingPath(const URL& base, std::string_view path);

// The path behind the base's own, unless that already ends with it. `path` has no slash in front.
URL appendingAPIPath(const URL& url, std::string_view path);
URL appendingAPIv1(const URL& url);
// The URL as it is if its path doesn't end in "/api/v1".
URL removingAPIv1(const URL& url);

// Same scheme, host and port, where a missing port is the scheme's own.
bool isSameOrigin(const URL& left, const URL& right);

}  // namespace marlet
