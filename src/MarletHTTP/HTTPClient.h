#pragma once

#include <boost/json/object.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/Clock.h"
#include "MarletHTTP/ETagCache.h"
#include "MarletHTTP/GraphQL.h"
#include "MarletHTTP/HTTPResponse.h"
#include "MarletHTTP/HTTPTransport.h"
#include "MarletHTTP/ServerURL.h"

namespace marlet {

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
//
// The "Authorization" header goes to the origin of the base URL (scheme, host and port) and nowhere else. An absolute
// URL elsewhere is asked without it. A list whose next page lies elsewhere can't be read on as the same user, and what
// a stranger sees of it may be less: with such a header, that is a NetworkError of the kind redirect. So is a list that
// leads back to one of its pages, since what else it holds would be lost.
class HTTPClient {
public:
    HTTPClient(URL baseURL, HTTPHeaders headers, std::shared_ptr<HTTPTransport> transport,
               std::shared_ptr<Clock> clock);

    const URL& baseURL() const { return base; }

    // The path behind the base URL as appendingPath joins them, and the query as encodedQuery writes it. Throws
    // BackendError::invalidURL, also where the base names no server.
    URL url(const std::string& path, const URLQuery& query = {}) const;

    // The core of all requests. `revalidating` matters to GET alone.
    Async<HTTPResponse> send(HTTPMethod method, URL url, std::optional<std::string> body, bool revalidating) const;

    // One answer as it came, for its bytes or its headers.
    Async<HTTPResponse> get(std::string path, URLQuery query = {}) const;

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
    URLRequest request(HTTPMethod method, URL url, std::optional<std::string> body) const;
    // Where the list goes on behind the pages read so far, of which this is the last one's answer. Throws NetworkError
    // for a page that can't be the next one, see above.
    std::optional<URL> nextPage(const HTTPResponse& response, const std::string& path, const URLQuery& query,
                                const std::unordered_set<URL>& pagesRead) const;
    std::optional<URL> linkedPage(const HTTPResponse& response) const;

    URL base;
    HTTPHeaders headers;
    std::shared_ptr<HTTPTransport> transport;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<ETagCache> etags;
};

template <class T>
Async<T> HTTPClient::get(std::string path, URLQuery query) const {
    HTTPResponse response = co_await get(std::move(path), std::move(query));
    co_return response.decode<T>();
}

template <class T, class Body>
Async<T> HTTPClient::send(HTTPMethod method, std::string path, Body json) const {
    URL target = url(path);
    std::string body = JSONCoding::encode(json);
    HTTPResponse response = co_await send(method, std::move(target), std::move(body), true);
    co_return response.decode<T>();
}

template <class T>
Async<std::vector<T>> HTTPClient::paginate(std::string path, URLQuery query, PageWalk<T> walk) const {
    std::vector<T> items;
    std::unordered_set<URL> pagesRead;
    std::optional<URL> next = url(path, query);
    while (next && items.size() < walk.maxItems) {
        pagesRead.insert(*next);
        HTTPResponse response = co_await send(HTTPMethod::get, std::move(*next), std::nullopt, true);
        if (walk.inspect) {
            walk.inspect(response);
        }
        std::vector<T> elements = response.decode<std::vector<T>>();
        for (T& element : elements) {
            if (walk.goesOn && !walk.goesOn(element)) {
                co_return items;
            }
            items.push_back(std::move(element));
            if (items.size() == walk.maxItems) {
                co_return items;
            }
        }
        if (elements.empty()) {
            co_return items;
        }
        next = nextPage(response, path, query, pagesRead);
    }
    co_return items;
}

template <class T>
Async<T> HTTPClient::graphQL(URL url, std::string query, boost::json::object variables) const {
    std::string body = graphQLBody(query, std::move(variables));
    HTTPResponse response = co_await send(HTTPMethod::post, std::move(url), std::move(body), false);
    co_return response.decode<GraphQLAnswer<T>>().take();
}

}  // namespace marlet
