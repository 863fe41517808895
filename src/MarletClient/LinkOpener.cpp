#include "MarletClient/LinkOpener.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <system_error>

#include "MarletBase/Description.h"
#include "MarletClient/DetachedProcess.h"
#include "MarletClient/Tools.h"
#include "MarletWorkspace/AgentDestination.h"

namespace marlet {
namespace {

constexpr const char* opener = "xdg-open";
// An opener that fails does so at once; one that works may stay for as long as the program that it opens.
constexpr std::chrono::milliseconds patience(1000);

// How it ended, as waitpid tells it; no value while it goes on.
std::optional<int> earlyEnd(pid_t process) {
    int handle = processHandle(process);
    if (handle >= 0) {
        pollfd events{handle, POLLIN, 0};
        ::poll(&events, 1, static_cast<int>(patience.count()));
        ::close(handle);
    }
    int status = 0;
    return ::waitpid(process, &status, WNOHANG) == process ? std::optional(status) : std::nullopt;
}

// The agent that the link belongs to.
std::string agentOf(const std::string& link) {
    for (AgentDestination destination : allCases<AgentDestination>()) {
        std::string beginning = probeURL(app(destination)).text() + std::string(code(destination)) + "/";
        if (link.starts_with(beginning)) {
            return title(destination);
        }
    }
    return title(AgentDestination::copilot);
}

}  // namespace

std::optional<std::string> openLink(const std::string& link) {
    std::optional<std::string> program = programOnPath(opener);
    if (!program) {
        return fmt::format("{} wasn't found on the PATH.", opener);
    }
    try {
        std::optional<int> end = earlyEnd(startDetached({*program, link}));
        if (end && *end != 0) {
            return fmt::format("{} couldn't open it (exit status {}).", opener,
                               WIFEXITED(*end) ? WEXITSTATUS(*end) : -WTERMSIG(*end));
        }
        return std::nullopt;
    } catch (const std::system_error& error) {
        return fmt::format("{} couldn't be started: {}.", opener, error.code().message());
    }
}

void handOver(CommandReply& reply, bool opensLink) {
    const JSONValue* member = reply.result["link"];
    const std::string* link = member ? member->stringValue() : nullptr;
    if (!link) {
        return;
    }
    std::optional<std::string> trouble = opensLink ? openLink(*link) : std::nullopt;
    std::string outcome = opensLink && !trouble ? fmt::format("{} opens with the task.", agentOf(*link))
                                                : fmt::format("{}{}Open this link for {}:\n{}", trouble.value_or(""),
                                                              trouble ? " " : "", agentOf(*link), *link);
    reply.remark = reply.remark ? *reply.remark + "\n" + outcome : outcome;
}

}  // namespace marlet
