// Deep links that open a new session of an agent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "MarletBase/URL.h"
#include "MarletWorkspace/AgentDestination.h"

namespace marlet {

struct ClaudeLink {
    static constexpr size_t promptLimit = 12000;  // characters; a longer prompt is cut

    // `folder` is a plain path. Copilot as the destination is a programming error.
    static URL newSession(AgentDestination destination, const std::string& folder, const std::string& prompt);
};

struct CopilotLink {
    static constexpr size_t promptLimit = 12000;

    static URL newSession(const RepositoryCoordinates& repository, const std::string& prompt, CopilotMode mode,
                          std::optional<int64_t> pullRequest);
};

}  // namespace marlet
