#include "HelperScenario.h"
#include "TestSupport/Await.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <utility>

namespace marlet {
namespace {

constexpr int patienceMilliseconds = 30'000;

}  // namespace

const std::string helperProgram = MARLET_HELPER_PROGRAM;

HelperScenario::HelperScenario() {
    std::filesystem::create_directory(home);
    std::filesystem::create_directory(temporary);
}

std::unique_ptr<ChildProcess> HelperScenario::start(const std::vector<std::string>& furtherEnvironment,
                                                    ChildDescriptors descriptors,
                                                    const std::vector<std::string>& furtherArguments) const {
    std::vector<std::string> arguments{helperProgram, "--socket", socket.string()};
    arguments.insert(arguments.end(), furtherArguments.begin(), furtherArguments.end());
    std::unique_ptr<ChildProcess> helper = launch(arguments, furtherEnvironment, descriptors);
    EXPECT_TRUE(listens(socket));
    return helper;
}

std::unique_ptr<ChildProcess> HelperScenario::launch(const std::vector<std::string>& arguments,
                                                     const std::vector<std::string>& furtherEnvironment,
                                                     ChildDescriptors descriptors) const {
    std::vector<std::string> environment = furtherEnvironment;  // the first of two values counts
    environment.insert(environment.end(), {"HOME=" + home.string(), "TMPDIR=" + temporary.string(),
                                           "XDG_RUNTIME_DIR=" + folder.path().string()});
    return std::make_unique<ChildProcess>(arguments, descriptors, environment);
}

ChildOutcome HelperScenario::runToEnd(const std::vector<std::string>& arguments,
                                      const std::vector<std::string>& furtherEnvironment) const {
    std::unique_ptr<ChildProcess> helper = launch(arguments, furtherEnvironment);
    int status = helper->wait();
    return {status, helper->output, helper->errors};
}

bool HelperScenario::listens(const std::filesystem::path& path) {
    return awaitListener(path, [&] { return LineClient::connect(path).has_value(); });
}

LineClient HelperScenario::connect() const {
    return LineClient::connect(socket).value();
}

std::optional<std::string> HelperScenario::ask(const std::string& line) const {
    return connect().ask(line);
}

HelperReply HelperScenario::ask(const HelperRequest& request) const {
    return HelperReply::parse(ask(request.line()).value_or("(no answer)"));
}

int HelperScenario::sendOnly(const std::string& line) const {
    int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket.string().copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string text = line + "\n";
    EXPECT_EQ(::send(connection, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    return connection;
}

std::string HelperScenario::whatClaudePrints(const std::string& commands) {
    ToolSettings settings{GitChoice::custom, "/nowhere/git", script("claude", commands).string()};
    HelperReply reply = ask(HelperRequest{HelperRequest::LocateTools{settings}});
    return std::get<HelperReply::Tools>(reply.value).report.claudeVersion.value_or("(not run)");
}

std::filesystem::path HelperScenario::script(const std::string& name, const std::string& commands) const {
    std::filesystem::path path = folder.path() / name;
    std::ofstream(path) << "#!/bin/sh\n" << commands << "\n";
    ::chmod(path.c_str(), S_IRWXU);
    return path;
}

NamedPipe::NamedPipe(const std::filesystem::path& path) {
    EXPECT_EQ(::mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
}

void NamedPipe::write(const std::string& text) const {
    EXPECT_EQ(::write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string NamedPipe::readLine() const {
    std::string line;
    pollfd event{descriptor, POLLIN, 0};
    char next = 0;
    while (::poll(&event, 1, patienceMilliseconds) == 1 && ::read(descriptor, &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

void NamedPipe::close() {
    if (descriptor >= 0) {
        ::close(std::exchange(descriptor, -1));
    }
}

}  // namespace marlet
