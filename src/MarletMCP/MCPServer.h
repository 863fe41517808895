#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletMCP/MCPTool.h"

namespace marlet {

// The JSON-RPC side of the Model Context Protocol for one fixed set of tools. Knows nothing of HTTP.
//
// Never changes after construction; handles any number of messages at once, on any executor.
class MCPServer {
public:
    // Newest first; the first is offered to a client that asks for one that isn't here.
    static constexpr std::array<std::string_view, 3> supportedProtocolVersions = {"2025-11-25", "2025-06-18",
                                                                                  "2025-03-26"};

    MCPServer(std::string name, std::string version, std::string instructions, std::vector<MCPTool> tools);

    // The response to one message; no value if nothing is to be sent. Throws nothing: what a tool throws becomes a
    // result that tells the agent. The server must outlive the call.
    Async<std::optional<JSONValue>> handle(JSONValue message) const;

    // The shape of a response that says why a message wasn't handled.
    static JSONValue failure(JSONValue id, int code, std::string message);

private:
    JSONValue initializeResult(const JSONValue::Object& params) const;
    JSONValue listResult() const;
    Async<JSONValue> callResponse(JSONValue id, JSONValue::Object params) const;

    std::string name;
    std::string version;
    std::string instructions;
    std::vector<MCPTool> tools;
};

}  // namespace marlet
