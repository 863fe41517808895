#include "TestSupport/FakeService.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <cmath>

namespace marlet {
namespace {

// Changes whenever the body, the way to the next page or the number of pages does. FNV-1a, so that it is the same on
// every machine.
std::string entityTag(const FakeAnswer& answer) {
    uint64_t hash = 14695981039346656037U;
    for (const std::string& text : {answer.body, answer.header("Link"), answer.header("x-pagination-total-pages")}) {
        for (char character : text) {
            hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211U;
        }
    }
    return fmt::format("W/\"{:016x}\"", hash);
}

size_t numberOr(const std::optional<std::string>& text, size_t otherwise) {
    size_t value = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc()) {
        return otherwise;
    }
    return value;
}

std::string linkTo(const FakeCall& call, const FakePaging& paging, const FakeQuery& position) {
    std::string url = paging.linkURL.empty() ? call.url.substr(0, call.url.find('?')) : paging.linkURL;
    char separator = '?';
    auto append = [&](const std::string& name, const std::string& value) {
        url += separator + percentEncoded(name) + "=" + percentEncoded(value);
        separator = '&';
    };
    for (const auto& [name, value] : call.query) {
        if (name != "page" && name != "after") {
            append(name, value);
        }
    }
    for (const auto& [name, value] : position) {
        append(name, value);
    }
    return url;
}

}  // namespace

std::string FakeLogEntry::line() const {
    return request + " -> " + (status == 0 ? "cut" : std::to_string(status));
}

FakeService::FakeService(TimeSource now) : timeSource(std::move(now)) {}

FakeService::~FakeService() = default;

FakeAnswer FakeService::handle(const FakeRequest& request) {
    std::unique_lock<std::mutex> guard = hold();
    std::optional<std::string> below = target(request.url);
    std::string line = request.method + " " + (below ? "/" + *below : request.url);
    std::optional<FakeFailure> failure = nextFailure(line);
    FakeAnswer answer;
    if (failure && !failure->isCarriedOut) {
        answer = failure->answer;
    } else {
        answer = carryOut(request, below);
        revalidate(request, answer);
        addStandingHeaders(answer);
    }
    if (failure) {
        answer.delivery = failure->delivery;
        answer.gate = failure->gate;
    }
    bool isCut = answer.delivery == FakeAnswer::Delivery::cut;
    entries.push_back(
        {std::move(line), isCut ? 0 : answer.status, request.body.size(), isCut ? 0 : answer.body.size(), now()});
    return answer;
}

FakeAnswer FakeService::carryOut(const FakeRequest& request, const std::optional<std::string>& target) {
    if (!target) {
        return violation("no address of this service: " + request.url, 404);
    }
    if (std::optional<FakeAnswer> refused = refuse(request)) {
        return *refused;
    }
    if (std::optional<FakeAnswer> refused = limited()) {
        return *refused;
    }
    std::optional<FakeRoutes::Match> match = routes.match(request, *target);
    if (!match) {
        return violation("unknown route " + request.method + " /" + *target, 404);
    }
    if (std::optional<std::string> problem = FakeRoutes::check(request, *target, *match)) {
        return violation(*problem + ": " + request.method + " /" + *target);
    }
    return match->route->answer(match->call);
}

std::optional<FakeFailure> FakeService::nextFailure(const std::string& line) {
    auto found = std::find_if(failing.begin(), failing.end(),
                              [&](const Failing& candidate) { return line.starts_with(candidate.route); });
    if (found == failing.end()) {
        return std::nullopt;
    }
    FakeFailure failure = found->failure;
    if (found->times > 0 && --found->times == 0) {
        failing.erase(found);
    }
    return failure;
}

std::optional<FakeAnswer> FakeService::limited() {
    if (limits.count <= 0) {
        return std::nullopt;
    }
    --limits.count;
    FakeAnswer answer = refusal(limits.status, "API rate limit exceeded.");
    if (limits.resetsAfter) {
        double reset = std::ceil(secondsSince1970(now() + *limits.resetsAfter));
        answer.headers.emplace_back("X-RateLimit-Remaining", "0");
        answer.headers.emplace_back("X-RateLimit-Reset", fmt::format("{:.0f}", reset));
    }
    if (limits.retryAfter) {
        answer.headers.emplace_back("Retry-After", fmt::format("{:.0f}", *limits.retryAfter));
    }
    return answer;
}

