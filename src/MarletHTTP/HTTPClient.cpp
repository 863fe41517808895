#include "MarletHTTP/HTTPClient.h"

#include "MarletCore/BackendError.h"
#include "MarletHTTP/ResponseStatusInternal.h"

namespace marlet {
namespace {

constexpr const char* authorization = "Authorization";

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

std::optional<URL> HTTPClient::nextPage(const HTTPResponse& response, const std::string& path, const URLQuery& query,
                                        int64_t page) const {
    if (std::optional<URL> next = response.link("next")) {
        if (headers.contains(authorization) && !isSameOrigin(base, *next)) {
            throw BackendError::invalidResponse();
        }
        return next;
    }
    std::optional<std::string> header = response.header("x-pagination-total-pages");
    std::optional<int64_t> pages = header ? decimalInteger(*header) : std::nullopt;
    if (!pages || *pages < page) {
        return std::nullopt;
    }
    URLQuery pageQuery = query;
    pageQuery.push_back({"page", std::to_string(page)});
    return url(path, pageQuery);
}

}  // namespace marlet
