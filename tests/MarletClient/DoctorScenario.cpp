#include "DoctorScenario.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>

#include "MarletBase/Clock.h"
#include "TestSupport/Await.h"

namespace marlet {

JSONValue checkOf(const JSONValue& result, const std::string& name, const std::string& subject) {
    const JSONValue checks = memberOf(result, "checks");
    for (const JSONValue& check : checks.arrayValue() ? *checks.arrayValue() : JSONValue::Array()) {
        if (textOf(check, "name") == name && (subject.empty() || textOf(check, "subject") == subject)) {
            return check;
        }
    }
    return {};
}

DoctorScenario::DoctorScenario()
    : forge(
          FakeForgeKind::forgejo, [] { return SystemClock().now(); }, token),
      server(std::make_unique<FakeServer>(forge)) {
    forge.addRepository("garden/beans");
    std::filesystem::path home = client.folder.path() / "home";
    std::filesystem::create_directories(home);
    std::filesystem::create_directories(tools);
    install("git", "git version 9.9");
    install("claude", "7.7 (played)");
    install("xdg-open", "");
    client.environment.push_back("HOME=" + home.string());
    client.environment.push_back("SHELL=/bin/sh");
    client.environment.push_back("PATH=" + tools.string());
}

void DoctorScenario::install(const std::string& name, const std::string& words) const {
    std::ofstream(tool(name)) << "#!/bin/sh\necho '" << words << "'\n";
    ::chmod(tool(name).c_str(), 0755);
}

JSONValue DoctorScenario::examine(int status) {
    ChildOutcome told = client.run({"doctor"});
    EXPECT_EQ(told.status, status) << told.output << told.errors;
    ChildOutcome outcome = client.run({"--json", "doctor"});
    EXPECT_EQ(outcome.status, status) << outcome.output << outcome.errors;
    for (const std::string& text : {told.output, told.errors, outcome.output, outcome.errors}) {
        EXPECT_EQ(text.find(token), std::string::npos) << text;
    }
    EXPECT_EQ(outcome.errors.empty(), status == 0) << outcome.errors;
    return JSONValue::decode(outcome.output);
}

std::vector<std::string> DoctorScenario::messages(const JSONValue& result, const std::string& name) {
    std::vector<std::string> found;
    const JSONValue checks = memberOf(result, "checks");
    for (const JSONValue& check : checks.arrayValue() ? *checks.arrayValue() : JSONValue::Array()) {
        if (textOf(check, "name") == name) {
            found.push_back(textOf(check, "message"));
        }
    }
    return found;
}

void DoctorScenario::addRemoteAccount(const std::string& name) {
    client.json(
        {"account", "add", "forgejo", "--name", name, "--url", server->url(), "--token-stdin", "--subscribe", "all"}, 0,
        token + "\n");
}

void DoctorScenario::damage(const std::string& database) const {
    constexpr std::streamoff headSize = std::streamoff{64} << 10;
    std::filesystem::path file = client.data / (database + ".sqlite");
    std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(headSize);
    auto size = static_cast<std::streamoff>(std::filesystem::file_size(file));
    ASSERT_GT(size, headSize);
    stream << std::string(static_cast<size_t>(size - headSize), 'x');
}

void DoctorScenario::waitForSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_TRUE(awaitListener(path, [&] {
        int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        bool isThere = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        ::close(descriptor);
        return isThere;
    }));
}

}  // namespace marlet
