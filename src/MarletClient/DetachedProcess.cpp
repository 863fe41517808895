#include "MarletClient/DetachedProcess.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "MarletBase/Spawn.h"

namespace marlet {
namespace {

// The descriptor that is given, or nothing to read or write.
void give(Spawn& spawn, int descriptor, int place, int flags) {
    if (descriptor >= 0) {
        spawn.duplicate(descriptor, place);
    } else {
        spawn.openNull(place, flags);
    }
}

}  // namespace

pid_t startDetached(std::vector<std::string> arguments, int input, int errors, int kept) {
    const std::string program = arguments.front();
    try {
        Spawn spawn(Spawn::Leads::session);
        give(spawn, input, STDIN_FILENO, O_RDONLY);
        spawn.openNull(STDOUT_FILENO, O_WRONLY);
        give(spawn, errors, STDERR_FILENO, O_WRONLY);
        int firstOther = STDERR_FILENO + 1;
        if (kept >= 0) {
            spawn.duplicate(kept, firstOther++);
        }
        spawn.closeFrom(firstOther);
        return spawn.start(std::move(arguments));
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), program);
    }
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
