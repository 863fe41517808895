#include "MarletClient/HelperChild.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
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

[[noreturn]] void throwSystemError(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

class Descriptor {
public:
    explicit Descriptor(int opened) : value(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (value >= 0) {
            ::close(value);
        }
    }
    int get() const { return value; }
    int release() { return std::exchange(value, -1); }

private:
    int value;
};

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

HelperChild::HelperChild(const Executor& executor, const std::filesystem::path& program,
                         const std::filesystem::path& socket)
    : handle(executor) {
    Pipe in;
    Pipe err;
    process = startDetached({program.string(), "--socket", socket.string(), "--until-input-ends"}, in.readEnd.get(),
                            err.writeEnd.get());
    Descriptor opened(processHandle(process));
    if (opened.get() < 0) {
        int error = errno;
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
        throwSystemError(error, programName);
    }
    handle.assign(opened.release());
    input = in.writeEnd.release();
    complaints = err.readEnd.release();
    ::fcntl(complaints, F_SETFL, O_NONBLOCK);
}

HelperChild::~HelperChild() {
    endInput();
    ::close(complaints);
    hasEnded();
}

bool HelperChild::hasEnded() {
    isReaped = isReaped || ::waitpid(process, nullptr, WNOHANG) == process;
    return isReaped;
}

std::string HelperChild::lastWords() const {
    std::array<char, 4096> chunk;
    ssize_t count = ::read(complaints, chunk.data(), chunk.size());
    return trimmed(repairedUTF8(std::string_view(chunk.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)))));
}

void HelperChild::endInput() {
    if (input >= 0) {
        ::close(std::exchange(input, -1));
    }
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
        hasEnded();
    }
}

}  // namespace marlet
