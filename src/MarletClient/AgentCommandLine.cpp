#include "MarletClient/AgentCommandLine.h"

#include <fmt/format.h>

#include <filesystem>

#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/CommandTree.h"
#include "MarletClient/Tools.h"

namespace marlet {
namespace {

// Whoever carries the command out may have another current folder.
std::string folderValue(const std::string& given) {
    std::string text = unguarded(given);
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(text, error);
    if (text.empty() || error || !isValidUTF8(path.string())) {
        throw UsageError(fmt::format("--folder \"{}\" can't be used: give the folder's full path.", text));
    }
    std::filesystem::path plain = std::filesystem::canonical(path, error);
    return error ? path.string() : plain.string();
}

void fillIn(MCPRegisterOptions& options) {
    if (options.agent == AgentApp::claude) {
        options.folder = options.folder.value_or(folderValue("."));
        options.tools = toolsOnPath();
    } else if (options.folder) {
        throw UsageError(
            fmt::format("There is no use here for --folder: the configuration of {} is one for all folders.",
                        title(options.agent)));
    }
}

}  // namespace

void addAgentCommands(CLI::App& root, CommandRequest& request) {
    CLI::App& mcp = group(root, "mcp", "The endpoint for agents");
    addPlainCommand(mcp, "show", "Show the endpoint and its token", request);
    addPlainCommand(mcp, "rotate", "Make a new token, so that the old one is worth nothing any more", request);
    Command<MCPRegisterOptions> registering(mcp, "register", "Tell an agent of the endpoint and its token", request);
    registering.choice("AGENT", registering.options->agent, "The agent", "agent")->required();
    registering.value("--folder", registering.options->folder, folderValue,
                      "claude: the folder in which it may reach the endpoint (the current one)", "DIR");
    registering.completedBy(fillIn);
}

}  // namespace marlet
