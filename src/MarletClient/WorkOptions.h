// What the commands that hand tasks to agents are asked. See Options.h.
#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>

#include "MarletWorkspace/AgentDestination.h"
#include "MarletWorkspace/ToolSettings.h"

namespace marlet {

struct WorkOptions {
    std::string task;
    std::optional<std::string> project;
    std::optional<AgentDestination> to;
    std::optional<std::string> root;  // absolute
    std::string usualRoot;            // where the caller's work lives unless `root` says otherwise
    bool ssh = false;
    bool noOpen = false;
    ToolSettings tools;  // as the caller's PATH has them
};
BOOST_DESCRIBE_STRUCT(WorkOptions, (), (task, project, to, root, usualRoot, ssh, noOpen, tools))

struct WorkRemoveOptions {
    std::string task;
    std::optional<std::string> project;
    ToolSettings tools;
};
BOOST_DESCRIBE_STRUCT(WorkRemoveOptions, (), (task, project, tools))

}  // namespace marlet
