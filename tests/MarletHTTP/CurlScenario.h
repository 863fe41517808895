#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "MarletHTTP/CurlTransport.h"
#include "MarletHTTP/NetworkError.h"
#include "TestSupport/SocketServer.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

URLRequest request(HTTPMethod method, const std::string& url, HTTPHeaders headers = {},
                   std::optional<std::string> body = std::nullopt);
URLRequest get(const std::string& url, HTTPHeaders headers = {});
URLRequest post(const std::string& url, std::string body, HTTPHeaders headers = {});

// A transport on a clock moved by hand, for requests to servers of the test's own.
class CurlScenario {
public:
    using Outcome = TestLoop::Outcome<TransportAnswer>;

    explicit CurlScenario(CurlTransport::Options options = {});

    Async<TransportAnswer> sending(URLRequest request) { return transport.send(std::move(request)); }
    // Waits for the answer.
    TransportAnswer send(URLRequest request);
    // Waits for the failure.
    NetworkError failure(URLRequest request);
    static NetworkError failureOf(const Outcome& outcome);

    std::shared_ptr<Outcome> start(URLRequest request);
    void finish(const std::shared_ptr<Outcome>& outcome);
    // Lets time pass second by second, as long as the request is under way; gives how many seconds that took.
    int passTime(int seconds, const std::shared_ptr<Outcome>& outcome);

    TestLoop loop;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();

private:
    CurlTransport transport;
};

// A moment that a server's script tells the test, or the test a script. It comes once.
class Moment {
public:
    void come();
    // Fails the test when it doesn't come within half a minute.
    void wait();

private:
    std::mutex lock;
    std::condition_variable change;
    bool hasCome = false;
};

}  // namespace marlet
