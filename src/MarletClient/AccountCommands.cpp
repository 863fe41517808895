#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "MarletClient/AccountAddress.h"
#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/ConnectionAdvice.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"
#include "MarletClient/ProjectSelection.h"
#include "MarletClient/TokenInput.h"
#include "MarletWorkspace/AgentDestination.h"

namespace marlet {
namespace {

const char* const firstProjectName = "Tasks";

std::string checkedName(const AccountAddOptions& options) {
    std::string name = trimmed(options.name);
    if (name.empty()) {
        throw CommandError("The account's name must not be empty.");
    }
    return name;
}

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

// The account, its projects as the store now has them, and what people should know besides.
Async<CommandReply> addedReply(Engine& engine, UUID accountID, std::string remark) {
    AccountSyncState state = co_await accountNamed(engine.store(), accountID.text());
    std::vector<ProjectSnapshot> projects = co_await engine.store().projectSnapshots(accountID, false);
    JSONValue result = projectsJSON(projects);
    (*result.objectValue())["account"] = accountJSON(state);
    CommandReply reply = success(std::move(result));
    if (!remark.empty()) {
        reply.remark = std::move(remark);
    }
    co_return reply;
}

Async<CommandReply> addLocal(Engine& engine, AccountAddOptions options) {
    checkLocalAccount(options);
    Account account = co_await engine.services().addLocalAccount(checkedName(options), firstProjectName);
    co_return co_await addedReply(engine, account.id, {});
}

bool isSameServer(const Account& left, const Account& right) {
    return left.kind == right.kind && left.baseURL == right.baseURL;
}

// Two people may share a computer, or one may have two users on a server; one account added twice is a mistake.
Async<std::string> remarkOnOthers(TaskStore& store, Account account) {
    std::vector<AccountSyncState> others = co_await store.accounts();
    std::string remark;
    for (const AccountSyncState& other : others) {
        if (!isSameServer(other.account, account)) {
            continue;
        }
        if (equalIgnoringCase(other.account.displayName, account.displayName)) {
            throw CommandError(
                fmt::format("There is already an account \"{}\" on {}. Give it a new token with marlet account token, "
                            "or choose another --name for a second user of that server.",
                            other.account.displayName, hostAndPort(account.baseURL)));
        }
        remark = fmt::format(
            "The account \"{}\" uses the same server: projects that you subscribe to in both are "
            "listed twice.",
            other.account.displayName);
    }
    co_return remark;
}

// What the user should know of a new account, a sentence a line.
std::string remarkOnAdded(const Account& account, const std::vector<Project>& projects, size_t subscribed) {
    std::string remark;
    if (projects.empty()) {
        remark += fmt::format("The server lists no projects for this token. {}\n", neededPermissions(account.kind));
    } else if (subscribed == 0) {
        remark += fmt::format(
            "None of its {} projects is synced yet. Choose with marlet project list --all and marlet "
            "project subscribe.\n",
            projects.size());
    }
    if (sendsTokenInTheClear(account)) {
        remark += fmt::format("The token travels to {} unencrypted. Use https:// if the server has it.\n",
                              hostAndPort(account.baseURL));
    }
    return remark;
}

Async<std::vector<Project>> verify(Engine& engine, Account account, std::string token) {
    std::exception_ptr failure;
    try {
        std::vector<Project> projects = co_await engine.services().verify(account, std::move(token));
        co_return projects;
    } catch (...) {
        failure = std::current_exception();
    }
    throw CommandError(connectionFailure(failure, account, ConnectionTrial::address));
}

// Without a token nothing is done but to tell what stands in the way of it.
Async<CommandReply> addRemote(Engine& engine, AccountAddOptions options) {
    checkAccount(options);
    Account account{UUID::random(), options.kind, checkedName(options), accountAddress(options.kind, options.url)};
    std::string remark = co_await remarkOnOthers(engine.store(), account);
    if (!options.token) {
        co_return CommandReply{};
    }
    std::vector<Project> projects = co_await verify(engine, account, *options.token);
    std::set<std::string> subscribed = selectedProjectIDs(projects, options.subscribe);
    remark = remarkOnAdded(account, projects, subscribed.size()) + remark;
    co_await engine.services().addAccount(account, *options.token, std::move(projects), std::move(subscribed));
    co_return co_await addedReply(engine, account.id, trimmed(remark));
}

Async<CommandReply> add(Engine& engine, AccountAddOptions options) {
    return isLocal(options.kind) ? addLocal(engine, std::move(options)) : addRemote(engine, std::move(options));
}

Async<CommandReply> list(Engine& engine, NoOptions) {
    JSONValue accounts = co_await engine.callTool("list_accounts", {});
    co_return success(std::move(accounts));
}

// The account goes before its token does.
Async<void> refuseRemoval(TaskStore& store, Account account, std::exception_ptr failure) {
    std::vector<AccountSyncState> left = co_await store.accounts();
    bool isThere = std::any_of(left.begin(), left.end(),
                               [&](const AccountSyncState& state) { return state.account.id == account.id; });
    if (isThere || isLocal(account.kind)) {
        std::rethrow_exception(failure);
    }
    throw CommandError(fmt::format(
        "The account {} is removed, but its token may still be on this computer: revoke it on the server. {}",
        account.displayName, localizedDescription(failure)));
}

Async<CommandReply> remove(Engine& engine, AccountOptions options) {
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    std::exception_ptr failure;
    try {
        co_await engine.services().removeAccount(state.account.id);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        co_await refuseRemoval(engine.store(), state.account, failure);
    }
    co_return success(JSONValue::object({
        {"removed", true},
        {"account_id", state.account.id.text()},
        {"name", state.account.displayName},
    }));
}

Async<CommandReply> accountReply(Engine& engine, UUID accountID, std::optional<std::string> remark) {
    AccountSyncState state = co_await accountNamed(engine.store(), accountID.text());
    CommandReply reply = success(JSONValue::object({{"account", accountJSON(state)}}));
    reply.remark = std::move(remark);
    co_return reply;
}

// Without a token nothing is done but to tell what stands in the way of it.
Async<CommandReply> setToken(Engine& engine, AccountTokenOptions options) {
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    Account account = state.account;
    if (isLocal(account.kind)) {
        throw CommandError("An \"On This Mac\" account has no token.");
    }
    if (!options.token) {
        co_return CommandReply{};
    }
    std::string token = checkedCredential(account.kind, "", *options.token);
    std::exception_ptr failure;
    try {
        co_await engine.services().updateToken(std::move(token), account);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        throw CommandError(fmt::format("{} The account keeps the token it had.",
                                       connectionFailure(failure, account, ConnectionTrial::token)));
    }
    co_return co_await accountReply(engine, account.id, "The new token works and is kept.");
}

void refuseUnfit(AgentDestination destination, const Account& account) {
    if (!supports(destination, account.kind, account.baseURL)) {
        throw CommandError(fmt::format("{} can't take tasks of this account. {}", title(destination),
                                       destination == AgentDestination::copilot
                                           ? "It takes those of public GitHub alone."
                                           : "It takes those of repositories alone."));
    }
}

Async<CommandReply> setAgent(Engine& engine, AccountAgentOptions options) {
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    auto destination = fromCode<AgentDestination>(code(options.agent));
    std::optional<std::string> raw;
    if (destination) {
        refuseUnfit(*destination, state.account);
        raw = code(*destination);
    }
    co_await engine.store().setAgentDestination(raw, state.account.id);
    std::string remark = destination ? fmt::format("Its tasks go to {}.", title(*destination))
                                     : std::string("Each of its tasks goes to the agent that suits it.");
    co_return co_await accountReply(engine, state.account.id, std::move(remark));
}

Async<CommandReply> setType(Engine& engine, AccountTypeOptions options) {
    if (options.type.has_value() == options.isDefault) {
        throw CommandError("Give either a type or --default.");
    }
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    co_await engine.store().setDefaultTaskType(options.type, state.account.id);
    co_return co_await accountReply(engine, state.account.id, std::nullopt);
}

}  // namespace

void checkAccount(const AccountAddOptions& options) {
    checkedName(options);
    if (isLocal(options.kind)) {
        checkLocalAccount(options);
        return;
    }
    accountAddress(options.kind, options.url);
}

CommandBody accountCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"account add", commandBody(add)},        {"account list", commandBody(list)},
        {"account remove", commandBody(remove)},  {"account token", commandBody(setToken)},
        {"account agent", commandBody(setAgent)}, {"account type", commandBody(setType)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
