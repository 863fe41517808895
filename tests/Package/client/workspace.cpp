// A client of the installed helper, which listens at the path that is the first argument: asks it for the tools.
#include <iostream>

#include "MarletIPC/LineClient.h"
#include "MarletWorkspace/HelperMessages.h"

int main(int, char** arguments) {
    std::optional<marlet::LineClient> helper = marlet::LineClient::connect(arguments[1]);
    marlet::ToolSettings settings{marlet::GitChoice::custom, "/nowhere/git", "/nowhere/claude"};
    marlet::HelperRequest request{marlet::HelperRequest::LocateTools{settings}};
    std::optional<std::string> line = helper ? helper->ask(request.line()) : std::nullopt;
    if (!line) {
        std::cerr << "The helper doesn't answer.\n";
        return 1;
    }
    marlet::HelperReply reply = marlet::HelperReply::parse(*line);
    const auto* tools = std::get_if<marlet::HelperReply::Tools>(&reply.value);
    return tools && tools->report.gitError == "/nowhere/git isn't an executable file." ? 0 : 1;
}
