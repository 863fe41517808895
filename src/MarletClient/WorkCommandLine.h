#pragma once

#include "MarletClient/CommandMessage.h"

namespace CLI {
class App;
}

namespace marlet {

void addWorkCommands(CLI::App& root, CommandRequest& request);

}  // namespace marlet
