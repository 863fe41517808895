// Handing tasks to agents: work, work result, work remove.
#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <charconv>
#include <filesystem>

#include "MarletClient/Commands.h"
#include "MarletClient/Endpoint.h"
#include "MarletClient/Options.h"
#include "MarletClient/Tools.h"
#include "MarletClient/WorkPlace.h"
#include "MarletWorkspace/AgentLinks.h"
#include "MarletWorkspace/TaskBrief.h"
#include "MarletWorkspace/WorkFolder.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds commentsPatience(5);

// Sentences for people, a line each.
struct Remarks {
    std::string text;

    void add(std::string_view sentence) {
        text += text.empty() ? "" : "\n";
        text += sentence;
    }
};

// One command at a time for a task: of two that post its result, the second finds that it has been posted. What another
// did while this one waited is known afterwards.
Async<Turns::Turn> takeTurn(Engine& engine, WorkSubject& subject) {
    Turns::Turn turn = co_await engine.turns().take(subject.task.localID.text());
    subject.handoff = co_await engine.store().handoff(subject.task.localID);
    co_return turn;
}

bool isThere(const std::string& folder) {
    std::error_code error;
    return std::filesystem::is_directory(folder, error);
}

struct Comments {
    std::vector<TaskComment> found;
    std::string trouble;
};

Async<Comments> readComments(MarletServices& services, std::string taskKey) {
    Comments comments;
    try {
        comments.found = co_await services.comments(std::move(taskKey));
    } catch (...) {
        comments.trouble = localizedDescription(std::current_exception());
    }
    co_return comments;
}

Async<void> sleep(std::chrono::seconds length) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor, length);
    co_await timer.async_wait(boost::asio::use_awaitable);
}

// A server that can't be reached, or that takes its time, holds up no work.
Async<Comments> commentsInTime(Engine& engine, std::string taskKey) {
    using boost::asio::experimental::awaitable_operators::operator||;
    Async<Comments> reading = readComments(engine.services(), std::move(taskKey));
    Async<void> waiting = sleep(commentsPatience);
    auto first = co_await (std::move(reading) || std::move(waiting));
    if (first.index() == 1) {
        co_return Comments{{}, "The server didn't answer in time."};
    }
    co_return std::get<0>(std::move(first));
}

// Tells the agent where Marlet's tools are. False when it can't use them.
Async<bool> registerTools(Engine& engine, AgentDestination destination, std::string folder, ToolSettings tools,
                          Remarks& remarks) {
    if (destination == AgentDestination::cowork) {
        co_return false;
    }
    std::string trouble;
    try {
        std::optional<Endpoint> endpoint = Endpoint::load(engine.folder());
        if (!endpoint) {
            throw CommandError("There is no endpoint for agents yet: start marlet serve once, then marlet work again.");
        }
        Step step(engine.steps, fmt::format("Registering Marlet's tools with {}", title(destination)));
        HelperRequest request{HelperRequest::RegisterCopilotMCP{endpoint->url(), endpoint->token}};
        if (destination == AgentDestination::code) {
            MCPRegistration registration{std::move(folder), endpoint->url(), endpoint->token, std::move(tools)};
            request.value = HelperRequest::RegisterMCP{std::move(registration)};
        }
        co_await engine.helper().ask(std::move(request));
    } catch (const LocalizedError& error) {
        trouble = error.errorDescription();
    }
    if (!trouble.empty()) {
        remarks.add(fmt::format("The agent works without Marlet's tools. {}", trouble));
        co_return false;
    }
    if (engine.servedEndpoint.isNull()) {
        remarks.add("Marlet isn't running. Start marlet serve, so that the agent reaches your tasks.");
    }
    co_return true;
}

Async<void> placeBrief(std::string folder, std::string markdown) {
    hideFromGit(folder);
    writeBrief(folder, markdown);
    co_return;
}

// The file with the task in words; no value when it can't be written, which Claude Cowork alone can't do without.
Async<std::optional<std::string>> writeBriefFile(std::string folder, std::string markdown, AgentDestination destination,
                                                 Remarks& remarks) {
    std::string trouble;
    try {
        // Who else writes into the folder is waited for, not by the loop.
        boost::asio::thread_pool thread(1);
        co_await runOn(boost::asio::make_strand(Executor(thread.get_executor())),
                       placeBrief(folder, std::move(markdown)));
        co_return fmt::format("{}/{}", folder, TaskBrief::briefFileName);
    } catch (...) {
        if (destination == AgentDestination::cowork) {
            throw;
        }
        trouble = localizedDescription(std::current_exception());
    }
    remarks.add(fmt::format("The work begins without a {}. {}", TaskBrief::briefFileName, trouble));
    co_return std::nullopt;
}

std::optional<int64_t> pullRequestNumber(const TaskItem& item) {
    int64_t number = 0;
    auto [end, error] = std::from_chars(item.id.data(), item.id.data() + item.id.size(), number);
    bool isNumber = error == std::errc() && end == item.id.data() + item.id.size();
    return item.kind == TaskKind::pullRequest && isNumber ? std::optional(number) : std::nullopt;
}

URL linkTo(AgentDestination destination, const WorkSubject& subject, const std::string& folder,
           const std::string& prompt) {
    if (destination == AgentDestination::copilot) {
        return CopilotLink::newSession(*subject.repository, prompt, CopilotMode::interactive,
                                       pullRequestNumber(subject.task.item));
    }
    return ClaudeLink::newSession(destination, folder, prompt);
}

