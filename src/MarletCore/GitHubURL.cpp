#include "MarletCore/GitHubURL.h"

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr std::string_view publicAPIRoot = "https://api.github.com";
constexpr std::string_view tenantDomain = ".ghe.com";
constexpr std::string_view serverAPIPath = "/api/v3";

bool isPublicHost(const std::string& host) {
    return host == "github.com" || host == "www.github.com" || host == "api.github.com";
}

// `url` with the parts of `components`, or `url` itself when these make no URL.
URL rebuilt(const URL& url, const URLComponents& components) {
    return URL::build(components).value_or(url);
}

}  // namespace

URL gitHubAPIRoot(const URL& baseURL) {
    URLComponents components = baseURL.components();
    if (!components.host || components.host->empty()) {
        return baseURL;
    }
    std::string host = lowercasedASCII(*components.host);
    if (isPublicHost(host)) {
        return URL::parse(publicAPIRoot).value_or(baseURL);
    }
    if (host.ends_with(tenantDomain)) {
        return URL::parse("https://" + (host.starts_with("api.") ? host : "api." + host)).value_or(baseURL);
    }
    std::string path = components.path;
    if (path.ends_with('/')) {
        path.pop_back();
    }
    if (path.ends_with(serverAPIPath)) {
        return baseURL;
    }
    components.path = serverAPIPath;
    components.query.reset();
    components.fragment.reset();
    return rebuilt(baseURL, components);
}

URL gitHubGraphQLURL(const URL& baseURL) {
    URL root = gitHubAPIRoot(baseURL);
    URLComponents components = root.components();
    std::string& path = components.path;
    if (path.ends_with('/')) {
        path.pop_back();
    }
    if (path.ends_with(serverAPIPath)) {
        path.resize(path.rfind('/'));
    }
    path += "/graphql";
    return rebuilt(root, components);
}

URL gitHubWebRoot(const URL& baseURL) {
    URL root = gitHubAPIRoot(baseURL);
    URLComponents components = root.components();
    if (components.host && components.host->starts_with("api.")) {
        components.host->erase(0, 4);
    }
    std::string& path = components.path;
    if (path.ends_with(serverAPIPath)) {
        path.resize(path.size() - serverAPIPath.size());
    } else {
        path.clear();
    }
    return rebuilt(root, components);
}

}  // namespace marlet
