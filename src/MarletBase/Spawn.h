#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace marlet {

// The start of another program. Its signals are as any program expects them, whatever this process ignores or blocks.
//
// Everything here throws std::system_error with the system's reason, and no words of its own.
class Spawn {
public:
    enum class Leads { group, session };

    // The program begins a process group or a session, and leads it.
    explicit Spawn(Leads leads);
    Spawn(const Spawn&) = delete;
    Spawn& operator=(const Spawn&) = delete;
    ~Spawn();

    // The program's descriptor `to` is this process's `from`.
    void duplicate(int from, int to);
    // The program's descriptor leads to the null device.
    void openNull(int descriptor, int flags);
    // The folder that the program runs in.
    void enter(const std::string& folder);
    // The last to be told: from `first` on, none of this process's descriptors is open in the program.
    void closeFrom(int first);

    // `arguments` begins with the program's full path; `environment` holds "NAME=value", all of it. Gives the process,
    // which the caller waits for.
    pid_t start(std::vector<std::string> arguments, std::vector<std::string> environment) const;
    // In this process's own environment.
    pid_t start(std::vector<std::string> arguments) const;

private:
    template <class Actions>
    static void closeAllFrom(Actions& actions, int first);
    static void closeEachFrom(posix_spawn_file_actions_t& actions, int first);
    pid_t start(std::vector<std::string> arguments, char* const* environment) const;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

}  // namespace marlet
