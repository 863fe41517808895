#include "MarletClient/Tools.h"

#include <cstdlib>

#include "MarletBase/Text.h"
#include "MarletClient/Commands.h"
#include "MarletWorkspace/ToolLocator.h"

namespace marlet {

std::optional<std::string> programIn(std::string_view folders, const std::string& name) {
    while (!folders.empty()) {
        std::string_view folder = folders.substr(0, folders.find(':'));
        folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
        while (folder.size() > 1 && folder.ends_with('/')) {
            folder.remove_suffix(1);
        }
        // A path that isn't text couldn't be told to the helper.
        if (!folder.starts_with('/') || !isValidUTF8(folder)) {
            continue;
        }
        std::string path = std::string(folder == "/" ? "" : folder) + "/" + name;
        if (isExecutableFile(path)) {
            return path;
        }
    }
    return std::nullopt;
}

std::optional<std::string> programOnPath(const std::string& name) {
    const char* folders = std::getenv("PATH");
    return programIn(folders ? folders : "", name);
}

ToolSettings toolsOnPath() {
    ToolSettings tools;
    if (std::optional<std::string> git = programOnPath("git")) {
        tools.git = GitChoice::custom;
        tools.gitPath = std::move(*git);
    }
    tools.claudePath = programOnPath("claude").value_or("");
    return tools;
}

void requireGit(const ToolSettings& tools) {
    if (tools.git != GitChoice::custom) {
        throw CommandError("git wasn't found on the PATH. Install it, then try again.");
    }
}

}  // namespace marlet
