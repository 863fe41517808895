#include "MarletClient/AgentCommandLine.h"

#include <fmt/format.h>

#include <filesystem>

#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/CommandTree.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Tools.h"
#include "MarletWorkspace/ResolvedPath.h"

namespace marlet {
namespace {

// Links are followed, so that the folder is the one that the agent will see.
std::string agentFolderValue(const std::string& given) {
    std::string text = unguarded(given);
    std::string folder = folderValue("--folder", text);
    std::error_code error;
    std::filesystem::path plain = std::filesystem::canonical(expandingTilde(text, homeFolder().string()), error);
    return error || !isValidUTF8(plain.string()) ? folder : plain.string();
}

void fillIn(MCPRegisterOptions& options) {
    if (options.agent == AgentApp::claude) {
        options.folder = options.folder.value_or(agentFolderValue("."));
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
    registering.value("--folder", registering.options->folder, agentFolderValue,
                      "claude: the folder in which it may reach the endpoint (the current one)", "DIR");
    registering.completedBy(fillIn);
}

}  // namespace marlet
