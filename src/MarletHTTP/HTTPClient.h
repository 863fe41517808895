#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/Clock.h"
#include "MarletBase/URL.h"
#include "MarletHTTP/ETagCache.h"
#include "MarletHTTP/HTTPResponse.h"
#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

struct URLQueryItem {
    std::string name;
    std::optional<std::string> value;

    bool operator==(const URLQueryItem&) const = default;
};
using URLQuery = std::vector<URLQueryItem>;

// How far a walk over the pages of a list goes, and who else looks at the answers.
template <class T>
struct PageWalk {
    size_t maxItems = std::numeric_limits<size_t>::max();
    std::function<bool(const T&)> goesOn;              // false ends the walk, and drops this element
    std::function<void(const HTTPResponse&)> inspect;  // sees every answer before it is decoded
};

// The way of a backend to its server: composes addresses, revalidates cached answers, turns statuses into errors.
//
// A plain value, safe to use from any task; copies share the cached answers. Keep it alive until its operations have
// ended. Every operation throws BackendError for what the server refuses, the transport's own error when no answer
// came, and DecodingError for a body that can't be read. Nothing is ever sent again by itself.
class HTTPClient {
public:
    HTTPClient(URL baseURL, HTTPHeaders headers, std::shared_ptr<HTTPTransport> transport,
               std::shared_ptr<Clock> clock);

    const URL& baseURL() const { return base; }

    // The path, relative to the base URL, with every reserved character of the query percent-encoded.
    // Throws BackendError::invalidURL.
    URL url(const std::string& path, const URLQuery& query = {}) const;

    // The core of all requests. `revalidating` matters to GET alone.
    Async<HTTPResponse> send(HTTPMethod method, URL url, std::optional<std::string> body, bool revalidating) const;

    template <class T>
    Async<T> get(std::string path, URLQuery query = {}) const;

    // The answer is always decoded: a caller that expects no body uses the other send.
    template <class T, class Body>
    Async<T> send(HTTPMethod method, std::string path, Body json) const;

    // All elements of the list, page by page. An error ends the walk, and what was read is lost.
    template <class T>
    Async<std::vector<T>> paginate(std::string path, URLQuery query = {}, PageWalk<T> walk = {}) const;

    // Posts to an absolute URL. Throws BackendError::rejected with the messages of an answer that names errors, and
    // invalidResponse for one without data. The variables are sent as they stand.
    template <class T>
    Async<T> graphQL(URL url, std::string query, boost::json::object variables) const;

private:
    URL base;
    HTTPHeaders headers;
    std::shared_ptr<HTTPTransport> transport;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<ETagCache> etags;
};

// Addresses of servers as users type them. `path` has no slash in front.
URL appendingAPIPath(const URL& url, std::string_view path);
URL appendingAPIv1(const URL& url);
URL removingAPIv1(const URL& url);

}  // namespace marlet
