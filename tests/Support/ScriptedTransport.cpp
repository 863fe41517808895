#include "TestSupport/ScriptedTransport.h"

#include <stdexcept>

namespace marlet {
namespace {

std::string route(HTTPMethod method, const std::string& target) {
    return std::string(requestName(method)) + " " + target;
}

// From the full request to the mere path.
std::vector<std::string> routes(const URLRequest& request) {
    URLComponents parts = request.url.components();
    std::string full = request.url.text();
    std::string pathAndQuery = parts.path + (parts.query ? "?" + *parts.query : "");
    return {route(request.method, full), route(request.method, full.substr(0, full.find('?'))),
            route(request.method, pathAndQuery), route(request.method, parts.path)};
}

}  // namespace

void ScriptedTransport::answer(const std::string& route, std::string body) {
    answer(route, Answer{.body = std::move(body)});
}

void ScriptedTransport::answer(const std::string& route, Answer answer) {
    outcomes[route].push_back(Outcome{std::move(answer), nullptr});
}

void ScriptedTransport::fail(const std::string& route, std::exception_ptr error) {
    outcomes[route].push_back(Outcome{{}, std::move(error)});
}

std::vector<std::string> ScriptedTransport::log() const {
    std::vector<std::string> lines;
    for (const URLRequest& request : sent) {
        lines.push_back(route(request.method, request.url.text()));
    }
    return lines;
}

std::vector<std::string> ScriptedTransport::takeLog() {
    std::vector<std::string> lines = log();
    lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(taken));
    taken = sent.size();
    return lines;
}

const ScriptedTransport::Outcome& ScriptedTransport::outcome(const URLRequest& request) {
    if (onRequest) {
        if (std::optional<Answer> answer = onRequest(request)) {
            dynamic = Outcome{std::move(*answer), nullptr};
            return dynamic;
        }
    }
    for (const std::string& candidate : routes(request)) {
        auto found = outcomes.find(candidate);
        if (found != outcomes.end()) {
            if (found->second.size() > 1) {
                dynamic = std::move(found->second.front());
                found->second.pop_front();
                return dynamic;
            }
            return found->second.front();
        }
    }
    throw std::logic_error("The test has no answer for " + routes(request).front());
}

Async<TransportAnswer> ScriptedTransport::send(URLRequest request) {
    sent.push_back(request);
    const Outcome& result = outcome(sent.back());
    if (result.error) {
        std::rethrow_exception(result.error);
    }
    co_return TransportAnswer{result.answer.status, result.answer.headers, result.answer.body};
}

}  // namespace marlet
