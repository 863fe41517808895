#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "MarletHTTP/NetworkError.h"
#include "MarletHTTP/RedirectInternal.h"

namespace marlet {
namespace {

// What a request may say to anybody. Services have their own names for tokens, so everything else counts as secret.
constexpr std::array<std::string_view, 7> harmlessHeaders = {
    "accept",        "accept-language", "content-type",        "if-modified-since",
    "if-none-match", "user-agent",      "x-github-api-version"};

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return result;
}

struct Origin {
    explicit Origin(const URLComponents& components)
        : scheme(lowered(components.scheme)),
          host(lowered(components.host.value_or(""))),
          port(components.port.empty() ? defaultPort(scheme) : components.port) {}

    static std::string defaultPort(std::string_view scheme) { return scheme == "https" ? "443" : "80"; }

    std::string server() const { return port == defaultPort(scheme) ? host : host + ":" + port; }
    std::string name() const { return scheme + "://" + server(); }

    bool operator==(const Origin&) const = default;

    std::string scheme;
    std::string host;
    std::string port;
};

bool carriesCredentials(const URLRequest& request) {
    return request.url.components().userInfo ||
           std::any_of(request.headers.begin(), request.headers.end(), [](const auto& header) {
               std::string name = lowered(header.first);
               return std::find(harmlessHeaders.begin(), harmlessHeaders.end(), name) == harmlessHeaders.end();
           });
}

NetworkError refusal(std::string text) {
    return {NetworkError::Kind::redirect, std::move(text)};
}

NetworkError hasMoved(const Origin& from, const Origin& to) {
    return refusal(fmt::format("The server {} has moved to {}. Change the account's address to the new one.",
                               from.server(), to.name()));
}

}  // namespace

std::string serverOf(const URL& url) {
    return Origin(url.components()).server();
}

std::string originName(const URL& url) {
    return Origin(url.components()).name();
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

URLRequest redirected(URLRequest request, int status, std::string_view target) {
    URLComponents current = request.url.components();
    Origin from(current);
    std::optional<URL> parsed = URL::parse(target);
    URLComponents next = parsed ? parsed->components() : URLComponents();
    Origin to(next);
    if (to.host.empty() || (to.scheme != "https" && to.scheme != "http")) {
        throw refusal(fmt::format("The server {} points to an address that can't be used. Check the account's address.",
                                  from.server()));
    }
    if (from.scheme == "https" && to.scheme == "http") {
        throw refusal(fmt::format(
            "The server {} points to {} without encryption, which isn't followed. Check the account's address.",
            from.server(), to.server()));
    }
    bool isWrite = request.method != HTTPMethod::get;
    if (from != to && (isWrite || carriesCredentials(request))) {
        throw hasMoved(from, to);
    }
    if (isWrite && status != 307 && status != 308) {
        throw refusal(fmt::format(
            "The server {} has moved what was to be changed, and the change wasn't sent on to {}. Check the "
            "account's address.",
            from.server(), to.name()));
    }
    next.userInfo = current.userInfo;  // the server's own say in the matter isn't taken
    next.fragment = std::nullopt;
    request.url = URL::build(next).value();
    return request;
}

}  // namespace marlet
