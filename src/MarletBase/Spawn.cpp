#include "MarletBase/Spawn.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace marlet {
namespace {

void require(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

// The system would take such a text for a shorter one.
void requireNoNUL(const std::string& text) {
    require(text.find('\0') == std::string::npos ? 0 : EINVAL);
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::for_each(texts.begin(), texts.end(), requireNoNUL);
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    std::transform(texts.begin(), texts.end(), std::back_inserter(result),
                   [](std::string& text) { return text.data(); });
    result.push_back(nullptr);
    return result;
}

short flagOf(Spawn::Leads leads) {
    return leads == Spawn::Leads::group ? POSIX_SPAWN_SETPGROUP : POSIX_SPAWN_SETSID;
}

}  // namespace

Spawn::Spawn(Leads leads) {
    require(::posix_spawn_file_actions_init(&actions));
    if (int error = ::posix_spawnattr_init(&attributes); error != 0) {
        ::posix_spawn_file_actions_destroy(&actions);
        require(error);
    }
    sigset_t none{};
    sigset_t all{};
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    int flags = flagOf(leads) | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    ::posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
}

Spawn::~Spawn() {
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
}

void Spawn::duplicate(int from, int to) {
    require(::posix_spawn_file_actions_adddup2(&actions, from, to));
}

void Spawn::openNull(int descriptor, int flags) {
    require(::posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", flags, 0));
}

void Spawn::enter(const std::string& folder) {
    requireNoNUL(folder);
    require(::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str()));
}

void Spawn::closeFrom(int first) {
    closeAllFrom(actions, first);
}

// A template, so that a C library without such an action makes a different choice and not an error.
template <class Actions>
void Spawn::closeAllFrom(Actions& actions, int first) {
    if constexpr (requires { posix_spawn_file_actions_addclosefrom_np(&actions, first); }) {
        require(posix_spawn_file_actions_addclosefrom_np(&actions, first));
    } else {
        closeEachFrom(actions, first);
    }
}

// What another thread opens from here on must be close-on-exec to stay out of the program. To close a descriptor that
// isn't open any more is no error there.
void Spawn::closeEachFrom(posix_spawn_file_actions_t& actions, int first) {
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
        std::string name = entry.path().filename().string();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor >= first) {
            require(::posix_spawn_file_actions_addclose(&actions, descriptor));
        }
    }
}

pid_t Spawn::start(std::vector<std::string> arguments, std::vector<std::string> environment) const {
    return start(std::move(arguments), pointers(environment).data());
}

pid_t Spawn::start(std::vector<std::string> arguments) const {
    return start(std::move(arguments), environ);
}

pid_t Spawn::start(std::vector<std::string> arguments, char* const* environment) const {
    std::vector<char*> texts = pointers(arguments);
    pid_t process = -1;
    require(::posix_spawn(&process, texts.front(), &actions, &attributes, texts.data(), environment));
    return process;
}

}  // namespace marlet
