// The endpoint for agents: who may reach it, and who has been told of it.
#include <fmt/format.h>

#include <filesystem>

#include "MarletClient/Commands.h"
#include "MarletClient/Endpoint.h"
#include "MarletClient/Options.h"
#include "MarletMCP/MarletMCPServer.h"

namespace marlet {
namespace {

Endpoint keptEndpoint(const Engine& engine) {
    std::optional<Endpoint> endpoint = Endpoint::load(engine.folder());
    if (!endpoint) {
        throw CommandError("There is no endpoint for agents yet. Start marlet serve once to make it.");
    }
    return *endpoint;
}

JSONValue endpointJSON(const Endpoint& endpoint) {
    return JSONValue::object({{"endpoint", endpoint.url()}, {"token", endpoint.token}});
}

Async<CommandReply> show(Engine& engine, NoOptions) {
    co_return success(endpointJSON(keptEndpoint(engine)));
}

// Kept first: a daemon that ends in between starts again with the new one. Of two at a time the one that is kept last
// is also the last to become valid, since nothing is waited for in between.
Async<CommandReply> rotate(Engine& engine, NoOptions) {
    Endpoint endpoint = keptEndpoint(engine);
    endpoint.token = MarletMCPServer::generateToken();
    endpoint.save(engine.folder());
    if (engine.agents) {
        co_await engine.agents->setToken(endpoint.token);
    }
    CommandReply reply = success(endpointJSON(endpoint));
    reply.remark =
        "The old token is worth nothing any more. Register your agents again with marlet mcp register, or put the new "
        "token into their configuration.";
    co_return reply;
}

HelperRequest registrationRequest(const MCPRegisterOptions& options, const Endpoint& endpoint) {
    if (options.agent == AgentApp::copilot) {
        return HelperRequest{HelperRequest::RegisterCopilotMCP{endpoint.url(), endpoint.token}};
    }
    std::string folder = options.folder.value_or("");
    if (std::error_code error; !std::filesystem::is_directory(folder, error)) {
        throw CommandError(fmt::format("There is no folder {}. Name one that is there with --folder.", folder));
    }
    return HelperRequest{HelperRequest::RegisterMCP{{folder, endpoint.url(), endpoint.token, options.tools}}};
}

Async<CommandReply> registerAgent(Engine& engine, MCPRegisterOptions options) {
    HelperRequest request = registrationRequest(options, keptEndpoint(engine));
    Step step(engine.steps, fmt::format("Registering with {}", title(options.agent)));
    HelperReply done = co_await engine.helper().ask(std::move(request));
    if (!std::holds_alternative<HelperReply::Done>(done.value)) {
        throw CommandError(
            "The helper answered something else than it was asked. Look whether the agent knows Marlet.");
    }
    CommandReply reply = success(JSONValue::object({
        {"registered", true},
        {"agent", std::string(code(options.agent))},
        {"folder", options.folder},
    }));
    if (!engine.agents) {
        reply.remark = "Marlet isn't running: agents reach it while marlet serve does.";
    }
    co_return reply;
}

}  // namespace

CommandBody agentCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"mcp show", commandBody(show)},
        {"mcp rotate", commandBody(rotate)},
        {"mcp register", commandBody(registerAgent)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
