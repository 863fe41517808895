#pragma once

#include <memory>

#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

// Jira Cloud answers a dead token like a stranger's request: with 200 and lists that are empty. Only a header tells.
// Carries requests on, and throws BackendError::unauthorized for an answer with that header, whatever its status: taken
// at its word, it would delete every task.
class JiraLoginCheck final : public HTTPTransport {
public:
    explicit JiraLoginCheck(std::shared_ptr<HTTPTransport> transport) : carrier(std::move(transport)) {}

    Async<TransportAnswer> send(URLRequest request) override;

private:
    std::shared_ptr<HTTPTransport> carrier;
};

}  // namespace marlet
