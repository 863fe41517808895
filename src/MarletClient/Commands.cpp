#include "MarletClient/Commands.h"

#include <array>
#include <utility>

#include "MarletClient/ConnectionAdvice.h"
#include "MarletCore/BackendError.h"
#include "MarletIPC/LineProtocol.h"
#include "MarletMCP/MCPTool.h"

namespace marlet {
namespace {

// A tool's words for an agent, and what they are called here.
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> toolWords{{
    {"update_task with completed: true", "marlet task done"},
    {"list_tasks (epics_only: true)", "marlet task list --epics"},
    {"list_tasks", "marlet task list"},
    {"list_projects", "marlet project list"},
    {"list_accounts", "marlet account list"},
    {"set_project_subscription", "marlet project subscribe"},
}};

std::string inCommandLineWords(std::string text) {
    for (const auto& [tool, command] : toolWords) {
        for (size_t place = text.find(tool); place != std::string::npos; place = text.find(tool, place)) {
            text.replace(place, tool.size(), command);
            place += command.size();
        }
    }
    return text;
}

CommandBody commandNamed(std::string_view name) {
    for (auto* group : {accountCommand, projectCommand, taskReadCommand, taskWriteCommand, timerCommand, syncCommand,
                        agentCommand, doctorCommand, workCommand, statusCommand}) {
        if (CommandBody body = group(name)) {
            return body;
        }
    }
    throw CommandError("The running Marlet doesn't know this command. Restart it, so that both are of one version.");
}

}  // namespace

Async<CommandReply> runCommand(Engine& engine, CommandRequest request) {
    CommandReply reply;
    try {
        CommandBody body = commandNamed(request.command);
        reply = co_await body(engine, std::move(request.options));
        if (reply.line().size() > maximumLineLength) {
            throw CommandError("The answer is too long. Ask for less with --limit.");
        }
    } catch (const MCPToolError& error) {
        reply = CommandReply::failure(inCommandLineWords(error.message()));
    } catch (const BackendError& error) {
        bool needsToken = error == BackendError::unauthorized();
        reply = CommandReply::failure(error.errorDescription() + (needsToken ? std::string(" ") + newTokenAdvice : ""));
    } catch (...) {
        reply = CommandReply::failure(localizedDescription(std::current_exception()));
    }
    co_return reply;
}

}  // namespace marlet
