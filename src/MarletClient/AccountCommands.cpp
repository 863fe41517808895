#include <fmt/format.h>

#include "MarletBase/Text.h"
#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

const char* const firstProjectName = "Tasks";

void checkLocalAccount(const AccountAddOptions& options) {
    if (options.url || options.username || options.token) {
        throw CommandError("An \"On This Mac\" account has no server, user or token. Leave them out.");
    }
    for (const std::string& project : options.subscribe) {
        if (project != "all" && project != firstProjectName) {
            throw CommandError(fmt::format("No project \"{}\": a new \"On This Mac\" account has one, \"{}\".", project,
                                           firstProjectName));
        }
    }
}

Async<CommandReply> add(Engine& engine, AccountAddOptions options) {
    std::string name = trimmed(options.name);
    if (name.empty()) {
        throw CommandError("The account's name must not be empty.");
    }
    if (!isLocal(options.kind)) {
        throw CommandError(
            fmt::format("{} accounts aren't built into this version of Marlet yet.", displayName(options.kind)));
    }
    checkLocalAccount(options);
    Account account = co_await engine.services().addLocalAccount(name, firstProjectName);
    AccountSyncState state = co_await accountNamed(engine.store(), account.id.text());
    std::vector<ProjectSnapshot> projects = co_await engine.store().projectSnapshots(account.id, false);
    JSONValue result = projectsJSON(projects);
    (*result.objectValue())["account"] = accountJSON(state);
    co_return success(std::move(result));
}

Async<CommandReply> list(Engine& engine, NoOptions) {
    JSONValue accounts = co_await engine.callTool("list_accounts", {});
    co_return success(std::move(accounts));
}

Async<CommandReply> remove(Engine& engine, AccountOptions options) {
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    co_await engine.services().removeAccount(state.account.id);
    co_return success(JSONValue::object({
        {"removed", true},
        {"account_id", state.account.id.text()},
        {"name", state.account.displayName},
    }));
}

}  // namespace

CommandBody accountCommand(std::string_view name) {
    if (name == "account add") {
        return commandBody(add);
    }
    if (name == "account list") {
        return commandBody(list);
    }
    return name == "account remove" ? commandBody(remove) : CommandBody();
}

}  // namespace marlet
