#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace marlet {

// Starts the program, whose full path begins the arguments, in a session of its own: a Ctrl-C on the terminal doesn't
// reach it. It has the given descriptors as its standard input and error, or else /dev/null, and none of this process's
// others. No signal is ignored or held back in it. Gives the process, which the caller waits for, or throws
// std::system_error.
pid_t startDetached(std::vector<std::string> arguments, int input = -1, int errors = -1);

// A descriptor of the child that is readable once it has ended; negative when the system has none.
int processHandle(pid_t process);

}  // namespace marlet
