#include "MarletMCP/MarletMCPServer.h"

#include "MarletMCP/BearerToken.h"
#include "MarletMCP/MCPHTTPEndpoint.h"
#include "MarletMCP/MarletTools.h"

namespace marlet {

// What a request needs to be answered. A request that is being handled keeps it alive.
class MarletMCPServer::Core {
public:
    Core(Executor executor, MarletServices& services, std::string token, std::string version)
        : background(executor),
          endpoint(executor,
                   MCPServer("marlet", std::move(version), marletInstructions,
                             marletTools(ToolContext{services, background})),
                   std::move(token)) {}

    static Async<OutgoingResponse> handle(std::shared_ptr<Core> core, IncomingRequest request) {
        co_return co_await core->endpoint.handle(std::move(request));
    }

    static LocalHTTPServer::Handler handler(std::weak_ptr<Core> owner) {
        return [owner = std::move(owner)](IncomingRequest request) {
            std::shared_ptr<Core> alive = owner.lock();
            return alive ? handle(std::move(alive), std::move(request)) : refuse();
        };
    }

    BackgroundTasks background;
    MCPHTTPEndpoint endpoint;

private:
    static Async<OutgoingResponse> refuse() { co_return OutgoingResponse::text("The server has ended", 503); }
};

MarletMCPServer::MarletMCPServer(Executor executor, MarletServices& services, std::string token, std::string version)
    : core(std::make_shared<Core>(executor, services, std::move(token), std::move(version))),
      http(core->endpoint.serialStrand(), Core::handler(core)) {}

MarletMCPServer::~MarletMCPServer() = default;

Async<uint16_t> MarletMCPServer::start(uint16_t port) {
    return http.start(port);
}

Async<void> MarletMCPServer::setToken(std::string token) {
    co_await core->endpoint.setToken(std::move(token));
}

void MarletMCPServer::stop() {
    http.stop();
}

Async<void> MarletMCPServer::drain() {
    co_await http.drain();
    co_await core->background.drain();
}

std::string MarletMCPServer::generateToken() {
    return marlet::generateToken();
}

}  // namespace marlet
