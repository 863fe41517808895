#include "MarletClient/HelperChild.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "MarletBase/Text.h"
#include "MarletClient/DetachedProcess.h"
#include "MarletClient/Tools.h"
#include "MarletWorkspace/ToolLocator.h"

namespace marlet {
namespace {

constexpr const char* programName = "MarletHelper";

constexpr std::chrono::seconds restPatience(5);
constexpr std::chrono::milliseconds restPause(10);

enum class Life { running, exited, killed };

// Its number stays its own, and that of its session, until it is waited for otherwise.
Life lifeOf(pid_t process) {
    siginfo_t end{};
    // Whoever started this process may have had it ignore its children's ends; then nothing tells how they were.
    bool isForgotten = ::waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) != 0;
    if (!isForgotten && end.si_pid == 0) {
        return Life::running;
    }
    return end.si_code == CLD_KILLED || end.si_code == CLD_DUMPED ? Life::killed : Life::exited;
}

void signalSession(pid_t session, int signal) {
    for (pid_t process : processesOfSession(session)) {
        ::kill(process, signal);
    }
}

[[noreturn]] void throwSystemError(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

struct Pipe {
    Pipe() : Pipe(opened()) {}

    Descriptor readEnd;
    Descriptor writeEnd;

private:
    explicit Pipe(std::array<int, 2> ends) : readEnd(ends[0]), writeEnd(ends[1]) {}
    static std::array<int, 2> opened() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throwSystemError(errno, "pipe2");
        }
        return ends;
    }
};

}  // namespace

std::optional<std::filesystem::path> HelperChild::program() {
    std::error_code error;
    std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error);
    std::filesystem::path beside = own.parent_path() / programName;
    if (!error && isExecutableFile(beside.string())) {
        return beside;
    }
    return programOnPath(programName);
}

std::unique_ptr<HelperChild> HelperChild::tryStart(const Executor& executor, const std::filesystem::path& program,
                                                   const std::filesystem::path& socket) {
    std::filesystem::path file = socket;
    file += ".lock";
    // The child keeps it open, and so has the lock for as long as it lives, whoever started it.
    Descriptor turn(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (turn.get() >= 0 && ::flock(turn.get(), LOCK_EX | LOCK_NB) == 0) {
        return std::unique_ptr<HelperChild>(new HelperChild(executor, program, socket, turn.get()));
    }
    if (turn.get() >= 0 && errno == EWOULDBLOCK) {
        return nullptr;
    }
    throwSystemError(errno, file.c_str());
}

HelperChild::HelperChild(const Executor& executor, const std::filesystem::path& program,
                         const std::filesystem::path& socket, int turn)
    : handle(executor) {
    Pipe in;
    Pipe err;
    process = startDetached({program.string(), "--socket", socket.string(), "--until-input-ends"}, in.readEnd.get(),
                            err.writeEnd.get(), turn);
    Descriptor opened(processHandle(process));
    if (opened.get() < 0) {
        int error = errno;
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
        throwSystemError(error, programName);
    }
    handle.assign(opened.release());
    input = std::move(in.writeEnd);
    complaints = std::move(err.readEnd);
    ::fcntl(complaints.get(), F_SETFL, O_NONBLOCK);
}

HelperChild::~HelperChild() {
    endInput();
    ::waitpid(process, nullptr, WNOHANG);
}

bool HelperChild::hasEnded() const {
    return lifeOf(process) != Life::running;
}

std::string HelperChild::lastWords() const {
    std::array<char, 4096> chunk;
    ssize_t count = ::read(complaints.get(), chunk.data(), chunk.size());
    return trimmed(repairedUTF8(std::string_view(chunk.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)))));
}

void HelperChild::endInput() {
    input.close();
}

Async<void> HelperChild::ended(std::chrono::seconds patience) {
    using boost::asio::experimental::awaitable_operators::operator||;
    using Handle = boost::asio::posix::stream_descriptor;
    boost::asio::steady_timer limit(handle.get_executor(), patience);
    Async<void> ending = handle.async_wait(Handle::wait_read, boost::asio::use_awaitable);
    Async<void> waiting = limit.async_wait(boost::asio::use_awaitable);
    if (!hasEnded()) {
        co_await (std::move(ending) || std::move(waiting));
    }
    if (!hasEnded()) {
        ::kill(process, SIGKILL);
        co_await handle.async_wait(Handle::wait_read, boost::asio::use_awaitable);
    }
    if (lifeOf(process) == Life::killed) {
        co_await stopRest();
    }
}

Async<void> HelperChild::stopRest() {
    boost::asio::steady_timer pause(handle.get_executor());
    auto deadline = std::chrono::steady_clock::now() + restPatience;
    // Once: git takes a second signal for a reason to leave its half-done work where it is.
    signalSession(process, SIGTERM);
    while (!processesOfSession(process).empty() && std::chrono::steady_clock::now() < deadline) {
        pause.expires_after(restPause);
        co_await pause.async_wait(boost::asio::use_awaitable);
    }
    signalSession(process, SIGKILL);
}

}  // namespace marlet
