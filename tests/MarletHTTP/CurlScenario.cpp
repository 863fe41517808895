#include "CurlScenario.h"

#include <condition_variable>
#include <cstdlib>
#include <stdexcept>

namespace marlet {
namespace {

// Whatever proxy the computer uses, it doesn't know the servers of the test.
CurlTransport::Options withoutProxy(CurlTransport::Options options) {
    ::setenv("no_proxy", "*", 1);
    return options;
}

}  // namespace

URLRequest request(HTTPMethod method, const std::string& url, HTTPHeaders headers, std::optional<std::string> body) {
    URLRequest result;
    result.method = method;
    result.url = URL::parse(url).value();
    result.headers = std::move(headers);
    result.body = std::move(body);
    return result;
}

URLRequest get(const std::string& url, HTTPHeaders headers) {
    return request(HTTPMethod::get, url, std::move(headers));
}

URLRequest post(const std::string& url, std::string body, HTTPHeaders headers) {
    return request(HTTPMethod::post, url, std::move(headers), std::move(body));
}

CurlScenario::CurlScenario(CurlTransport::Options options) : transport(clock, withoutProxy(std::move(options))) {}

TransportAnswer CurlScenario::send(URLRequest request) {
    return loop.runToEnd(transport.send(std::move(request)));
}

NetworkError CurlScenario::failure(URLRequest request) {
    std::shared_ptr<Outcome> outcome = start(std::move(request));
    finish(outcome);
    return failureOf(*outcome);
}

NetworkError CurlScenario::failureOf(const Outcome& outcome) {
    if (!outcome.error) {
        throw std::logic_error("An answer came where the test expects a failure.");
    }
    try {
        std::rethrow_exception(outcome.error);
    } catch (const NetworkError& error) {
        return error;
    }
}

std::shared_ptr<CurlScenario::Outcome> CurlScenario::start(URLRequest request) {
    std::shared_ptr<Outcome> outcome = loop.start(transport.send(std::move(request)));
    loop.runReady();
    return outcome;
}

void CurlScenario::finish(const std::shared_ptr<Outcome>& outcome) {
    loop.runUntil([&] { return outcome->isFinished; });
}

int CurlScenario::passTime(int seconds, const std::shared_ptr<Outcome>& outcome) {
    int passed = 0;
    while (passed < seconds && !outcome->isFinished) {
        clock->advance(1);
        ++passed;
        loop.runReady();
        if (clock->sleeperCount() == 0) {
            finish(outcome);  // nobody watches it any more: it is being given up
        }
    }
    return passed;
}

void Moment::come() {
    {
        std::scoped_lock guard(lock);
        hasCome = true;
    }
    change.notify_all();
}

void Moment::wait() {
    std::unique_lock guard(lock);
    if (!change.wait_for(guard, std::chrono::seconds(30), [this] { return hasCome; })) {
        throw std::runtime_error("What the test waits for hasn't happened.");
    }
}

}  // namespace marlet
