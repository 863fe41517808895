#include "MarletHTTP/HTTPClient.h"

#include <fmt/format.h>

#include "MarletCore/BackendError.h"
#include "MarletHTTP/NetworkError.h"
#include "MarletHTTP/RedirectInternal.h"
#include "MarletHTTP/ResponseStatusInternal.h"

namespace marlet {
namespace {

constexpr const char* authorization = "Authorization";
// Far more than anybody's tasks fill. A server that names ever new pages would be asked until the memory ends.
constexpr size_t mostPages = 10'000;

// Most often a server behind a proxy that was never told the address it is reached at. What it names isn't taken for
// the same server on its word, since the token would go there.
NetworkError goesOnElsewhere(const URL& base, const URL& next) {
    bool losesEncryption = originName(base).starts_with("https:") && originName(next).starts_with("http:");
    std::string advice = losesEncryption
                             ? "which isn't encrypted. Ask the server's administrator to correct the server's own "
                               "address; the account's stays as it is."
                             : "which is another address. Correct the account's address if that is the server's "
                               "right one, or else ask the server's administrator.";
    return {NetworkError::Kind::redirect,
            fmt::format("The lists of {} go on at {}, {}", originName(base), originName(next), advice)};
}

NetworkError neverEnds(const URL& base) {
    return {NetworkError::Kind::redirect,
            fmt::format("A list of {} never ends: its pages lead back to one another. Try again later, or ask the "
                        "server's administrator.",
                        originName(base))};
}

}  // namespace

HTTPClient::HTTPClient(URL baseURL, HTTPHeaders headersOfAll, std::shared_ptr<HTTPTransport> carrier,
                       std::shared_ptr<Clock> timeOfDay)
    : base(std::move(baseURL)),
      headers(std::move(headersOfAll)),
      transport(std::move(carrier)),
      clock(std::move(timeOfDay)),
      etags(std::make_shared<ETagCache>()) {}

URL HTTPClient::url(const std::string& path, const URLQuery& query) const {
    URLComponents components = appendingPath(base, path).components();
    if (components.scheme.empty() || !components.host || components.host->empty()) {
        throw BackendError::invalidURL();
    }
    if (!query.empty()) {
        components.query = encodedQuery(query);
    }
    std::optional<URL> result = URL::build(components);
    if (!result) {
        throw BackendError::invalidURL();
    }
    return *result;
}

URLRequest HTTPClient::request(HTTPMethod method, URL url, std::optional<std::string> body) const {
    URLRequest request{method, std::move(url), headers, std::move(body)};
    if (!isSameOrigin(base, request.url)) {
        request.headers.erase(authorization);
    }
    if (request.body) {
        request.headers["Content-Type"] = "application/json";
    }
    return request;
}

Async<HTTPResponse> HTTPClient::send(HTTPMethod method, URL url, std::optional<std::string> body,
                                     bool revalidating) const {
    bool isRevalidated = method == HTTPMethod::get && revalidating;
    URLRequest request = this->request(method, url, std::move(body));
    std::shared_ptr<const ETagCache::Entry> known = isRevalidated ? etags->entry(url) : nullptr;
    if (known) {
        request.headers["If-None-Match"] = known->etag;
    }
    TransportAnswer answer = co_await transport->send(std::move(request));
    HTTPResponse response = HTTPResponse::of(std::move(answer));
    if (known && response.status == 304) {
        co_return known->response;
    }
    checkStatus(response, *clock);
    if (isRevalidated) {
        if (std::optional<std::string> etag = response.header("ETag")) {
            etags->store({std::move(*etag), response}, url);
        }
    }
    co_return response;
}

Async<HTTPResponse> HTTPClient::get(std::string path, URLQuery query) const {
    URL target = url(path, query);
    HTTPResponse response = co_await send(HTTPMethod::get, std::move(target), std::nullopt, true);
    co_return response;
}

std::optional<URL> HTTPClient::linkedPage(const HTTPResponse& response) const {
    std::optional<URL> next = response.link("next");
    if (!next || !headers.contains(authorization) || isSameOrigin(base, *next)) {
        return next;
    }
    if (next->components().host.value_or("").empty()) {
        throw BackendError::invalidResponse();
    }
    throw goesOnElsewhere(base, *next);
}

std::optional<URL> HTTPClient::nextPage(const HTTPResponse& response, const std::string& path, const URLQuery& query,
                                        const std::unordered_set<URL>& pagesRead) const {
    std::optional<URL> next = linkedPage(response);
    if (!next) {
        std::optional<std::string> header = response.header("x-pagination-total-pages");
        std::optional<int64_t> pages = header ? decimalInteger(*header) : std::nullopt;
        auto page = static_cast<int64_t>(pagesRead.size()) + 1;
        if (!pages || *pages < page) {
            return std::nullopt;
        }
        URLQuery pageQuery = query;
        pageQuery.push_back({"page", std::to_string(page)});
        next = url(path, pageQuery);
    }
    if (pagesRead.contains(*next) || pagesRead.size() == mostPages) {
        throw neverEnds(base);
    }
    return next;
}

}  // namespace marlet
