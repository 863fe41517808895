#pragma once

#include "MarletKit/MarletServices.h"
#include "MarletMCP/BackgroundTasks.h"

namespace marlet {

// What every tool works with. Both outlive the tools.
struct ToolContext {
    MarletServices& services;
    BackgroundTasks& background;

    // Sends the account's changes behind the answer.
    void pushInBackground(UUID accountID) const {
        background.start(services.sync().pushNow(accountID, services.clock().now()));
    }
};

}  // namespace marlet
