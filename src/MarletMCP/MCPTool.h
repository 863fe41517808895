#pragma once

#include <functional>
#include <string>

#include "MarletBase/Async.h"
#include "MarletBase/LocalizedError.h"
#include "MarletMCP/JSONValue.h"

namespace marlet {

// What went wrong with a call, told so that the agent can do better: "Use list_tasks to find it."
class MCPToolError final : public LocalizedError {
public:
    explicit MCPToolError(std::string message) : LocalizedError(std::move(message)) {}

    const std::string& message() const { return errorDescription(); }
};

// One operation that an agent can call.
struct MCPTool {
    // Called on any executor, for several calls at once. Whatever it throws reaches the agent as text.
    using Handler = std::function<Async<JSONValue>(JSONValue::Object arguments)>;

    std::string name;
    std::string title;
    std::string description;
    JSONValue inputSchema;
    JSONValue::Object annotations;
    Handler handler;
};

}  // namespace marlet
