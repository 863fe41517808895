#pragma once

#include <string>
#include <string_view>

#include "MarletBase/LocalizedError.h"

namespace marlet {

class CopilotConfigError final : public LocalizedError {
public:
    static CopilotConfigError unreadable();

private:
    using LocalizedError::LocalizedError;
};

// Copilot's file of MCP servers.
struct CopilotMCPConfig {
    static constexpr const char* serverName = "marlet";

    // The file's new bytes, with one entry for the local endpoint and all else as it was.
    // Throws CopilotConfigError for a file that can't be understood: the user's, so it stays as it is.
    static std::string updated(std::string_view data, const std::string& endpoint, const std::string& token);
};

}  // namespace marlet
