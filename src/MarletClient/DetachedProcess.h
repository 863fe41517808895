#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace marlet {

// Starts the program, whose full path begins the arguments, in a session of its own: a Ctrl-C on the terminal doesn't
// reach it. It has the given descriptors as its standard input and error, or else /dev/null, keeps `kept` open as long
// as it lives, and has none of this process's others. No signal is ignored or held back in it. Gives the process, which
// the caller waits for, or throws std::system_error.
pid_t startDetached(std::vector<std::string> arguments, int input = -1, int errors = -1, int kept = -1);

// What runs in the session that began with this process, which may have ended but not been waited for. None where the
// system doesn't tell.
std::vector<pid_t> processesOfSession(pid_t process);

// A descriptor of the child that is readable once it has ended; negative when the system has none.
int processHandle(pid_t process);

}  // namespace marlet
