#pragma once

#include <memory>
#include <string>

#include "TestSupport/ScriptedTransport.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// Passes requests on to a scripted server, but holds those to paths that end in `suffix` until they are released.
class HeldTransport final : public HTTPTransport {
public:
    HeldTransport(std::shared_ptr<HTTPTransport> server, std::string suffix)
        : server(std::move(server)), suffix(std::move(suffix)) {}

    size_t heldCount() const { return time->sleeperCount(); }
    // Lets everything go on that is held now.
    void release() { time->advance(1); }

    Async<TransportAnswer> send(URLRequest request) override {
        if (request.url.components().path.ends_with(suffix)) {
            co_await time->sleep(std::chrono::seconds(1));
        }
        TransportAnswer answer = co_await server->send(std::move(request));
        co_return answer;
    }

private:
    std::shared_ptr<HTTPTransport> server;
    std::string suffix;
    std::shared_ptr<VirtualClock> time = std::make_shared<VirtualClock>();
};

}  // namespace marlet
