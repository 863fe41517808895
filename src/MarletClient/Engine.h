#pragma once

#include <map>
#include <memory>
#include <string>

#include "MarletBase/Async.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/HelperConnection.h"
#include "MarletClient/Steps.h"
#include "MarletClient/Turns.h"
#include "MarletKit/MarletServices.h"
#include "MarletMCP/BackgroundTasks.h"
#include "MarletMCP/MCPTool.h"

namespace marlet {

class MarletMCPServer;

// The name under which the accounts' tokens are kept.
inline constexpr const char* keychainService = "io.tolvane.Marlet";

// The engine over one data folder, as the commands use it: in the daemon, or for one command in its own process.
//
// To be used on the executor it was given, a loop of one thread. Before it goes: await drain().
class Engine {
public:
    // Opens the stores, or makes new ones. Throws DatabaseError; a file that is refused stays as it is.
    Engine(Executor executor, const DataFolder& folder, std::shared_ptr<Clock> clock);
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    MarletServices& services() { return parts; }
    TaskStore& store() { return parts.store(); }
    const DataFolder& folder() const { return dataFolder; }
    HelperConnection& helper() { return connection; }
    // For commands that must not meet half way.
    Turns& turns() { return commandTurns; }
    Date now() { return parts.clock().now(); }

    // Where agents reach this engine; null while it serves none.
    JSONValue servedEndpoint;
    // What serves them, as long as it does.
    MarletMCPServer* agents = nullptr;

    Steps steps;

    // Carries out one of the agents' tools, with its checks and its words.
    Async<JSONValue> callTool(std::string name, JSONValue::Object arguments);

    // Waits until the changes that tools have begun to send are sent, but not for long either.
    Async<void> settle();

    // Sends the account's changes, and waits for that, but not for long: a server that doesn't answer holds up nobody.
    Async<void> push(UUID accountID);

    // Ends the sync loop and the helper, and waits until nothing is under way any more.
    Async<void> drain();

private:
    static Async<void> sendChanges(MarletServices& services, UUID accountID,
                                   std::shared_ptr<boost::asio::steady_timer> ended);
    static Async<void> watch(BackgroundTasks& sending, std::shared_ptr<boost::asio::steady_timer> ended);

    Executor executor;
    DataFolder dataFolder;
    MarletServices parts;
    BackgroundTasks background;
    BackgroundTasks watchers;  // of the background
    HelperConnection connection;
    Turns commandTurns;
    std::map<std::string, MCPTool::Handler> tools;
};

}  // namespace marlet
