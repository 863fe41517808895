#include "MarletClient/Client.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "MarletBase/Coding.h"
#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/Daemon.h"
#include "MarletClient/Dispatch.h"
#include "MarletClient/Doctor.h"
#include "MarletClient/LinkOpener.h"
#include "MarletClient/Options.h"
#include "MarletClient/Presentation.h"
#include "MarletClient/TokenInput.h"
#include "MarletClient/WorkOptions.h"

namespace marlet {
namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int misused = 2;

// What is opened later must not become a standard file by accident, and get what is printed. Each is opened the wrong
// way round: using one that was closed stays an error.
void occupyStandardFiles() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

// False when the output couldn't be written, such as on a full disk.
bool print(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

void printError(const std::string& message) {
    // When nobody reads standard error, the exit status still tells.
    static_cast<void>(std::fputs(fmt::format("marlet: {}\n", withoutControlCharacters(message)).c_str(), stderr));
}

bool printJSON(const JSONValue& value) {
    return print(harmlessJSON(value.data()) + "\n");
}

int fail(const std::string& message, bool wantsJSON, int status) {
    printError(message);
    if (wantsJSON) {
        printJSON(JSONValue::object({{"error", JSONValue::object({{"message", message}})}}));
    }
    return status;
}

int show(const CommandLine& line, const CommandReply& reply) {
    bool isPrinted = true;
    if (line.wantsJSON && !reply.result.isNull()) {
        isPrinted = printJSON(reply.result);
    } else if (!line.wantsJSON) {
        isPrinted = print(presented(line.request.command, reply, Terminal::of(STDOUT_FILENO)));
    }
    if (reply.error) {
        // One JSON value at most: a failure that has a result is told by it.
        return fail(*reply.error, line.wantsJSON && reply.result.isNull(), failed);
    }
    return isPrinted ? done : fail("The output can't be written.", false, failed);
}

int runServe(const CommandLine& line, const DataFolder& folder) {
    serve(folder, decoded<ServeOptions>(line.request.options), [&](const JSONValue& facts) {
        if (line.wantsJSON) {
            printJSON(facts);
        } else {
            print(
                fmt::format("Marlet is ready and serves agents at {}. The token: marlet mcp show. Stop with Ctrl-C.\n",
                            *facts["endpoint"]->stringValue()));
        }
    });
    return done;
}

// What a command that takes long is at, until it tells more.
std::string workingWords(const CommandRequest& request) {
    if (request.command == "account add" || request.command == "account token") {
        return "Asking the server for its projects";
    }
    if (request.command == doctorName) {
        return "Looking around";
    }
    return request.command == "sync" ? "Syncing" : "Working";
}

CommandReply carryOut(const CommandLine& line, const DataFolder& folder) {
    Progress progress(Terminal::of(STDERR_FILENO).isTerminal && !line.wantsJSON, workingWords(line.request));
    return dispatch(folder, line.request, progress);
}

// Comes also to those whose engine can't be started.
CommandReply examine(const CommandLine& line) {
    try {
        return carryOut(line, DataFolder::open(line.dataFolder));
    } catch (...) {
        return examineWithoutEngine(line.dataFolder, decoded<DoctorOptions>(line.request.options),
                                    localizedDescription(std::current_exception()));
    }
}

int follow(CommandLine line) {
    if (line.information) {
        bool isScript = line.request.command == completionCommand;
        bool isPrinted = line.wantsJSON && isScript ? printJSON(JSONValue::object({{"script", *line.information}}))
                                                    : print(*line.information);
        return isPrinted ? done : failed;
    }
    if (line.request.command == doctorName) {
        return show(line, examine(line));
    }
    DataFolder folder = DataFolder::open(line.dataFolder);
    if (line.request.command == "serve") {
        return runServe(line, folder);
    }
    supplyToken(line, [&] { return carryOut(line, folder); });
    CommandReply reply = carryOut(line, folder);
    if (line.request.command == "work") {
        handOver(reply, !decoded<WorkOptions>(line.request.options).noOpen);
    }
    return show(line, reply);
}

}  // namespace

int runClient(const std::vector<std::string>& arguments) {
    occupyStandardFiles();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // A file that may not grow any further is an error like a full disk.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    bool wantsJSON = asksForJSON(arguments);
    try {
        return follow(parseCommandLine(arguments));
    } catch (const UsageError& error) {
        return fail(error.errorDescription(), wantsJSON, misused);
    } catch (...) {
        return fail(localizedDescription(std::current_exception()), wantsJSON, failed);
    }
}

}  // namespace marlet
