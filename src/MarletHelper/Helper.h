// The helper: a background service on a Unix socket that runs git and the agents' programs for its clients.
//
//   MarletHelper [--socket PATH] [--until-input-ends]
#pragma once

#include <string>
#include <vector>

namespace marlet {

// Serves until it is told to end, by a signal or by the end of its input. The exit status: 0 when it ended so, 1 when
// it couldn't listen, 2 for wrong arguments. What goes wrong is told on standard error.
//
// It is the whole process's own: it changes the environment, the working folder and how signals are handled.
int runHelper(const std::vector<std::string>& arguments);

}  // namespace marlet