void FakeService::revalidate(const FakeRequest& request, FakeAnswer& answer) const {
    if (!offersETags || request.method != "GET" || answer.status != 200) {
        return;
    }
    std::string tag = entityTag(answer);
    if (request.header("if-none-match") == tag) {
        answer = FakeAnswer{.status = 304};
    }
    answer.headers.emplace_back("ETag", tag);
}

void FakeService::addStandingHeaders(FakeAnswer&) {}

FakeAnswer FakeService::violation(const std::string& what, int status) {
    wrongs.push_back(what);
    return refusal(status, what);
}

FakeAnswer FakeService::json(const boost::json::value& value, int status) {
    return {.status = status,
            .headers = {{"Content-Type", "application/json; charset=utf-8"}},
            .body = boost::json::serialize(value)};
}

FakeAnswer FakeService::paged(const FakeCall& call, const FakePaging& paging, size_t total,
                              const std::function<boost::json::value(size_t index)>& element) {
    size_t size = std::clamp<size_t>(numberOr(call.item(paging.sizeKey), paging.initialSize), 1, paging.maximalSize);
    size_t page = std::max<size_t>(numberOr(call.item("page"), 1), 1);
    size_t start = paging.usesCursor ? numberOr(call.item("after"), (page - 1) * size) : (page - 1) * size;
    size_t end = std::min(start + size, total);
    boost::json::array elements;
    for (size_t index = start; index < end; ++index) {
        elements.push_back(element(index));
    }
    FakeAnswer answer = json(elements);
    if (paging.tellsTotal) {
        answer.headers.emplace_back(paging.totalName, std::to_string(total));
    }
    if (paging.tellsPages) {
        answer.headers.emplace_back("x-pagination-total-pages", std::to_string((total + size - 1) / size));
        answer.headers.emplace_back("x-pagination-result-count", std::to_string(elements.size()));
    }
    if (paging.linksPages && end < total) {
        std::string next = std::to_string(page + 1);
        std::string last = std::to_string((total + size - 1) / size);
        std::string links;
        if (paging.usesCursor) {
            FakeQuery position{{"after", std::to_string(end)}, {"page", next}};
            links = "<" + linkTo(call, paging, position) + ">; rel=\"next\"";
        } else {
            links = "<" + linkTo(call, paging, {{"page", next}}) + ">; rel=\"next\"" + paging.linkSeparator + "<" +
                    linkTo(call, paging, {{"page", last}}) + ">; rel=\"last\"";
        }
        answer.headers.emplace_back("Link", links);
    }
    return answer;
}

void FakeService::serveAt(std::string webRoot) {
    std::unique_lock<std::mutex> guard = hold();
    web = std::move(webRoot);
}

std::string FakeService::webRoot() const {
    std::unique_lock<std::mutex> guard = hold();
    return web;
}

std::vector<std::string> FakeService::violations() const {
    std::unique_lock<std::mutex> guard = hold();
    return wrongs;
}

std::vector<FakeLogEntry> FakeService::log() const {
    std::unique_lock<std::mutex> guard = hold();
    return entries;
}

std::vector<std::string> FakeService::lines() const {
    std::vector<std::string> result;
    for (const FakeLogEntry& entry : log()) {
        result.push_back(entry.line());
    }
    return result;
}

std::vector<std::string> FakeService::takeLines() {
    std::unique_lock<std::mutex> guard = hold();
    std::vector<std::string> result;
    for (; taken < entries.size(); ++taken) {
        result.push_back(entries[taken].line());
    }
    return result;
}

size_t FakeService::count(const std::string& beginning) const {
    std::unique_lock<std::mutex> guard = hold();
    return static_cast<size_t>(std::count_if(entries.begin(), entries.end(), [&](const FakeLogEntry& entry) {
        return entry.request.starts_with(beginning);
    }));
}

std::string FakeService::printedLog() const {
    std::string result;
    for (const std::string& line : lines()) {
        result += line + "\n";
    }
    return result;
}

void FakeService::clearLog() {
    std::unique_lock<std::mutex> guard = hold();
    entries.clear();
    taken = 0;
}

void FakeService::fail(const std::string& route, FakeFailure failure, int times) {
    std::unique_lock<std::mutex> guard = hold();
    failing.push_back({route, std::move(failure), times});
}

void FakeService::limit(FakeLimit limit) {
    std::unique_lock<std::mutex> guard = hold();
    limits = limit;
}

void FakeService::recover() {
    std::unique_lock<std::mutex> guard = hold();
    failing.clear();
    limits.count = 0;
}

void FakeService::setOffersETags(bool offered) {
    std::unique_lock<std::mutex> guard = hold();
    offersETags = offered;
}

}  // namespace marlet