Async<CommandReply> work(Engine& engine, WorkOptions options) {
    WorkSubject subject = co_await workSubject(engine.store(), options.task, options.project);
    Turns::Turn turn = co_await takeTurn(engine, subject);
    AgentDestination destination = destinationFor(subject, options.to);
    WorkPlace place = co_await prepareWorkPlace(engine, subject, options);

    Remarks remarks;
    const std::optional<std::string>& before = subject.handoff.worktreePath;
    if (before && *before != place.folder && isThere(*before)) {
        remarks.add(fmt::format("The worktree of before stays where it is: {}", *before));
    }
    bool hasTools = co_await registerTools(engine, destination, place.folder, options.tools, remarks);
    Step step(engine.steps, "Reading the comments");
    Comments comments = co_await commentsInTime(engine, subject.task.key);
    if (!comments.trouble.empty()) {
        remarks.add(fmt::format("The task's comments couldn't be read. {}", comments.trouble));
    }
    TaskBrief brief{subject.task.item,
                    subject.task.localID,
                    subject.account.kind,
                    subject.account.displayName,
                    subject.task.projectName,
                    std::move(comments.found),
                    hasTools};
    std::optional<std::string> file = co_await writeBriefFile(place.folder, brief.markdown(), destination, remarks);
    co_await engine.store().recordClaudeHandoff(subject.task.localID, place.folder, engine.now());

    URL link = linkTo(destination, subject, place.folder, brief.prompt(destination));
    CommandReply reply = success(JSONValue::object(
        {{"folder", place.folder}, {"branch", place.branch}, {"brief", file}, {"link", link.text()}}));
    if (!remarks.text.empty()) {
        reply.remark = std::move(remarks.text);
    }
    co_return reply;
}

bool isPosted(const WorkResult& result, const TaskHandoff& handoff) {
    return handoff.claudeResultPostedAt && result.modificationDate <= *handoff.claudeResultPostedAt;
}

WorkResult resultToPost(const WorkSubject& subject) {
    const std::string& task = subject.task.item.title;
    const std::optional<std::string>& folder = subject.handoff.claudeFolder;
    if (!folder) {
        throw CommandError(fmt::format("The task \"{}\" hasn't been handed to an agent yet. Use marlet work.", task));
    }
    std::optional<WorkResult> result = readResult(*folder);
    if (!result) {
        throw CommandError(fmt::format("There is no {} in {} yet.", TaskBrief::resultFileName, *folder));
    }
    if (isPosted(*result, subject.handoff)) {
        throw CommandError(
            fmt::format("The {} in {} hasn't changed since it was posted.", TaskBrief::resultFileName, *folder));
    }
    if (isUnsent(subject.task)) {
        throw CommandError(
            fmt::format("The task \"{}\" isn't on its server yet. Use marlet sync, then post its result again.", task));
    }
    return std::move(*result);
}

Async<CommandReply> postResult(Engine& engine, TaskOptions options) {
    WorkSubject subject = co_await workSubject(engine.store(), options.task, options.project);
    Turns::Turn turn = co_await takeTurn(engine, subject);
    WorkResult result = resultToPost(subject);
    JSONValue::Object arguments{{"task_id", subject.task.localID.text()}, {"body", std::move(result.text)}};
    JSONValue comment = co_await engine.callTool("add_comment", std::move(arguments));
    // What the agent has written since then is another result.
    co_await engine.store().markClaudeResultPosted(subject.task.localID, result.modificationDate);
    co_return success(std::move(comment));
}

std::string worktreeToRemove(const WorkSubject& subject) {
    const TaskHandoff& handoff = subject.handoff;
    if (!handoff.worktreePath) {
        std::string rest = handoff.claudeFolder && isThere(*handoff.claudeFolder)
                               ? fmt::format(" Its work folder is yours to delete: {}", *handoff.claudeFolder)
                               : std::string();
        throw CommandError(fmt::format("The task \"{}\" has no worktree.{}", subject.task.item.title, rest));
    }
    // Git doesn't see it, and would delete it without a word.
    std::optional<WorkResult> result = readResult(*handoff.worktreePath);
    if (result && !isPosted(*result, handoff)) {
        throw CommandError(fmt::format(
            "The {} in {} hasn't been posted, and would be lost. Post it with marlet work result, or delete "
            "it, then remove the worktree.",
            TaskBrief::resultFileName, *handoff.worktreePath));
    }
    return *handoff.worktreePath;
}

Async<CommandReply> remove(Engine& engine, WorkRemoveOptions options) {
    WorkSubject subject = co_await workSubject(engine.store(), options.task, options.project);
    Turns::Turn turn = co_await takeTurn(engine, subject);
    std::string folder = worktreeToRemove(subject);
    requireGit(options.tools);
    Step step(engine.steps, fmt::format("Removing the worktree of {}", subject.task.item.title));
    co_await engine.helper().ask({HelperRequest::RemoveWorktree{folder, std::move(options.tools)}});
    co_await engine.store().recordWorktree(subject.task.localID, std::nullopt);
    co_return success(JSONValue::object({
        {"removed", true},
        {"task_id", subject.task.localID.text()},
        {"title", subject.task.item.title},
        {"folder", folder},
    }));
}

}  // namespace

CommandBody workCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"work", commandBody(work)},
        {"work result", commandBody(postResult)},
        {"work remove", commandBody(remove)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
