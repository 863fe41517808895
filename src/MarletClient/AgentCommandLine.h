#pragma once

#include "MarletClient/CommandMessage.h"

namespace CLI {
class App;
}

namespace marlet {

// The commands about the endpoint for agents.
void addAgentCommands(CLI::App& root, CommandRequest& request);

}  // namespace marlet
