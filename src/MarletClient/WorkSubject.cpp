#include "MarletClient/WorkSubject.h"

#include <fmt/format.h>

#include "MarletBase/Text.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Naming.h"
#include "MarletCore/GitHubURL.h"

namespace marlet {
namespace {

const char* reasonAgainst(AgentDestination destination, bool hasRepository) {
    if (destination == AgentDestination::copilot) {
        return hasRepository ? "It takes those of repositories on public GitHub alone. Use --to code."
                             : "It takes those of repositories on public GitHub alone. Use --to cowork.";
    }
    return "It works in a repository, and this task has none. Use --to cowork.";
}

// Where people see what the account's server holds, and git clones it from.
URL webRoot(const Account& account) {
    return account.kind == BackendKind::github ? gitHubWebRoot(account.baseURL) : account.baseURL;
}

// The port under which it is reached safely.
std::string safePort(const URLComponents& address) {
    return address.port.empty() ? "443" : address.port;
}

}  // namespace

Async<WorkSubject> workSubject(TaskStore& store, std::string name, std::optional<std::string> projectName) {
    WorkSubject subject;
    subject.task = co_await taskNamed(store, std::move(name), std::move(projectName));
    AccountSyncState state = co_await accountNamed(store, subject.task.accountID.text());
    subject.account = std::move(state.account);
    std::optional<ProjectSnapshot> project = co_await store.projectSnapshot(subject.task.projectKey());
    if (project) {
        subject.project = std::move(project->project);
        subject.repository = repositoryCoordinates(*subject.project);
    }
    subject.handoff = co_await store.handoff(subject.task.localID);
    co_return subject;
}

bool isUnsent(const TaskSnapshot& task) {
    return task.item.id.starts_with("local-");
}

AgentDestination destinationFor(const WorkSubject& subject, std::optional<AgentDestination> wanted) {
    if (!wanted) {
        return resolveDestination({subject.handoff.claudeDestinationRaw, subject.handoff.agentDestinationRaw},
                                  subject.repository);
    }
    if (!supports(*wanted, subject.repository)) {
        throw CommandError(fmt::format("{} can't take this task. {}", title(*wanted),
                                       reasonAgainst(*wanted, subject.repository.has_value())));
    }
    return *wanted;
}

bool mayShowToken(const std::string& remote, const Account& account) {
    std::optional<URL> address = URL::parse(remote);
    if (!address || isLocal(account.kind)) {
        return false;
    }
    URLComponents wanted = address->components();
    URLComponents own = webRoot(account).components();
    return lowercasedASCII(wanted.scheme) == "https" && wanted.host && own.host && !wanted.host->empty() &&
           lowercasedASCII(*wanted.host) == lowercasedASCII(*own.host) && safePort(wanted) == safePort(own);
}

}  // namespace marlet
