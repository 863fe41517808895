#include "MarletClient/Daemon.h"

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>

#include "MarletClient/Commands.h"
#include "MarletClient/Dispatch.h"
#include "MarletClient/Endpoint.h"
#include "MarletClient/Engine.h"
#include "MarletClient/Version.h"
#include "MarletIPC/LineServer.h"
#include "MarletMCP/MarletMCPServer.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds sessionPatience(10);

using Ready = std::function<void(JSONValue)>;

std::string stoppingLine() {
    CommandReply reply;
    reply.isStopping = true;
    return reply.line();
}

Async<LineReply> answerLine(Engine& engine, std::string line) {
    CommandReply reply;
    try {
        CommandRequest request = CommandRequest::parse(line);
        reply = co_await runCommand(engine, std::move(request));
    } catch (...) {
        reply = CommandReply::failure(localizedDescription(std::current_exception()));
    }
    co_return LineReply{reply.line()};
}

// The endpoint of the last run, or a new one, with the port that the user asks for.
Endpoint wantedEndpoint(const std::optional<Endpoint>& kept, const ServeOptions& options) {
    Endpoint endpoint = kept.value_or(Endpoint{0, MarletMCPServer::generateToken()});
    endpoint.port = options.port.value_or(endpoint.port);
    return endpoint;
}

class Daemon {
public:
    Daemon(boost::asio::io_context& loop, const DataFolder& dataFolder, ServeOptions serveOptions)
        : folder(dataFolder),
          options(serveOptions),
          signals(loop, SIGINT, SIGTERM, SIGHUP),
          kept(Endpoint::load(dataFolder)),
          endpoint(wantedEndpoint(kept, serveOptions)),
          engine(loop.get_executor(), dataFolder, std::make_shared<SystemClock>()),
          agents(loop.get_executor(), engine.services(), endpoint.token, versionText),
          control(loop.get_executor(), {[this](std::string line) { return answerLine(engine, std::move(line)); },
                                        CommandReply::failure("The command is too long.").line(), stoppingLine()}) {}

    Async<void> run(Ready ready);

private:
    Async<void> start();
    Async<void> makeFirstAccount();
    Async<void> startAgents();
    Async<void> stop();

    DataFolder folder;
    ServeOptions options;
    boost::asio::signal_set signals;
    std::optional<Endpoint> kept;
    Endpoint endpoint;
    Engine engine;
    MarletMCPServer agents;
    LineServer control;
};

Async<void> Daemon::run(Ready ready) {
    std::exception_ptr failure;
    try {
        co_await start();
        ready(JSONValue::object({{"endpoint", endpoint.url()}, {"token", endpoint.token}, {"pid", ::getpid()}}));
        co_await engine.services().sync().start();
        co_await signals.async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
    } catch (...) {
        failure = std::current_exception();
    }
    // Who is asked a second time ends at once.
    signals.clear();
    co_await stop();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

Async<void> Daemon::start() {
    if (!kept) {
        co_await makeFirstAccount();
    }
    if (options.relaxed) {
        co_await engine.services().sync().setRelaxed(true);
    }
    co_await startAgents();
    engine.servedEndpoint = endpoint.url();
    engine.agents = &agents;
    co_await control.listen(folder.controlSocket());
}

Async<void> Daemon::makeFirstAccount() {
    std::vector<AccountSyncState> accounts = co_await engine.store().accounts();
    if (accounts.empty()) {
        co_await engine.services().addLocalAccount("On This Mac", "Tasks");
    }
}

Async<void> Daemon::startAgents() {
    int64_t wanted = endpoint.port;
    try {
        endpoint.port = co_await agents.start(static_cast<uint16_t>(wanted));
    } catch (const LocalizedError& error) {
        bool isKept = kept && kept->port == wanted;
        throw DaemonError(fmt::format("{} {}", error.errorDescription(),
                                      isKept ? "Agents are registered with this port: end what uses it, or pick a new "
                                               "port with --port 0 and register them again."
                                             : "Choose another one with --port, or any free one with --port 0."));
    }
    if (!kept || kept->port != endpoint.port) {
        endpoint.save(folder);
    }
}

// New work is turned away first; then what is under way ends, the outermost first.
Async<void> Daemon::stop() {
    co_await control.stop();
    agents.stop();
    co_await engine.services().sync().stop();
    // A clone may go on for long; it is begun again by whoever wants it.
    engine.helper().stop();
    co_await control.drain(sessionPatience);
    co_await agents.drain();
    co_await engine.drain();
}

}  // namespace

void serve(const DataFolder& folder, ServeOptions options, const Ready& ready) {
    DataFolderLock lock = lockForDaemon(folder);
    boost::asio::io_context loop(1);
    Daemon daemon(loop, folder, options);
    std::exception_ptr failure;
    boost::asio::co_spawn(loop, daemon.run(ready), [&](std::exception_ptr error) {
        failure = error;
        loop.stop();
    });
    loop.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace marlet
