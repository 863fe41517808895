#pragma once

#include <functional>
#include <memory>
#include <string>

#include "MarletCore/TaskBackend.h"

namespace marlet {

// Makes the backend of an account that isn't local. Called from any thread, one call at a time per account.
using BackendFactory = std::function<std::shared_ptr<TaskBackend>(const Account& account, const std::string& token)>;

}  // namespace marlet
