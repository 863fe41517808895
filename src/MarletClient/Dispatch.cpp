#include "MarletClient/Dispatch.h"

#include <fmt/format.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <thread>

#include "MarletBase/Coding.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Engine.h"
#include "MarletClient/Options.h"
#include "MarletIPC/LineClient.h"

namespace marlet {
namespace {

constexpr std::chrono::minutes longestWait(5);
constexpr std::chrono::milliseconds shortestPause(1);
// Short, so that a daemon that starts gets its turn between the commands of a busy script.
constexpr std::chrono::milliseconds longestPause(10);

// The pauses between two looks at who owns the folder, up to a limit.
class Waiting {
public:
    explicit Waiting(const DataFolder& owned) : folder(owned) {}

    void pause() {
        if (std::chrono::steady_clock::now() - start > longestWait) {
            std::optional<int> holder = DataFolderLock::holder(folder);
            std::string who = holder ? fmt::format("process {}", *holder) : std::string("Another process");
            throw DispatchError(fmt::format(
                "The data folder has been in use for {} minutes ({}). Wait until that has ended, or end it.",
                longestWait.count(), who));
        }
        std::this_thread::sleep_for(length);
        length = std::min(length * 2, longestPause);
    }

private:
    const DataFolder& folder;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::chrono::milliseconds length = shortestPause;
};

Async<CommandReply> runAndDrain(Engine& engine, CommandRequest request) {
    CommandReply reply = co_await runCommand(engine, std::move(request));
    co_await engine.drain();
    co_return reply;
}

CommandRequest newsRequest(const CommandRequest& awaited) {
    return {"progress", encode(ProgressOptions{awaited.command}, DateCoding::seconds)};
}

std::string newsIn(const CommandReply& reply) {
    const JSONValue* text = reply.result["text"];
    const std::string* words = text ? text->stringValue() : nullptr;
    return words ? *words : std::string();
}

// Asks the engine beside the command that it carries out.
void askForNews(boost::asio::io_context& loop, Engine& engine, const CommandRequest& request, Progress& progress,
                int& questions) {
    ++questions;
    boost::asio::co_spawn(loop, runCommand(engine, newsRequest(request)),
                          [&](const std::exception_ptr&, const CommandReply& answer) {
                              progress.setNews(newsIn(answer));
                              --questions;
                          });
}

CommandReply runHere(const DataFolder& folder, const CommandRequest& request, Progress& progress) {
    boost::asio::io_context loop(1);
    Engine engine(loop.get_executor(), folder, std::make_shared<SystemClock>());
    std::optional<CommandReply> reply;
    std::exception_ptr failure;
    boost::asio::co_spawn(loop, runAndDrain(engine, request), [&](std::exception_ptr error, CommandReply result) {
        failure = error;
        reply = std::move(result);
    });
    int questions = 0;
    while (!reply || questions > 0) {
        loop.run_one_for(std::chrono::milliseconds(100));
        progress.advance();
        if (!reply && questions == 0 && progress.wantsNews()) {
            askForNews(loop, engine, request, progress, questions);
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    return std::move(*reply);
}

// Asks over a connection of its own, since the command's waits for its answer. A daemon that can't tell says nothing.
void askForNews(const DataFolder& folder, const CommandRequest& request, Progress& progress) {
    try {
        std::optional<LineClient> daemon = LineClient::connect(folder.controlSocket());
        std::optional<std::string> answer = daemon ? daemon->ask(newsRequest(request).line()) : std::nullopt;
        progress.setNews(answer ? newsIn(CommandReply::parse(*answer)) : "");
    } catch (const std::exception&) {
        progress.setNews("");
    }
}

// No value when the daemon stops and the command has to be carried out otherwise.
std::optional<CommandReply> ask(LineClient& daemon, const DataFolder& folder, const CommandRequest& request,
                                Progress& progress) {
    std::optional<std::string> answer = daemon.ask(request.line(), [&] {
        progress.advance();
        if (progress.wantsNews()) {
            askForNews(folder, request, progress);
        }
    });
    if (!answer) {
        throw DispatchError(
            "The running Marlet ended before it answered. Look whether the command was carried out before you repeat "
            "it.");
    }
    CommandReply reply = CommandReply::parse(*answer);
    return reply.isStopping ? std::nullopt : std::optional(std::move(reply));
}

}  // namespace

CommandReply dispatch(const DataFolder& folder, const CommandRequest& request, Progress& progress) {
    for (Waiting waiting(folder);; waiting.pause(), progress.advance()) {
        if (std::optional<DataFolderLock> lock = DataFolderLock::tryTake(folder)) {
            return runHere(folder, request, progress);
        }
        // Nobody listens when the owner is a command, or a daemon that starts or has stopped.
        if (std::optional<LineClient> daemon = LineClient::connect(folder.controlSocket())) {
            if (std::optional<CommandReply> reply = ask(*daemon, folder, request, progress)) {
                return std::move(*reply);
            }
        }
    }
}

DataFolderLock lockForDaemon(const DataFolder& folder) {
    for (Waiting waiting(folder);; waiting.pause()) {
        if (std::optional<DataFolderLock> lock = DataFolderLock::tryTake(folder)) {
            return std::move(*lock);
        }
        if (LineClient::connect(folder.controlSocket())) {
            std::optional<int> holder = DataFolderLock::holder(folder);
            throw DispatchError(
                fmt::format("Marlet already serves this data folder{}. Stop that one first, or choose another folder "
                            "with --data.",
                            holder ? fmt::format(" (process {})", *holder) : std::string()));
        }
    }
}

}  // namespace marlet
