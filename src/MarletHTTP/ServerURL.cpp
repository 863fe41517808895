#include "MarletHTTP/ServerURL.h"

#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr std::string_view unreservedPunctuation = "-._~";
// A semicolon is left out: some servers take what follows it for parameters of the component.
constexpr std::string_view pathPunctuation = "-._~!$&'()*+,=:@/";
constexpr std::string_view apiV1 = "api/v1";

std::string_view withoutTrailingSlash(std::string_view path) {
    return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

URL withPath(const URL& url, URLComponents components, std::string path) {
    components.path = std::move(path);
    return URL::build(components).value_or(url);
}

std::string effectivePort(const URLComponents& components, const std::string& scheme) {
    if (!components.port.empty()) {
        return components.port;
    }
    return scheme == "https" ? "443" : scheme == "http" ? "80" : "";
}

}  // namespace

std::string encodedQuery(const URLQuery& query) {
    std::string result;
    for (const URLQueryItem& item : query) {
        result += result.empty() ? "" : "&";
        result += percentEncoded(item.name, unreservedPunctuation);
        result += '=';
        result += percentEncoded(item.value.value_or(""), unreservedPunctuation);
    }
    return result;
}

URL appendingPath(const URL& base, std::string_view path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    if (path.empty()) {
        return base;
    }
    URLComponents components = base.components();
    std::string whole = components.path.substr(0, components.path.find_last_not_of('/') + 1);
    whole += '/';
    whole += percentEncoded(path, pathPunctuation);
    return withPath(base, std::move(components), std::move(whole));
}

URL appendingAPIPath(const URL& url, std::string_view path) {
    std::string own = url.components().path;
    bool isThere = withoutTrailingSlash(own).ends_with("/" + std::string(path));
    return isThere ? url : appendingPath(url, path);
}

URL appendingAPIv1(const URL& url) {
    return appendingAPIPath(url, apiV1);
}

URL removingAPIv1(const URL& url) {
    URLComponents components = url.components();
    std::string_view path = withoutTrailingSlash(components.path);
    if (!path.ends_with("/" + std::string(apiV1))) {
        return url;
    }
    std::string rest(path.substr(0, path.size() - apiV1.size()));
    return withPath(url, std::move(components), std::move(rest));
}

bool isSameOrigin(const URL& left, const URL& right) {
    URLComponents one = left.components();
    URLComponents other = right.components();
    std::string scheme = lowercasedASCII(one.scheme);
    return scheme == lowercasedASCII(other.scheme) && one.host.has_value() == other.host.has_value() &&
           lowercasedASCII(one.host.value_or("")) == lowercasedASCII(other.host.value_or("")) &&
           effectivePort(one, scheme) == effectivePort(other, scheme);
}

}  // namespace marlet
