#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>

#include "MarletClient/AccountAddress.h"
#include "MarletClient/Commands.h"
#include "MarletClient/ConnectionAdvice.h"
#include "MarletClient/Doctor.h"
#include "MarletMCP/BackgroundTasks.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds serverPatience(10);
// The tools are run meanwhile, and some begin slowly.
constexpr std::chrono::seconds helperPatience(15);

struct Examination {
    std::vector<Finding> tools;
    std::vector<Finding> computer;
    std::vector<Finding> troubles;  // with the store
    std::vector<Finding> accounts;
};

// What is told of a store that opens but can't be read.
Finding storeTrouble() {
    return {"store", Standing::attention, localizedDescription(std::current_exception())};
}

// Limits how long one operation may take.
class Deadline {
public:
    Deadline(const Executor& executor, std::chrono::seconds patience)
        : state(std::make_shared<State>()), timer(executor, patience) {
        timer.async_wait([state = state](boost::system::error_code error) {
            if (!error) {
                state->hasPassed = true;
                state->signal.emit(boost::asio::cancellation_type::terminal);
            }
        });
    }

    bool hasPassed() const { return state->hasPassed; }

    // Throws once the time has passed.
    template <class Result>
    Async<Result> limit(Async<Result> operation) {
        Executor executor = co_await boost::asio::this_coro::executor;
        Result result = co_await boost::asio::co_spawn(
            executor, std::move(operation),
            boost::asio::bind_cancellation_slot(state->signal.slot(), boost::asio::use_awaitable));
        co_return result;
    }

private:
    struct State {
        bool hasPassed = false;
        boost::asio::cancellation_signal signal;
    };
    std::shared_ptr<State> state;
    boost::asio::steady_timer timer;
};

Finding daemonFinding(bool isServed) {
    Finding finding{"daemon", Standing::ok, "Marlet is running."};
    finding.facts["running"] = isServed;
    if (!isServed) {
        finding.standing = Standing::note;
        finding.message =
            "Marlet isn't running: nothing is synced by itself, and agents reach nothing. Start it with marlet serve.";
    }
    return finding;
}

Finding servedEndpointFinding(const std::string& endpoint) {
    Finding finding{"endpoint", Standing::ok, fmt::format("Agents are served at {}.", endpoint)};
    finding.facts["endpoint"] = endpoint;
    return finding;
}

// `served`: where agents are, if they are.
Async<std::vector<Finding>> computerFindings(DataFolder folder, std::optional<std::string> served) {
    std::vector<Finding> findings = examineFolder(folder.path());
    findings.push_back(examineDatabases(folder));
    findings.push_back(examineSecrets(folder));
    findings.push_back(daemonFinding(served.has_value()));
    findings.push_back(served ? servedEndpointFinding(*served) : examineEndpoint(folder));
    co_return findings;
}

Async<void> keepFindings(Async<std::vector<Finding>> examination, std::vector<Finding>& place) {
    // On a thread of its own, since it blocks.
    boost::asio::thread_pool worker(1);
    try {
        place = co_await boost::asio::co_spawn(worker, std::move(examination), boost::asio::use_awaitable);
    } catch (...) {
        place = {{"data folder", Standing::attention, localizedDescription(std::current_exception())}};
    }
}

Async<void> examineTools(HelperConnection& helper, DoctorOptions options, std::vector<Finding>& findings) {
    Finding finding{"helper", Standing::attention};
    Deadline deadline(co_await boost::asio::this_coro::executor, helperPatience);
    try {
        Async<HelperReply> question = helper.ask(HelperRequest{HelperRequest::LocateTools{options.tools}});
        HelperReply reply = co_await deadline.limit(std::move(question));
        if (const auto* tools = std::get_if<HelperReply::Tools>(&reply.value)) {
            findings = toolFindings(options, tools->report);
            bool isService = helper.way() == HelperConnection::Way::service;
            finding.standing = Standing::ok;
            finding.message =
                isService ? "The session's helper answers." : "Marlet starts its helper when it needs one.";
            finding.facts["way"] = isService ? "service" : "child";
        } else {
            finding.message = "The helper answered something else than it was asked.";
            finding.advice = "It may be of another version: end MarletHelper, then try again.";
        }
    } catch (...) {
        finding.message = localizedDescription(std::current_exception());
        if (deadline.hasPassed()) {
            finding.message = fmt::format("The helper didn't answer within {} seconds.", helperPatience.count());
            finding.advice =
                "Look whether git --version and claude --version answer in a shell. If they do, end MarletHelper, then "
                "try again.";
        }
    }
    if (findings.empty()) {
        findings = examinePath(options);
    }
    findings.push_back(std::move(finding));
}

Async<void> keepFinding(Async<Finding> examination, Finding& place) {
    place = co_await std::move(examination);
}

