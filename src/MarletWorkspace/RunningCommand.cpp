#include "MarletWorkspace/RunningCommandInternal.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace marlet {
namespace {

constexpr int firstOwnDescriptor = STDERR_FILENO + 1;

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
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
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
    return std::string("Couldn't start ") + command.executable.c_str();
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

// Zero when the time has come.
timespec timeUntil(RunningCommand::Time time) {
    auto left = std::max(time - std::chrono::steady_clock::now(), std::chrono::steady_clock::duration::zero());
    auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    return {seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
}

}  // namespace

RunningCommand::RunningCommand(const Command& command, std::vector<std::string> environment, CommandOutputs outputs)
    : process(launch(command, environment, outputs)), end(static_cast<int>(::syscall(SYS_pidfd_open, process, 0))) {
    if (end < 0) {
        int error = errno;
        killGroup();
        reap();
        throw std::system_error(error, std::generic_category(), "Couldn't watch " + command.executable);
    }
}

RunningCommand::~RunningCommand() {
    if (process > 0) {
        killGroup();
        reap();
    }
    ::close(end);
}

bool RunningCommand::endsBefore(Time time, int interrupt) const {
    std::array<pollfd, 2> events{pollfd{end, POLLIN, 0}, pollfd{interrupt, POLLIN, 0}};
    for (;;) {
        timespec left = timeUntil(time);
        if (::ppoll(events.data(), events.size(), &left, nullptr) >= 0) {
            return events[0].revents != 0;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "Couldn't wait for a command");
        }
    }
}

void RunningCommand::stop(std::chrono::seconds patience) const {
    constexpr int uninterrupted = -1;
    // It may have left its group.
    if (::kill(-process, SIGTERM) != 0) {
        ::kill(process, SIGTERM);
    }
    endsBefore(std::chrono::steady_clock::now() + patience, uninterrupted);
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
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = ::waitpid(process, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    process = -1;
    return reaped < 0 ? std::nullopt : std::optional(status);
}

}  // namespace marlet
