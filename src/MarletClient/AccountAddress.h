// Where an account's server is: what users type, and the one form in which it is kept.
#pragma once

#include <optional>
#include <string>

#include "MarletBase/URL.h"
#include "MarletCore/Account.h"

namespace marlet {

// The address that was typed, or the service's own without one: with "https://" before a bare host, without a slash at
// its end, an API's path or a scheme's usual port. A scheme that was typed stays, http:// too.
// Throws UsageError, whose text doesn't repeat the address: it may hold a secret.
URL accountAddress(BackendKind kind, const std::optional<std::string>& typed);

// The host, with the port where it isn't the usual one; for texts.
std::string hostAndPort(const URL& address);

bool isLoopback(const URL& address);

// A token would travel to another computer as it is.
bool sendsTokenInTheClear(const Account& account);

}  // namespace marlet
