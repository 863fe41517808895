#include "MarletClient/AccountAddress.h"

#include <fmt/format.h>

#include <array>
#include <charconv>

#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletCore/GitHubURL.h"

namespace marlet {
namespace {

constexpr std::array<std::string_view, 6> apiPaths{"/api/v1",     "/api/v3",     "/api/v4",
                                                   "/rest/api/2", "/rest/api/3", "/rest/api/latest"};

std::string withoutAPIPath(std::string path) {
    auto trimSlashes = [&path] {
        while (path.ends_with('/')) {
            path.pop_back();
        }
    };
    trimSlashes();
    for (std::string_view api : apiPaths) {
        if (path.ends_with(api)) {
            path.resize(path.size() - api.size());
            trimSlashes();
        }
    }
    return path;
}

// Also of an address that names none.
bool isPort(const std::string& text) {
    uint16_t port = 1;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return text.empty() || (error == std::errc() && end == text.data() + text.size() && port > 0);
}

void check(const URLComponents& parts) {
    if (parts.scheme != "https" && parts.scheme != "http") {
        throw UsageError("The server's address must begin with https:// or http://.");
    }
    if (parts.userInfo) {
        throw UsageError(
            "The server's address must not hold a user or a password. Leave them out; the token is asked for, or read "
            "by --token-stdin.");
    }
    if (!parts.host || parts.host->empty() || parts.host->find('%') != std::string::npos) {
        throw UsageError("The server's address names no host that could be reached.");
    }
    if (!isPort(parts.port)) {
        throw UsageError("The port in the server's address must be a number from 1 to 65535.");
    }
    if (parts.query || parts.fragment) {
        throw UsageError("Give the address of the server's start page, without anything behind a \"?\" or \"#\".");
    }
}

}  // namespace

URL accountAddress(BackendKind kind, const std::optional<std::string>& typed) {
    std::string text = trimmed(typed.value_or(""));
    if (text.empty() && !typed && !isSelfHosted(kind)) {
        return *defaultBaseURL(kind);
    }
    if (text.empty()) {
        throw UsageError(
            fmt::format("Where is the {} server? Give its address with --url, such as --url "
                        "https://git.example.org.",
                        displayName(kind)));
    }
    if (text.find("://") == std::string::npos) {
        text.insert(0, "https://");
    }
    std::optional<URL> url = URL::parse(text);
    if (!url) {
        throw UsageError("The server's address can't be understood. Give it such as https://git.example.org.");
    }
    URLComponents parts = url->components();
    parts.scheme = lowercasedASCII(parts.scheme);
    check(parts);
    parts.host = lowercasedASCII(*parts.host);
    if (parts.port == (parts.scheme == "https" ? "443" : "80")) {
        parts.port.clear();
    }
    parts.path = withoutAPIPath(parts.path);
    return URL::build(parts).value_or(*url);
}

std::string hostAndPort(const URL& address) {
    URLComponents parts = address.components();
    std::string host = parts.host.value_or("");
    return parts.port.empty() ? host : host + ":" + parts.port;
}

bool isLoopback(const URL& address) {
    std::string host = address.components().host.value_or("");
    bool isFour = host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos;
    return isFour || host == "localhost" || host.ends_with(".localhost") || host == "[::1]";
}

bool sendsTokenInTheClear(const Account& account) {
    bool isGitHub = account.kind == BackendKind::github;
    URL reached = isGitHub ? gitHubAPIRoot(account.baseURL) : account.baseURL;
    return reached.components().scheme == "http" && !isLoopback(reached);
}

}  // namespace marlet
