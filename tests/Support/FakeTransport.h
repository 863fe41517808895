#pragma once

#include "MarletHTTP/HTTPTransport.h"
#include "TestSupport/FakeService.h"

namespace marlet {

// Carries requests to a fake service in the same process, without a network. What the real transport adds to a request
// is added here. The service outlives it.
class FakeTransport final : public HTTPTransport {
public:
    explicit FakeTransport(FakeService& reached) : service(reached) {}

    // Throws NetworkError when the service cuts the connection.
    Async<TransportAnswer> send(URLRequest request) override;

private:
    FakeService& service;
};

}  // namespace marlet
