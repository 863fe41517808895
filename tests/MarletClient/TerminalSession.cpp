#include "TerminalSession.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace marlet {
namespace {

constexpr int patienceMilliseconds = 30'000;
constexpr winsize size{.ws_row = 24, .ws_col = 100, .ws_xpixel = 0, .ws_ypixel = 0};

[[noreturn]] void become(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                         int terminal) {
    ::setsid();
    ::ioctl(terminal, TIOCSCTTY, 0);
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(terminal, descriptor);
    }
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    for (const std::string& variable : environment) {
        ::putenv(const_cast<char*>(variable.c_str()));
    }
    std::vector<char*> texts;
    for (const std::string& argument : arguments) {
        texts.push_back(const_cast<char*>(argument.c_str()));
    }
    texts.push_back(nullptr);
    ::execv(texts.front(), texts.data());
    ::_exit(127);
}

}  // namespace

TerminalSession::TerminalSession(const std::vector<std::string>& arguments, const std::vector<std::string>& environment)
    : controller(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_GE(controller, 0);
    EXPECT_EQ(::grantpt(controller), 0);
    EXPECT_EQ(::unlockpt(controller), 0);
    device = ::open(::ptsname(controller), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(device, 0);
    ::ioctl(device, TIOCSWINSZ, &size);
    process = ::fork();
    if (process == 0) {
        become(arguments, environment, device);
    }
}

TerminalSession::~TerminalSession() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    ::close(device);
    ::close(controller);
}

void TerminalSession::type(const std::string& keys) const {
    EXPECT_EQ(::write(controller, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

bool TerminalSession::showsTyping() const {
    termios state{};
    EXPECT_EQ(::tcgetattr(device, &state), 0);
    return (state.c_lflag & ECHO) != 0;
}

// False when nothing came for long.
bool TerminalSession::readMore() {
    pollfd event{controller, POLLIN, 0};
    if (::poll(&event, 1, patienceMilliseconds) <= 0) {
        return false;
    }
    std::array<char, 4096> chunk;
    ssize_t count = ::read(controller, chunk.data(), chunk.size());
    if (count > 0) {
        screen.append(chunk.data(), static_cast<size_t>(count));
    }
    return count > 0;
}

bool TerminalSession::waitFor(const std::string& text) {
    while (screen.find(text) == std::string::npos) {
        if (!readMore()) {
            return false;
        }
    }
    return true;
}

int TerminalSession::wait() {
    int status = 0;
    // The terminal stays open by `device`, so its end can't be waited for; what it still holds is read afterwards.
    while (::waitpid(process, &status, WNOHANG) == 0) {
        pollfd event{controller, POLLIN, 0};
        if (::poll(&event, 1, 20) > 0) {
            readMore();
        }
    }
    process = -1;
    for (pollfd event{controller, POLLIN, 0}; ::poll(&event, 1, 0) > 0 && readMore();) {
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace marlet
