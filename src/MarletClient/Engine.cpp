#include "MarletClient/Engine.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>

#include "MarletKit/BackendFactory.h"
#include "MarletKit/KeychainCredentialStore.h"
#include "MarletMCP/MarletTools.h"
#include "MarletStore/MarletSchema.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds pushPatience(5);

MarletServices::Parts openParts(Executor executor, const DataFolder& folder, std::shared_ptr<Clock> clock) {
    // Both are opened before anything else is made: a file that is refused shall leave nothing half started.
    ModelContainer container = MarletSchema::makeContainer(folder.path());
    ModelContainer localContainer = LocalTaskSchema::makeContainer(folder.path());
    return MarletServices::Parts{
        .executor = std::move(executor),
        .container = std::move(container),
        .localTasks = std::make_shared<LocalTaskDatabase>(std::move(localContainer)),
        .credentials = std::make_shared<KeychainCredentialStore>(keychainService, folder.tokenFile()),
        .clock = std::move(clock),
        .syncPolicy = {},
        .backendFactory = [](const Account& account, const std::string& token) { return makeBackend(account, token); },
    };
}

}  // namespace

Engine::Engine(Executor loop, const DataFolder& folder, std::shared_ptr<Clock> clock)
    : executor(loop),
      dataFolder(folder),
      parts(openParts(loop, folder, std::move(clock))),
      background(loop),
      watchers(loop),
      connection(loop, folder.helperSocket()),
      commandTurns(loop) {
    for (MCPTool& tool : marletTools(ToolContext{parts, background})) {
        tools.emplace(tool.name, std::move(tool.handler));
    }
}

Async<JSONValue> Engine::callTool(std::string name, JSONValue::Object arguments) {
    auto tool = tools.find(name);
    if (tool == tools.end()) {
        programmingError("A command uses a tool that isn't there.");
    }
    co_return co_await tool->second(std::move(arguments));
}

Async<void> Engine::sendChanges(MarletServices& services, UUID accountID,
                                std::shared_ptr<boost::asio::steady_timer> ended) {
    co_await services.sync().pushNow(accountID, services.clock().now());
    ended->expires_at(std::chrono::steady_clock::time_point::min());
}

Async<void> Engine::push(UUID accountID) {
    auto ended = std::make_shared<boost::asio::steady_timer>(executor, pushPatience);
    background.start(sendChanges(parts, accountID, ended));
    co_await ended->async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
}

Async<void> Engine::watch(BackgroundTasks& sending, std::shared_ptr<boost::asio::steady_timer> ended) {
    co_await sending.drain();
    ended->expires_at(std::chrono::steady_clock::time_point::min());
}

Async<void> Engine::settle() {
    auto ended = std::make_shared<boost::asio::steady_timer>(executor, pushPatience);
    watchers.start(watch(background, ended));
    co_await ended->async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
}

Async<void> Engine::drain() {
    co_await parts.sync().stop();
    co_await background.drain();
    co_await watchers.drain();
    co_await parts.sync().drain();
    co_await connection.drain();
}

}  // namespace marlet
