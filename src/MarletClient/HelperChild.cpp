#include "MarletClient/HelperChild.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <system_error>
#include <utility>

#include "MarletBase/Text.h"
#include "MarletClient/DetachedProcess.h"
#include "MarletClient/Tools.h"

namespace marlet {
namespace {

constexpr const char* programName = "MarletHelper";
constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);

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
    if (!error && isExecutable(beside.string())) {
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
    input = in.writeEnd.release();
    complaints = err.readEnd.release();
    ::fcntl(complaints, F_SETFL, O_NONBLOCK);
    Descriptor opened(processHandle(process));
    if (opened.get() >= 0) {
        handle.assign(opened.release());
    }
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
    boost::asio::steady_timer limit(handle.get_executor(), patience);
    limit.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            ::kill(process, SIGKILL);
        }
    });
    if (!hasEnded() && handle.is_open()) {
        co_await handle.async_wait(boost::asio::posix::stream_descriptor::wait_read, withoutThrowing);
    }
    limit.cancel();
    hasEnded();
}

}  // namespace marlet
