#pragma once

#include <exception>
#include <string>

#include "MarletCore/Account.h"

namespace marlet {

// What is tried out with a request, and is therefore the first to be doubted.
enum class ConnectionTrial {
    address,  // and the token
    token,
    nothing,  // both have worked before
};

// Why the account's server couldn't be asked for its projects: the engine's own text, then what to do about it.
std::string connectionFailure(const std::exception_ptr& error, const Account& account, ConnectionTrial trial);

// What to do about it; empty where there is nothing to say but the text.
std::string connectionAdvice(const std::exception_ptr& error, const Account& account, ConnectionTrial trial);

// What to do about a token that is refused though it worked before.
extern const char* const newTokenAdvice;

// What a token of this service must be allowed to do.
std::string neededPermissions(BackendKind kind);

}  // namespace marlet
