// The endpoint for agents: who may reach it, and who has been told of it.
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

}  // namespace

CommandBody agentCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"mcp show", commandBody(show)},
        {"mcp rotate", commandBody(rotate)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
