#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "MarletBase/Async.h"
#include "MarletMCP/HTTPMessages.h"
#include "MarletMCP/MCPServer.h"

namespace marlet {

// The Streamable HTTP transport of the protocol, reduced to request and response.
//
// Everything on this computer reaches the listener, also scripts in web pages: so a request must name a local host,
// come from a local origin if it names one, and show the token. A serial object; while a tool runs, other requests
// are handled.
class MCPHTTPEndpoint {
public:
    static constexpr std::string_view path = "/mcp";

    MCPHTTPEndpoint(Executor executor, MCPServer server, std::string token);
    MCPHTTPEndpoint(const MCPHTTPEndpoint&) = delete;
    MCPHTTPEndpoint& operator=(const MCPHTTPEndpoint&) = delete;

    // Throws nothing. The endpoint must outlive the call.
    Async<OutgoingResponse> handle(IncomingRequest request);

    // Requests that come from then on must show this one. One whose check is past is still answered.
    Async<void> setToken(std::string newToken);

    // Where requests are handled: a caller that is there already saves the way.
    Strand serialStrand() const { return strand; }

private:
    Async<void> replaceToken(std::string newToken);
    Async<OutgoingResponse> respond(IncomingRequest request);
    Async<OutgoingResponse> post(IncomingRequest request);
    std::optional<OutgoingResponse> refusal(const IncomingRequest& request) const;
    bool showsToken(const IncomingRequest& request) const;

    Strand strand;
    Executor serial;  // the same strand
    const MCPServer server;
    // On the strand:
    std::string token;
    std::set<std::string, std::less<>> sessions;
};

}  // namespace marlet
