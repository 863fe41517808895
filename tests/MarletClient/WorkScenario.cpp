#include "WorkScenario.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <fstream>

#include "MarletBase/Clock.h"
#include "MarletBase/URL.h"
#include "TestSupport/Await.h"

namespace marlet {
namespace {

constexpr const char* repository = "acme/rocket";

// Found again in the environment of every process that a scenario starts.
std::string mark(const std::filesystem::path& home) {
    return "HOME=" + home.string();
}

std::string withBlanks(std::string text) {
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

}  // namespace

WorkScenario::WorkScenario(Way way)
    : forge(
          FakeForgeKind::github, [] { return SystemClock().now(); }, token),
      server(std::make_unique<FakeServer>(forge)) {
    std::filesystem::create_directories(home());
    std::filesystem::create_directories(tools());
    client.environment.push_back(mark(home()));
    client.environment.push_back("PATH=" + tools().string());
    for (const char* name : {"git", "sh", "sleep"}) {
        std::filesystem::create_symlink(std::filesystem::path("/usr/bin") / name, tools() / name);
    }
    addProgram("claude");
    addProgram("xdg-open");
    git.addRepository(repository);
    git.commit(repository, "refs/pull/4/head", {{"fins.txt", "Painted.\n"}});
    FakeRepository rocket{.fullName = repository};
    rocket.pageURL = "https://forge.example/acme/rocket";
    rocket.cloneURL = GitFixture::https(repository);
    rocket.sshURL = GitFixture::ssh(repository);
    forge.addRepository(rocket);
    forge.addIssue(repository, {.title = "Fuel the tanks", .body = "With care."});
    forge.addIssue(repository, {.title = "Paint the fins"});
    forge.addIssue(repository, {.title = "Count down"});
    forge.addIssue(repository, {.title = "Paint them red", .isPullRequest = true});
    if (way == Way::withDaemon) {
        startDaemon();
    }
}

WorkScenario::~WorkScenario() {
    if (isServed) {
        stopDaemon();
    }
    for (const auto& [process, line] : commandLines()) {
        EXPECT_TRUE(awaitEndOf(process)) << line;
    }
    EXPECT_EQ(processes(), std::vector<std::string>());
    EXPECT_EQ(forge.violations(), std::vector<std::string>()) << forge.printedLog();
}

void WorkScenario::changeRepository(const std::function<void(FakeRepository& repository)>& change) {
    forge.with([&](FakeForgeState& state) { change(state.repository(repository)); });
}

void WorkScenario::addAccount() {
    client.json({"account", "add", "github", "--name", "Work", "--url", server->url() + "/", "--token-stdin",
                 "--subscribe", repository},
                0, token + "\n");
}

void WorkScenario::startDaemon() {
    client.startDaemon();
    isServed = true;
}

void WorkScenario::stopDaemon() {
    isServed = false;
    EXPECT_EQ(client.stopDaemon(), 0);
}

ClientScenario::Arguments WorkScenario::named(const std::string& command, int number,
                                              const ClientScenario::Arguments& arguments) {
    ClientScenario::Arguments line{"work"};
    if (!command.empty()) {
        line.push_back(command);
    }
    line.insert(line.end(), {std::to_string(number), "--project", repository});
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

JSONValue WorkScenario::work(int number, const ClientScenario::Arguments& arguments, int status) {
    return client.json(named("", number, arguments), status);
}

std::string WorkScenario::workError(int number, const ClientScenario::Arguments& arguments) {
    return client.error(named("", number, arguments));
}

std::string WorkScenario::shownWork(int number, const ClientScenario::Arguments& arguments) {
    ChildOutcome outcome = client.run(named("", number, arguments));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    return outcome.output;
}

void WorkScenario::addProgram(const std::string& name, const std::string& script) {
    std::filesystem::path file = tools() / name;
    std::filesystem::remove(file);
    std::ofstream(file) << fmt::format("#!/bin/sh\nprintf '%s\\n' \"$*\" >> '{}'\n{}\n",
                                       (git.folder() / (name + ".log")).string(), script);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

void WorkScenario::removeProgram(const std::string& name) const {
    std::filesystem::remove(tools() / name);
}

std::vector<std::string> WorkScenario::record(const std::string& name) const {
    std::vector<std::string> lines;
    std::ifstream stream(git.folder() / (name + ".log"));
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::map<int, std::string> WorkScenario::commandLines() const {
    std::map<int, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string name = entry.path().filename().string();
        bool isProcess =
            std::all_of(name.begin(), name.end(), [](unsigned char letter) { return std::isdigit(letter); });
        std::string environment = isProcess ? contentOf(entry.path() / "environ") : std::string();
        if (('\0' + environment).find('\0' + mark(home()) + '\0') != std::string::npos) {
            std::string words = withBlanks(contentOf(entry.path() / "cmdline"));
            // What has ended but waits to be seen has no words left.
            if (!words.empty()) {
                found.emplace(std::stoi(name), words);
            }
        }
    }
    return found;
}

std::vector<std::string> WorkScenario::processes() const {
    std::vector<std::string> lines;
    for (const auto& [process, line] : commandLines()) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<int> WorkScenario::processesNamed(const std::string& program) const {
    std::vector<int> found;
    for (const auto& [process, line] : commandLines()) {
        if (std::filesystem::path(line.substr(0, line.find(' '))).filename() == program) {
            found.push_back(process);
        }
    }
    return found;
}

std::string linkItem(const std::string& link, const std::string& key) {
    std::string query = URL::parse(link).value().components().query.value_or("");
    size_t place = ("&" + query).find("&" + key + "=");
    if (place == std::string::npos) {
        return "(none)";
    }
    std::string rest = query.substr(place + key.size() + 1);
    return percentDecoded(rest.substr(0, rest.find('&')));
}

}  // namespace marlet