Async<std::vector<Account>> remoteAccounts(TaskStore& store, std::vector<Finding>& troubles) {
    std::vector<Account> accounts;
    try {
        std::vector<AccountSyncState> states = co_await store.accounts();
        for (AccountSyncState& state : states) {
            if (!isLocal(state.account.kind)) {
                accounts.push_back(std::move(state.account));
            }
        }
    } catch (...) {
        troubles.push_back(storeTrouble());
    }
    co_return accounts;
}

Finding changeFinding(const std::vector<TaskSnapshot>& waiting, bool isServed) {
    auto rejected = std::count_if(waiting.begin(), waiting.end(),
                                  [](const TaskSnapshot& task) { return task.pushError.has_value(); });
    auto pending = static_cast<int64_t>(waiting.size()) - rejected;
    Finding finding{"changes", Standing::ok, "No change waits."};
    finding.facts = {{"pending", pending}, {"rejected", rejected}};
    if (rejected > 0) {
        finding.standing = Standing::attention;
        finding.message = fmt::format("Refused by a server: {}. Waiting to be sent: {}.", rejected, pending);
        finding.advice = "See them with marlet pending list; send them again or give them up.";
    } else if (pending > 0) {
        finding.standing = Standing::note;
        finding.message = fmt::format("Waiting to be sent: {}.{}", pending, isServed ? "" : " marlet sync sends them.");
    }
    return finding;
}

Async<std::vector<Finding>> changeFindings(TaskStore& store, bool isServed) {
    std::vector<Finding> findings;
    try {
        std::vector<TaskSnapshot> waiting = co_await store.pendingSnapshots(std::nullopt);
        findings.push_back(changeFinding(waiting, isServed));
    } catch (...) {
        findings.push_back(storeTrouble());
    }
    co_return findings;
}

std::optional<std::string> servedEndpoint(const Engine& engine) {
    const std::string* endpoint = engine.servedEndpoint.stringValue();
    return endpoint ? std::optional(*endpoint) : std::nullopt;
}

Async<CommandReply> doctor(Engine& engine, DoctorOptions options) {
    Executor executor = co_await boost::asio::this_coro::executor;
    Examination found;
    std::vector<Account> accounts = co_await remoteAccounts(engine.store(), found.troubles);
    found.accounts.resize(accounts.size());
    BackgroundTasks examinations(executor);
    examinations.start(examineTools(engine.helper(), options, found.tools));
    Async<std::vector<Finding>> ofComputer = computerFindings(engine.folder(), servedEndpoint(engine));
    examinations.start(keepFindings(std::move(ofComputer), found.computer));
    for (size_t index = 0; index < accounts.size(); ++index) {
        Async<Finding> ofAccount = examineAccount(engine.services(), accounts[index]);
        examinations.start(keepFinding(std::move(ofAccount), found.accounts[index]));
    }
    co_await examinations.drain();
    std::vector<Finding> changes = co_await changeFindings(engine.store(), servedEndpoint(engine).has_value());

    std::vector<Finding> findings = std::move(found.tools);
    for (const std::vector<Finding>& more : {found.computer, found.troubles, found.accounts, changes}) {
        findings.insert(findings.end(), more.begin(), more.end());
    }
    co_return doctorReply(findings);
}

}  // namespace

Async<Finding> examineAccount(MarletServices& services, Account account) {
    Finding finding{"account", Standing::attention};
    finding.subject = account.displayName;
    finding.facts = {{"account_id", account.id.text()}, {"server", account.baseURL.text()}};
    Executor executor = co_await boost::asio::this_coro::executor;
    std::optional<Deadline> deadline;
    std::exception_ptr failure;
    try {
        std::optional<std::string> token = co_await services.token(account.id);
        if (!token) {
            finding.message = "Its token isn't on this computer.";
            finding.advice = newTokenAdvice;
            co_return finding;
        }
        deadline.emplace(executor, serverPatience);
        Async<std::vector<Project>> verification = services.verify(account, std::move(*token));
        std::vector<Project> projects = co_await deadline->limit(std::move(verification));
        finding.standing = Standing::ok;
        finding.message = fmt::format("{} takes the token, and lists {} project{}.", hostAndPort(account.baseURL),
                                      projects.size(), projects.size() == 1 ? "" : "s");
        co_return finding;
    } catch (...) {
        failure = std::current_exception();
    }
    if (deadline && deadline->hasPassed()) {
        finding.message =
            fmt::format("{} didn't answer within {} seconds.", hostAndPort(account.baseURL), serverPatience.count());
    } else {
        finding.message = localizedDescription(failure);
        finding.advice = connectionAdvice(failure, account, ConnectionTrial::nothing);
    }
    // Who couldn't ask the server at all has been told why.
    if (finding.advice.empty() && deadline) {
        finding.advice = "Changes wait meanwhile, and none is lost. Try again later.";
    }
    co_return finding;
}

CommandBody doctorCommand(std::string_view name) {
    return name == doctorName ? commandBody(doctor) : CommandBody();
}

}  // namespace marlet
