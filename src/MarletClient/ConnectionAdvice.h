#pragma once

#include <exception>
#include <string>

#include "MarletCore/Account.h"

namespace marlet {

// Why the account's server couldn't be asked for its projects: the engine's own text, then what to do about it.
std::string connectionFailure(const std::exception_ptr& error, const Account& account);

// What a token of this service must be allowed to do.
std::string neededPermissions(BackendKind kind);

}  // namespace marlet
