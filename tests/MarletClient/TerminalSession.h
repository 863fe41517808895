#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace marlet {

// A program with a terminal of its own, played by the test. Whatever isn't over when this goes is killed.
class TerminalSession {
public:
    // `arguments` begins with the program's path. `environment` holds "NAME=value" to add to the test's own.
    TerminalSession(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;
    ~TerminalSession();

    pid_t pid() const { return process; }
    void type(const std::string& keys) const;
    // Whether the terminal shows what is typed.
    bool showsTyping() const;

    // Reads until the screen has shown this text. False when the program ended before, or after half a minute.
    bool waitFor(const std::string& text);
    // Reads what still comes: the exit status, or minus the signal that ended it.
    int wait();

    // Everything that the terminal was sent so far.
    std::string screen;

private:
    bool readMore();

    int controller = -1;
    // Held open, so that the terminal outlives its program.
    int device = -1;
    pid_t process = -1;
};

}  // namespace marlet
