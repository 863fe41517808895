#include "MarletHelper/Helper.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "MarletHelper/HelperOptions.h"
#include "MarletHelper/HelperSurroundings.h"
#include "MarletHelper/RequestThreads.h"
#include "MarletIPC/InheritedListener.h"
#include "MarletWorkspace/ProcessRunner.h"

namespace marlet {
namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int misused = 2;

// Each may be busy for a quarter of an hour, with a clone.
constexpr size_t threadCount = 8;
// For answers to get out once the commands behind them have been stopped.
constexpr std::chrono::seconds sessionPatience(5);

constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);

void printError(const std::string& text) {
    // When nobody reads standard error, the exit status still tells.
    static_cast<void>(std::fputs((text + "\n").c_str(), stderr));
}

// What is opened later must not become a standard file by accident.
void openMissingStandardFiles() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(::open("/dev/null", O_RDWR));
        }
    }
}

Async<void> waitForEndOfInput(boost::asio::posix::stream_descriptor& input) {
    for (;;) {
        auto [error] = co_await input.async_wait(boost::asio::posix::stream_descriptor::wait_read, withoutThrowing);
        if (error == boost::asio::error::operation_aborted) {
            co_return;
        }
        // A file can't be waited for, but reading one doesn't block.
        std::array<char, 4096> discarded;
        ssize_t count = ::read(input.native_handle(), discarded.data(), discarded.size());
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            co_return;
        }
    }
}

class HelperProcess {
public:
    HelperProcess(boost::asio::io_context& loop, CheckoutService checkouts)
        : service(std::move(checkouts)),
          threads([this](const HelperRequest& request) { return service.handle(request); }, threadCount),
          server(loop.get_executor(), threads.service()),
          signals(loop, SIGINT, SIGTERM, SIGHUP),
          input(loop, ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {}

    Async<void> run(std::optional<InheritedListener> inherited, HelperOptions options);

private:
    Async<void> waitForEnd(bool untilInputEnds);

    CheckoutService service;
    RequestThreads threads;
    LineServer server;
    boost::asio::signal_set signals;  // kept to the end: who asks again doesn't cut short what is being stopped
    boost::asio::posix::stream_descriptor input;
};

Async<void> HelperProcess::run(std::optional<InheritedListener> inherited, HelperOptions options) {
    if (inherited) {
        co_await server.listen(std::move(*inherited));
    } else {
        std::filesystem::path socket = options.socket ? *options.socket : defaultHelperSocket();
        co_await server.listen(std::move(socket));
    }
    co_await waitForEnd(options.untilInputEnds);
    co_await server.stop();
    co_await RequestThreads::runAside(stopAllCommands);
    co_await server.drain(sessionPatience);
}

Async<void> HelperProcess::waitForEnd(bool untilInputEnds) {
    using boost::asio::experimental::awaitable_operators::operator||;
    Async<int> signal = signals.async_wait(boost::asio::use_awaitable);
    if (untilInputEnds) {
        Async<void> inputEnd = waitForEndOfInput(input);
        co_await (std::move(signal) || std::move(inputEnd));
    } else {
        co_await std::move(signal);
    }
}

void serve(const HelperOptions& options) {
    openMissingStandardFiles();
    std::optional<InheritedListener> inherited = InheritedListener::take();
    dropRepositoryVariables();
    CheckoutService checkouts = liveCheckoutService();
    // Commands begin here, and the folder that the helper was started in may be removed meanwhile.
    static_cast<void>(::chdir("/"));
    boost::asio::io_context loop(1);
    HelperProcess helper(loop, std::move(checkouts));
    std::exception_ptr failure;
    boost::asio::co_spawn(loop, helper.run(std::move(inherited), options), [&](std::exception_ptr error) {
        failure = error;
        loop.stop();
    });
    loop.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace

int runHelper(const std::vector<std::string>& arguments) {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // Whoever started this may ignore it, which is inherited: the ends of commands would never be told.
    static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
    try {
        HelperOptions options = HelperOptions::parse(arguments);
        if (options.wantsUsage) {
            return std::puts(helperUsage) >= 0 ? done : failed;
        }
        serve(options);
        return done;
    } catch (const HelperUsageError& error) {
        printError(fmt::format("MarletHelper: {}\n{}", error.errorDescription(), helperUsage));
        return misused;
    } catch (...) {
        printError("MarletHelper couldn't listen: " + localizedDescription(std::current_exception()));
        return failed;
    }
}

}  // namespace marlet
