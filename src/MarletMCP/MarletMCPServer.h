#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "MarletBase/Async.h"
#include "MarletKit/MarletServices.h"
#include "MarletMCP/LocalHTTPServer.h"

namespace marlet {

// The local server through which coding agents reach the user's tasks: all tools, behind the endpoint "/mcp".
//
// Safe to call from any thread. The services and the executor outlive it and whatever it still runs: await drain()
// after stop() before they go.
class MarletMCPServer {
public:
    // Agents show `token` with every request; `version` is told to them. Nothing starts here.
    MarletMCPServer(Executor executor, MarletServices& services, std::string token, std::string version);
    MarletMCPServer(const MarletMCPServer&) = delete;
    MarletMCPServer& operator=(const MarletMCPServer&) = delete;
    // Stops.
    ~MarletMCPServer();

    // Listens on the port, or on any free one for 0, and gives the port. To be called once.
    // Throws LocalHTTPServerError.
    Async<uint16_t> start(uint16_t port);

    // Agents must show this one from then on, over connections that are open as well.
    Async<void> setToken(std::string token);

    // Ends the listener and all connections. A tool that runs ends at its own pace; its answer goes nowhere.
    void stop();

    // Waits until no tool and no push that a tool began is under way any more.
    Async<void> drain();

    // A new secret for agents: 43 characters that need no escaping in a URL or a header.
    static std::string generateToken();

private:
    class Core;
    std::shared_ptr<Core> core;
    LocalHTTPServer http;
};

}  // namespace marlet
