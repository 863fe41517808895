// What the helper finds where it is started.
#pragma once

#include <string>

#include "MarletWorkspace/CheckoutService.h"

namespace marlet {

// Removes the variables that tie git to one repository: a helper that is started from a hook would take that repository
// for every other. The user's configuration in the environment (GIT_CONFIG_…) stays.
void dropRepositoryVariables();

// $HOME, or else what the system knows of the user.
std::string userHomeDirectory();

// The service over this machine's programs, with the user's own tools behind the inherited PATH.
CheckoutService liveCheckoutService();

}  // namespace marlet
