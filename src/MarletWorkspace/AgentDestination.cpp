#include "MarletWorkspace/AgentDestination.h"

#include "MarletBase/Description.h"
#include "MarletBase/LocalizedError.h"
#include "MarletCore/GitHubURL.h"

namespace marlet {
namespace {

constexpr std::string_view publicGitHost = "github.com";
constexpr std::string_view publicAPIHost = "api.github.com";

bool isPublicGitHub(const RepositoryCoordinates& repository) {
    return repository.host == publicGitHost;
}

}  // namespace

std::string title(AgentApp app) {
    return app == AgentApp::claude ? "Claude" : "GitHub Copilot";
}

URL probeURL(AgentApp app) {
    return URL::parse(app == AgentApp::claude ? "claude://" : "ghapp://").value();
}

std::string title(AgentDestination destination) {
    switch (destination) {
        case AgentDestination::code:
            return "Claude Code";
        case AgentDestination::cowork:
            return "Claude Cowork";
        case AgentDestination::copilot:
            return "GitHub Copilot";
    }
    programmingError("An agent without a title.");
}

AgentApp app(AgentDestination destination) {
    return destination == AgentDestination::copilot ? AgentApp::copilot : AgentApp::claude;
}

bool supports(AgentDestination destination, const std::optional<RepositoryCoordinates>& repository) {
    switch (destination) {
        case AgentDestination::code:
            return repository.has_value();
        case AgentDestination::cowork:
            return true;
        case AgentDestination::copilot:
            return repository && isPublicGitHub(*repository);
    }
    return false;
}

bool supports(AgentDestination destination, BackendKind kind, const URL& baseURL) {
    switch (destination) {
        case AgentDestination::code:
            return kind == BackendKind::github || kind == BackendKind::gitlab || kind == BackendKind::forgejo;
        case AgentDestination::cowork:
            return true;
        case AgentDestination::copilot:
            return kind == BackendKind::github && gitHubAPIRoot(baseURL).components().host == publicAPIHost;
    }
    return false;
}

AgentDestination automaticDestination(const std::optional<RepositoryCoordinates>& repository) {
    return repository ? AgentDestination::code : AgentDestination::cowork;
}

AgentDestination resolveDestination(const std::vector<std::optional<std::string>>& codes,
                                    const std::optional<RepositoryCoordinates>& repository) {
    for (const std::optional<std::string>& code : codes) {
        std::optional<AgentDestination> destination = fromCode<AgentDestination>(code.value_or(""));
        if (destination && supports(*destination, repository)) {
            return *destination;
        }
    }
    return automaticDestination(repository);
}

std::string title(CopilotMode mode) {
    switch (mode) {
        case CopilotMode::interactive:
            return "Interactive";
        case CopilotMode::plan:
            return "Plan";
        case CopilotMode::autopilot:
            return "Autopilot";
    }
    programmingError("A mode without a title.");
}

}  // namespace marlet
