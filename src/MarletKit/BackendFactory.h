#pragma once

#include <functional>
#include <memory>
#include <string>

#include "MarletCore/CredentialStore.h"
#include "MarletCore/TaskBackend.h"

namespace marlet {

// Makes the backend of an account that isn't local. Called from any thread, one call at a time per account.
using BackendFactory = std::function<std::shared_ptr<TaskBackend>(const Account& account, const std::string& token)>;

// The real backends, over the one network transport of the process. A local account is a programming error.
std::shared_ptr<TaskBackend> makeBackend(const Account& account, const std::string& token);

// With the account's own token; the credential store may block. Throws BackendError::unauthorized if there is none.
std::shared_ptr<TaskBackend> makeBackend(const Account& account, CredentialStore& credentials);

}  // namespace marlet
