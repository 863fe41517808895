#pragma once

#include <boost/json/value.hpp>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Date.h"
#include "TestSupport/FakeMessages.h"
#include "TestSupport/FakeRoutes.h"

namespace marlet {

struct FakeLogEntry {
    std::string request;  // "GET /repos/o/r/issues?state=all", below the API's root
    int status = 0;       // 0: the connection was cut
    size_t sent = 0;      // bytes of the request's body
    size_t answered = 0;  // bytes of the answer's body
    Date at;

    std::string line() const;  // "GET /repos/o/r/issues?state=all -> 304"
};

// Refusals for having asked too much: the next `count` requests get `status`.
struct FakeLimit {
    int count = 1;
    int status = 403;
    std::optional<double> resetsAfter = {};  // seconds, told as X-RateLimit-Reset with a remainder of 0
    std::optional<double> retryAfter = {};   // seconds, told as Retry-After
};

// How a list is cut into pages.
struct FakePaging {
    std::string sizeKey = "per_page";
    size_t initialSize = 30;
    size_t maximalSize = 100;
    bool linksPages = true;
    bool usesCursor = false;  // "next" carries a cursor, and there is no "last"
    bool tellsTotal = false;  // in a header of this name
    std::string totalName = "X-Total-Count";
    bool tellsPages = false;  // x-pagination-total-pages
    std::string linkSeparator = ", ";
    std::string linkURL = {};  // of the list, where links name it otherwise than the request did
};

// A service in memory that is strict about what it is asked: what the real one wouldn't take is refused and noted in
// `violations`. Deterministic: one request at a time, time from the function given. Safe from any thread.
//
// The kinds of service derive from it with their routes and state. A FakeTransport or a FakeServer carries requests.
class FakeService {
public:
    using TimeSource = std::function<Date()>;

    explicit FakeService(TimeSource now);
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;
    virtual ~FakeService();

    FakeAnswer handle(const FakeRequest& request);

    // Where the service's web pages are, without a slash at the end.
    void serveAt(std::string webRoot);
    std::string webRoot() const;

    // What the client did wrong. A test asserts that there is nothing.
    std::vector<std::string> violations() const;

    std::vector<FakeLogEntry> log() const;
    std::vector<std::string> lines() const;
    // The lines since the last time.
    std::vector<std::string> takeLines();
    // How many lines of the log begin so; "GET /repos/o/r/issues", or "" for all of them.
    size_t count(const std::string& beginning) const;
    std::string printedLog() const;
    void clearLog();

    // The next `times` requests whose line begins with `route` fail so; of several failures that fit, the first.
    // Negative: all of them, until `recover`.
    void fail(const std::string& route, FakeFailure failure, int times = 1);
    void limit(FakeLimit limit);
    void recover();

    // Off for a server that knows no entity tags.
    void setOffersETags(bool offered);

protected:
    // All below is called with the lock held, and what a derived class does for tests takes it, too.
    std::unique_lock<std::mutex> hold() const { return std::unique_lock<std::mutex>(lock); }
    Date now() const { return timeSource(); }
    const std::string& root() const { return web; }

    void add(FakeRoute route) { routes.add(std::move(route)); }

    // The path and query below the API's root; no value for an address elsewhere.
    virtual std::optional<std::string> target(const std::string& url) const = 0;
    // Whether the request may come in at all: its credentials and standing headers.
    virtual std::optional<FakeAnswer> refuse(const FakeRequest& request) = 0;
    // An error in the service's own form.
    virtual FakeAnswer refusal(int status, const std::string& message) const = 0;
    virtual void addStandingHeaders(FakeAnswer& answer);

    FakeAnswer violation(const std::string& what, int status = 422);
    static FakeAnswer json(const boost::json::value& value, int status = 200);
    FakeAnswer paged(const FakeCall& call, const FakePaging& paging, size_t total,
                     const std::function<boost::json::value(size_t index)>& element);

private:
    struct Failing {
        std::string route;
        FakeFailure failure;
        int times = 1;
    };

    FakeAnswer carryOut(const FakeRequest& request, const std::optional<std::string>& target);
    std::optional<FakeFailure> nextFailure(const std::string& line);
    std::optional<FakeAnswer> limited();
    void revalidate(const FakeRequest& request, FakeAnswer& answer) const;

    mutable std::mutex lock;
    TimeSource timeSource;
    std::string web = "https://service.example";
    FakeRoutes routes;
    std::vector<Failing> failing;
    FakeLimit limits{.count = 0};
    bool offersETags = true;
    std::vector<FakeLogEntry> entries;
    size_t taken = 0;
    std::vector<std::string> wrongs;
};

}  // namespace marlet
