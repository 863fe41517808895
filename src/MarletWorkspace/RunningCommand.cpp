#include "MarletWorkspace/RunningCommandInternal.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <future>
#include <system_error>

#include "MarletBase/Spawn.h"

namespace marlet {
namespace {

constexpr int firstOwnDescriptor = STDERR_FILENO + 1;
constexpr pid_t noProcess = -1;

std::string failureText(const Command& command) {
    // As far as the system reads it.
    return "Couldn't start " + command.executable.substr(0, command.executable.find('\0'));
}

// The system tells one reason for two things that may be missing.
std::string launchFailureText(const Command& command) {
    bool isFolderMissing = command.folder && command.folder->find('\0') == std::string::npos &&
                           ::access((*command.folder + "/.").c_str(), X_OK) != 0;
    return failureText(command) + (isFolderMissing ? " in " + *command.folder : "");
}

pid_t launch(const Command& command, std::vector<std::string> environment, CommandOutputs outputs) {
    std::vector<std::string> arguments{command.executable};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    try {
        Spawn spawn(Spawn::Leads::group);
        if (command.folder) {
            spawn.enter(*command.folder);
        }
        spawn.openNull(STDIN_FILENO, O_RDONLY);
        spawn.duplicate(outputs.output, STDOUT_FILENO);
        spawn.duplicate(outputs.errors, STDERR_FILENO);
        spawn.closeFrom(firstOwnDescriptor);
        return spawn.start(std::move(arguments), std::move(environment));
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), launchFailureText(command));
    }
}

// Leaves the process as it is: its number stays its own.
void awaitEnd(pid_t process) {
    siginfo_t information{};
    while (::waitid(P_PID, static_cast<id_t>(process), &information, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
}

// A thread that tells the end of the process that is launched, if one is.
std::thread startedWatcher(const Command& command, std::future<pid_t> launched, CommandNews& news) {
    try {
        return std::thread([launched = std::move(launched), &news]() mutable {
            if (pid_t process = launched.get(); process != noProcess) {
                awaitEnd(process);
                news.tellEnd();
            }
        });
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), failureText(command));
    }
}

}  // namespace

void CommandNews::tellEnd() {
    std::scoped_lock lock(mutex);
    hasEnded = true;
    changed.notify_all();
}

void CommandNews::askToStop() {
    std::scoped_lock lock(mutex);
    hasToStop = true;
    changed.notify_all();
}

bool CommandNews::awaitEnd(Time time) {
    std::unique_lock lock(mutex);
    changed.wait_until(lock, time, [this] { return hasEnded || hasToStop; });
    return hasEnded;
}

bool CommandNews::awaitEndOfStopping(Time time) {
    std::unique_lock lock(mutex);
    return changed.wait_until(lock, time, [this] { return hasEnded; });
}

RunningCommand::RunningCommand(const Command& command, std::vector<std::string> environment, CommandOutputs outputs,
                               CommandNews& listener)
    : process(noProcess), news(listener) {
    // The thread comes first: where none is to be had the command hasn't begun.
    std::promise<pid_t> launched;
    watcher = startedWatcher(command, launched.get_future(), news);
    try {
        process = launch(command, std::move(environment), outputs);
    } catch (...) {
        launched.set_value(noProcess);
        watcher.join();
        throw;
    }
    launched.set_value(process);
}

RunningCommand::~RunningCommand() {
    if (process != noProcess) {
        killGroup();
        reap();
    }
}

void RunningCommand::stop(std::chrono::seconds patience) {
    ::kill(-process, SIGTERM);
    // It may have left its group, and others in there.
    if (::getpgid(process) != process) {
        ::kill(process, SIGTERM);
    }
    news.awaitEndOfStopping(std::chrono::steady_clock::now() + patience);
    killGroup();
}

void RunningCommand::killGroup() const {
    ::kill(-process, SIGKILL);
    ::kill(process, SIGKILL);
}

int32_t RunningCommand::takeStatus() {
    std::optional<int> status = reap();
    if (!status) {
        throw std::system_error(errno, std::generic_category(), "Couldn't learn how a command ended");
    }
    return WIFSIGNALED(*status) ? WTERMSIG(*status) : WEXITSTATUS(*status);
}

std::optional<int> RunningCommand::reap() {
    watcher.join();
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(process, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    process = noProcess;
    return reaped < 0 ? std::nullopt : std::optional(status);
}

}  // namespace marlet
