// The agents that tasks are handed to.
#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/URL.h"
#include "MarletCore/BackendKind.h"
#include "MarletWorkspace/RepositoryCoordinates.h"

namespace marlet {

enum class AgentApp { claude, copilot };
BOOST_DESCRIBE_ENUM(AgentApp, claude, copilot)

std::string title(AgentApp app);
// Opens with the app, if it is installed.
URL probeURL(AgentApp app);

enum class AgentDestination { code, cowork, copilot };
BOOST_DESCRIBE_ENUM(AgentDestination, code, cowork, copilot)

std::string title(AgentDestination destination);
AgentApp app(AgentDestination destination);

// Whether it can take the tasks of a repository, or of none.
bool supports(AgentDestination destination, const std::optional<RepositoryCoordinates>& repository);
// Whether it can take any task of such an account.
bool supports(AgentDestination destination, BackendKind kind, const URL& baseURL);

AgentDestination automaticDestination(const std::optional<RepositoryCoordinates>& repository);
// The first of the stored choices that is known and fits, or else the automatic one.
AgentDestination resolveDestination(const std::vector<std::optional<std::string>>& codes,
                                    const std::optional<RepositoryCoordinates>& repository);

enum class CopilotMode { interactive, plan, autopilot };
BOOST_DESCRIBE_ENUM(CopilotMode, interactive, plan, autopilot)

std::string title(CopilotMode mode);

inline constexpr const char* copilotBundleIdentifier = "com.github.githubapp";

}  // namespace marlet
