#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

// A server played by the test, without a network. Answers are kept by route, such as
// "GET https://api.github.com/user/repos?per_page=100": the full request as `log` notes it, or without its query, or
// the path alone behind the method ("GET /user/repos"); the longest that fits wins. Several answers of one route are
// given in turn, the last one from then on. A request without an answer fails the test with its route.
class ScriptedTransport final : public HTTPTransport {
public:
    struct Answer {
        int status = 200;
        std::vector<std::pair<std::string, std::string>> headers;
        std::string body;
    };

    void answer(const std::string& route, std::string body);
    void answer(const std::string& route, Answer answer);
    void fail(const std::string& route, std::exception_ptr error);

    // Asked before any answer; no value leaves the request to the routes.
    std::function<std::optional<Answer>(const URLRequest& request)> onRequest;

    // In the order of sending.
    const std::vector<URLRequest>& requests() const { return sent; }
    const URLRequest& lastRequest() const { return sent.at(sent.size() - 1); }
    // "PATCH https://…" of every request.
    std::vector<std::string> log() const;
    // The log since the last time.
    std::vector<std::string> takeLog();

    Async<TransportAnswer> send(URLRequest request) override;

private:
    struct Outcome {
        Answer answer;
        std::exception_ptr error;
    };

    const Outcome& outcome(const URLRequest& request);

    std::map<std::string, std::deque<Outcome>> outcomes;
    std::vector<URLRequest> sent;
    size_t taken = 0;
    Outcome dynamic;
};

}  // namespace marlet
