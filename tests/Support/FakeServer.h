#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "TestSupport/FakeService.h"

namespace marlet {

// Puts a fake service on a free port of the loopback address, over HTTP/1.1, for programs that a test runs. It has a
// thread of its own, and the service is told its address. The service outlives it.
class FakeServer {
public:
    explicit FakeServer(FakeService& service);
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;
    // Cuts every connection.
    ~FakeServer();

    uint16_t port() const;
    // "http://127.0.0.1:1234"
    std::string url() const;

private:
    class State;
    std::unique_ptr<State> state;
};

}  // namespace marlet
