#pragma once

#include "MarletBase/Coding.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/HTTPClient.h"
#include "TestSupport/ScriptedTransport.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// One client with a token, and the server it talks to.
struct HTTPScenario {
    using Answer = ScriptedTransport::Answer;

    std::shared_ptr<ScriptedTransport> server = std::make_shared<ScriptedTransport>();
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    HTTPClient client = anotherClient();

    HTTPClient anotherClient(const std::string& base = "https://api.example.com") const {
        HTTPHeaders headers{{"Authorization", "Bearer t"}, {"Accept", "application/json"}};
        return {url(base), headers, server, clock};
    }

    static URL url(const std::string& text) { return URL::parse(text).value(); }

    HTTPResponse get(const std::string& path, bool revalidating = true) const {
        return runToEnd(client.send(HTTPMethod::get, client.url(path), std::nullopt, revalidating));
    }
};

// The error that `operation` ends in. Fails the test if there is none, or one of another type.
template <class Error, class Operation>
std::optional<Error> errorOf(Operation operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "No error was thrown.";
    return std::nullopt;
}

}  // namespace marlet
