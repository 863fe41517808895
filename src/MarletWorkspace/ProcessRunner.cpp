#include "MarletWorkspace/ProcessRunner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>

#include "MarletBase/Descriptor.h"
#include "MarletBase/PrivateFile.h"
#include "MarletBase/Text.h"
#include "MarletBase/UUID.h"
#include "MarletWorkspace/RunningCommandInternal.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds patienceAfterTermination{5};
constexpr const char* standardPath = "/usr/bin:/bin:/usr/sbin:/sbin";

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// The calls that are under way, for stopAllCommands.
class RunningCalls {
public:
    // Never destroyed: a thread may still be in a call when the process ends.
    static RunningCalls& shared() {
        static auto& calls = *new RunningCalls;
        return calls;
    }

    void begin(CommandNews& news) {
        std::scoped_lock lock(mutex);
        if (isStopping) {
            errno = ECANCELED;
            fail("Commands are being stopped");
        }
        underWay.insert(&news);
    }

    void end(CommandNews& news) {
        std::scoped_lock lock(mutex);
        underWay.erase(&news);
        hasEnded.notify_all();
    }

    void stop() {
        std::unique_lock lock(mutex);
        isStopping = true;
        for (CommandNews* news : underWay) {
            news->askToStop();
        }
        hasEnded.wait(lock, [this] { return underWay.empty(); });
    }

private:
    RunningCalls() = default;

    std::mutex mutex;
    std::condition_variable hasEnded;
    bool isStopping = false;
    std::set<CommandNews*> underWay;
};

// A call's entry among those under way, from before its command begins.
class RunningCall {
public:
    RunningCall() { RunningCalls::shared().begin(news); }
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;
    ~RunningCall() { RunningCalls::shared().end(news); }

    CommandNews news;
};

// For its user alone.
Descriptor newFile(const std::filesystem::path& path) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    // Where this process has no standard input or output, the child's own would take this one's place.
    if (file.get() >= 0 && file.get() <= STDERR_FILENO) {
        file = Descriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
    if (file.get() < 0) {
        fail("Couldn't create " + path.string());
    }
    return file;
}

std::filesystem::path temporaryFolder() {
    const char* variable = std::getenv("TMPDIR");
    return variable && *variable != '\0' ? variable : "/tmp";
}

// A new folder for what one command writes, for its user alone. It goes with all it holds.
class OutputFolder {
public:
    OutputFolder() : folder(temporaryFolder() / ("marlet-run-" + UUID::random().text())) {
        std::error_code reason;
        std::filesystem::create_directories(folder.parent_path(), reason);
        if (::mkdir(folder.c_str(), S_IRWXU) != 0) {
            fail("Couldn't create " + folder.string());
        }
    }
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder() {
        ::unlink(output().c_str());
        ::unlink(errors().c_str());
        // The common way takes no descriptor, so it works when there are no more.
        if (::rmdir(folder.c_str()) != 0) {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        }
    }

    std::filesystem::path output() const { return folder / "out"; }
    std::filesystem::path errors() const { return folder / "err"; }

private:
    std::filesystem::path folder;
};

// The first of several values is the one that counts, as for getenv.
std::map<std::string, std::string> inheritedEnvironment() {
    std::map<std::string, std::string> result;
    for (char** variable = environ; variable && *variable; ++variable) {
        std::string_view text = *variable;
        size_t nameLength = text.find('=');
        if (nameLength != std::string_view::npos) {
            result.emplace(text.substr(0, nameLength), text.substr(nameLength + 1));
        }
    }
    return result;
}

std::vector<std::string> environmentFor(const Command& command, const std::vector<std::string>& extraPath) {
    std::map<std::string, std::string> variables = inheritedEnvironment();
    std::string& path = variables.emplace("PATH", standardPath).first->second;
    for (const std::string& folder : extraPath) {
        path.append(":").append(folder);
    }
    for (const auto& [name, value] : command.environment) {
        variables[name] = value;
    }
    std::vector<std::string> result;
    result.reserve(variables.size());
    for (const auto& [name, value] : variables) {
        result.emplace_back(name).append("=").append(value);
    }
    return result;
}

// Any number is a time to wait: none for one that isn't positive, and years are for ever.
CommandNews::Time timeAfter(double seconds) {
    constexpr double longest = 1e9;
    std::chrono::duration<double> wait(seconds > 0 ? std::min(seconds, longest) : 0);
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(wait);
}

// Empty when it isn't UTF-8, or can't be read: the command may have removed it, or there may not be the memory.
std::string textOf(const std::filesystem::path& file) {
    try {
        std::optional<std::string> content = readPrivateFile(file);
        return content && isValidUTF8(*content) ? std::move(*content) : std::string();
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace

CommandResult ProcessRunner::run(const Command& command) const {
    RunningCall call;
    std::vector<std::string> environment = environmentFor(command, extraPath);
    OutputFolder folder;
    Descriptor output = newFile(folder.output());
    Descriptor errors = newFile(folder.errors());
    RunningCommand running(command, std::move(environment), {output.get(), errors.get()}, call.news);
    bool timedOut = !call.news.awaitEnd(timeAfter(command.timeout));
    if (timedOut) {
        running.stop(patienceAfterTermination);
    }
    CommandResult result{.status = running.takeStatus(), .timedOut = timedOut};
    result.output = textOf(folder.output());
    result.errorOutput = textOf(folder.errors());
    return result;
}

void stopAllCommands() {
    RunningCalls::shared().stop();
}

}  // namespace marlet
