// What each command does, apart from how it was asked for and how its answer is shown.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "MarletBase/Async.h"
#include "MarletBase/Coding.h"
#include "MarletClient/CommandMessage.h"
#include "MarletClient/Engine.h"

namespace marlet {

struct AccountAddOptions;

// A command that can't be carried out as it was asked for.
class CommandError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// Carries the command out. Throws nothing: what went wrong is in the reply, in the engine's own words.
Async<CommandReply> runCommand(Engine& engine, CommandRequest request);

using CommandBody = std::function<Async<CommandReply>(Engine& engine, boost::json::value options)>;

// The body that decodes the command's options first.
template <class Options>
CommandBody commandBody(Async<CommandReply> (*body)(Engine& engine, Options options)) {
    return [body](Engine& engine, boost::json::value options) { return body(engine, decoded<Options>(options)); };
}

// The command's body by its name, such as "task add"; empty for a name that the group doesn't know.
CommandBody accountCommand(std::string_view name);
CommandBody projectCommand(std::string_view name);
CommandBody taskReadCommand(std::string_view name);
CommandBody taskWriteCommand(std::string_view name);
CommandBody timerCommand(std::string_view name);
CommandBody syncCommand(std::string_view name);
CommandBody agentCommand(std::string_view name);
CommandBody workCommand(std::string_view name);
CommandBody doctorCommand(std::string_view name);
CommandBody statusCommand(std::string_view name);

// Throws CommandError or UsageError for an account that can't be added as it is asked for, whatever its token.
void checkAccount(const AccountAddOptions& options);

// A reply with nothing but the result.
inline CommandReply success(JSONValue result) {
    CommandReply reply;
    reply.result = std::move(result);
    return reply;
}

}  // namespace marlet
