// What checkouts and worktrees share of running git.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"

namespace marlet {

// What git gets besides its parent's environment: it asks nobody, and shows `token` to the https host of `remote`
// alone. The token is in no argument, address or file.
std::map<std::string, std::string> gitEnvironment(const std::string& remote, const std::optional<std::string>& token);

// Throws CheckoutError::commandFailed unless the command ended well in time.
void check(const CommandResult& result, const std::string& command);

}  // namespace marlet
