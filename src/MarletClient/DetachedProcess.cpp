#include "MarletClient/DetachedProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace marlet {
namespace {

class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions); }

    void give(int descriptor, int place, int flags) {
        if (descriptor >= 0) {
            ::posix_spawn_file_actions_adddup2(&actions, descriptor, place);
        } else {
            ::posix_spawn_file_actions_addopen(&actions, place, "/dev/null", flags, 0);
        }
    }
    void keep(int descriptor) { ::posix_spawn_file_actions_adddup2(&actions, descriptor, firstOther++); }
    void closeOthers() { ::posix_spawn_file_actions_addclosefrom_np(&actions, firstOther); }
    const posix_spawn_file_actions_t* get() const { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
    int firstOther = STDERR_FILENO + 1;
};

class SpawnAttributes {
public:
    SpawnAttributes() {
        ::posix_spawnattr_init(&attributes);
        sigset_t signals;
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes); }

    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

}  // namespace

pid_t startDetached(std::vector<std::string> arguments, int input, int errors, int kept) {
    SpawnActions actions;
    actions.give(input, STDIN_FILENO, O_RDONLY);
    actions.give(-1, STDOUT_FILENO, O_WRONLY);
    actions.give(errors, STDERR_FILENO, O_WRONLY);
    if (kept >= 0) {
        actions.keep(kept);
    }
    actions.closeOthers();
    SpawnAttributes attributes;
    std::vector<char*> texts;
    texts.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        texts.push_back(argument.data());
    }
    texts.push_back(nullptr);
    pid_t process = -1;
    int error = ::posix_spawn(&process, texts.front(), actions.get(), attributes.get(), texts.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), arguments.front());
    }
    return process;
}

std::vector<pid_t> processesOfSession(pid_t process) {
    std::vector<pid_t> found;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
        std::ifstream file(entry.path() / "stat");
        std::string text;
        std::getline(file, text, '\0');
        // The program's name comes before, in brackets, and holds whatever it likes.
        std::istringstream rest(text.substr(text.rfind(')') + 1));
        char state = 0;
        pid_t parent = 0;
        pid_t group = 0;
        pid_t session = 0;
        rest >> state >> parent >> group >> session;
        if (session == process && state != 'Z') {
            found.push_back(std::stoi(entry.path().filename().string()));
        }
    }
    return found;
}

// By its number: the C library's own declaration can't be linked from C++.
int processHandle(pid_t process) {
    return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

}  // namespace marlet
