#include "MarletWorkspace/RunningCommandInternal.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <future>
#include <system_error>

namespace marlet {
namespace {

constexpr int firstOwnDescriptor = STDERR_FILENO + 1;
constexpr pid_t noProcess = -1;

void require(int error, const std::string& failure) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), failure);
    }
}

// What the child does between its birth and the command: where its descriptors lead, and from which folder it starts.
class FileActions {
public:
    explicit FileActions(const std::string& failure) : failure(failure) {
        require(::posix_spawn_file_actions_init(&actions), failure);
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions); }

    void open(int descriptor, const char* path, int flags) {
        require(::posix_spawn_file_actions_addopen(&actions, descriptor, path, flags, 0), failure);
    }
    void duplicate(int from, int to) { require(::posix_spawn_file_actions_adddup2(&actions, from, to), failure); }
    void enter(const std::string& folder) {
        require(::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str()), failure);
    }
    void closeAllFrom(int first) { closeAllFrom(&actions, first); }

    const posix_spawn_file_actions_t* get() const { return &actions; }

private:
    // A template, so that a C library without such an action makes a different choice and not an error.
    template <class Actions>
    void closeAllFrom(Actions* target, int first) {
        if constexpr (requires { posix_spawn_file_actions_addclosefrom_np(target, first); }) {
            require(posix_spawn_file_actions_addclosefrom_np(target, first), failure);
        } else {
            closeEachFrom(first);
        }
    }

    // What another thread opens from here on must be close-on-exec to stay out of the child. To close a descriptor that
    // isn't open any more is no error there.
    void closeEachFrom(int first) {
        for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
            std::string name = entry.path().filename().string();
            int descriptor = -1;
            std::from_chars(name.data(), name.data() + name.size(), descriptor);
            if (descriptor >= first) {
                require(::posix_spawn_file_actions_addclose(&actions, descriptor), failure);
            }
        }
    }

    const std::string& failure;
    posix_spawn_file_actions_t actions{};
};

// A process group of its own, and signals as any program expects them: this process may ignore or block some.
class Attributes {
public:
    explicit Attributes(const std::string& failure) {
        require(::posix_spawnattr_init(&attributes), failure);
        sigset_t none{};
        sigset_t all{};
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_setpgroup(&attributes, 0);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { ::posix_spawnattr_destroy(&attributes); }

    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    std::transform(texts.begin(), texts.end(), std::back_inserter(result),
                   [](std::string& text) { return text.data(); });
    result.push_back(nullptr);
    return result;
}

// The system would take such a text for a shorter one.
bool hasNUL(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

std::string failureText(const Command& command) {
    // As far as the system reads it.
    return "Couldn't start " + command.executable.substr(0, command.executable.find('\0'));
}

// The system tells one reason for two things that may be missing.
std::string launchFailureText(const Command& command) {
    bool isFolderUsable = !command.folder || ::access((*command.folder + "/.").c_str(), X_OK) == 0;
    return failureText(command) + (isFolderUsable ? "" : " in " + *command.folder);
}

pid_t launch(const Command& command, std::vector<std::string>& environment, CommandOutputs outputs) {
    const std::string failure = failureText(command);
    std::vector<std::string> arguments{command.executable};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    bool isCut = std::any_of(arguments.begin(), arguments.end(), hasNUL) ||
                 std::any_of(environment.begin(), environment.end(), hasNUL) ||
                 (command.folder && hasNUL(*command.folder));
    require(isCut ? EINVAL : 0, failure);

    FileActions actions(failure);
    if (command.folder) {
        actions.enter(*command.folder);
    }
    actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    actions.duplicate(outputs.output, STDOUT_FILENO);
    actions.duplicate(outputs.errors, STDERR_FILENO);
    actions.closeAllFrom(firstOwnDescriptor);
    Attributes attributes(failure);
    pid_t process = -1;
    int error = ::posix_spawn(&process, command.executable.c_str(), actions.get(), attributes.get(),
                              pointers(arguments).data(), pointers(environment).data());
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), launchFailureText(command));
    }
    return process;
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
        process = launch(command, environment, outputs);
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
