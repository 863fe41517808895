#include "TestSupport/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <system_error>

namespace marlet {
namespace {

constexpr int patienceMilliseconds = 30'000;

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    int readEnd = -1;
    int writeEnd = -1;
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& additions) {
    std::vector<std::string> result;
    for (char** variable = environ; *variable; ++variable) {
        std::string text = *variable;
        std::string name = text.substr(0, text.find('=') + 1);
        bool isReplaced = std::any_of(additions.begin(), additions.end(),
                                      [&](const std::string& addition) { return addition.starts_with(name); });
        if (!isReplaced) {
            result.push_back(std::move(text));
        }
    }
    result.insert(result.end(), additions.begin(), additions.end());
    return result;
}

// A file without a name that holds the input: a child that reads none of it holds up nobody.
int inputFile(const std::string& input) {
    int file = ::memfd_create("input", MFD_CLOEXEC);
    if (file < 0 || ::write(file, input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    ::lseek(file, 0, SEEK_SET);
    return file;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& input,
                           const std::vector<std::string>& environment) {
    start(arguments, inputFile(input), -1, environment);
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, ChildDescriptors descriptors,
                           const std::vector<std::string>& environment) {
    int input = descriptors.input >= 0 ? ::fcntl(descriptors.input, F_DUPFD_CLOEXEC, 0) : inputFile({});
    start(arguments, input, descriptors.inherited, environment);
}

// Closes `input`.
void ChildProcess::start(const std::vector<std::string>& arguments, int input, int inherited,
                         const std::vector<std::string>& environment) {
    Pipe out;
    Pipe err;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, out.writeEnd, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, err.writeEnd, STDERR_FILENO);
    int firstClosed = STDERR_FILENO + 1;
    if (inherited >= 0) {
        ::posix_spawn_file_actions_adddup2(&actions, inherited, firstClosed++);
    }
    // A socket of the test's would stay open in the child after the test has closed it.
    ::posix_spawn_file_actions_addclosefrom_np(&actions, firstClosed);
    std::vector<std::string> texts = arguments;
    std::vector<std::string> variables = environmentWith(environment);
    int error = ::posix_spawnp(&process, arguments.front().c_str(), &actions, nullptr, pointers(texts).data(),
                               pointers(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    for (int end : {input, out.writeEnd, err.writeEnd}) {
        ::close(end);
    }
    outputPipe = out.readEnd;
    errorPipe = err.readEnd;
    if (error != 0) {
        status = -1;
        throw std::system_error(error, std::generic_category(), arguments.front());
    }
}

ChildProcess::~ChildProcess() {
    if (!status && process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    for (int end : {outputPipe, errorPipe}) {
        if (end >= 0) {
            ::close(end);
        }
    }
}

// False when both of its outputs are closed, or nothing comes for too long.
bool ChildProcess::readMore() {
    std::array<pollfd, 2> events{pollfd{outputPipe, POLLIN, 0}, pollfd{errorPipe, POLLIN, 0}};
    if (::poll(events.data(), events.size(), patienceMilliseconds) <= 0) {
        return false;
    }
    auto take = [](const pollfd& event, int& pipe, std::string& text) {
        if ((event.revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
            return;
        }
        std::array<char, 65536> chunk;
        ssize_t count = ::read(pipe, chunk.data(), chunk.size());
        if (count > 0) {
            text.append(chunk.data(), static_cast<size_t>(count));
        } else {
            ::close(pipe);
            pipe = -1;
        }
    };
    take(events[0], outputPipe, output);
    take(events[1], errorPipe, errors);
    return outputPipe >= 0 || errorPipe >= 0;
}

std::optional<std::string> ChildProcess::readLine() {
    size_t end = std::string::npos;
    while ((end = output.find('\n', lineStart)) == std::string::npos) {
        if (!readMore()) {
            return std::nullopt;
        }
    }
    std::string line = output.substr(lineStart, end - lineStart);
    lineStart = end + 1;
    return line;
}

int ChildProcess::wait() {
    while (!status && readMore()) {
    }
    if (!status) {
        if (outputPipe >= 0 || errorPipe >= 0) {
            errors += "\n(killed by the test: it took too long)";
            ::kill(process, SIGKILL);
        }
        int ended = 0;
        ::waitpid(process, &ended, 0);
        status = WIFEXITED(ended) ? WEXITSTATUS(ended) : -WTERMSIG(ended);
    }
    return *status;
}

void ChildProcess::send(int signal) const {
    ::kill(process, signal);
}

ChildOutcome runChild(const std::vector<std::string>& arguments, const std::string& input,
                      const std::vector<std::string>& environment) {
    ChildProcess child(arguments, input, environment);
    int status = child.wait();
    return {status, child.output, child.errors};
}

}  // namespace marlet
