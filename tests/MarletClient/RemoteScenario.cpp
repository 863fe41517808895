#include "RemoteScenario.h"

#include "MarletBase/Clock.h"

namespace marlet {

RemoteScenario::RemoteScenario(FakeForgeKind kind, Way chosenWay)
    : way(chosenWay),
      isGitHub(kind == FakeForgeKind::github),
      forge(
          kind, [] { return SystemClock().now(); }, token),
      server(std::make_unique<FakeServer>(forge)) {
    forge.addRepository("acme/rocket");
    forge.addRepository("acme/launchpad");
    for (const char* title : {"Fuel the tanks", "Paint the fins", "Count down"}) {
        forge.addIssue("acme/rocket", {.title = title});
    }
    if (way == Way::withDaemon) {
        client.startDaemon();
    }
}

RemoteScenario::~RemoteScenario() {
    if (way == Way::withDaemon) {
        EXPECT_EQ(client.stopDaemon(), 0);
    }
    EXPECT_EQ(forge.violations(), std::vector<std::string>()) << forge.printedLog();
}

ClientScenario::Arguments RemoteScenario::addition(const std::vector<std::string>& subscribed) const {
    ClientScenario::Arguments line{
        "account",           "add",          isGitHub ? "github" : "forgejo", "--name", "Work", "--url",
        server->url() + "/", "--token-stdin"};
    for (const std::string& project : subscribed) {
        line.insert(line.end(), {"--subscribe", project});
    }
    return line;
}

JSONValue RemoteScenario::addAccount(const std::vector<std::string>& subscribed) {
    return client.json(addition(subscribed), 0, token + "\n");
}

std::string RemoteScenario::additionFailure(const std::string& givenToken) {
    ClientScenario::Arguments line = addition();
    JSONValue told = client.json(line, 1, givenToken);
    return textOf(memberOf(told, "error"), "message");
}

std::string RemoteScenario::accountError() {
    JSONValue accounts = memberOf(client.json({"account", "list"}), "accounts");
    for (const JSONValue& account : *accounts.arrayValue()) {
        if (textOf(account, "name") == "Work") {
            return textOf(account, "sync_error");
        }
    }
    return "(no account)";
}

JSONValue RemoteScenario::task(int64_t number) {
    return client.json({"task", "show", std::to_string(number), "--project", "acme/rocket"});
}

std::vector<std::string> RemoteScenario::titles() {
    JSONValue listed = client.json({"task", "list", "--project", "acme/rocket", "--all", "--limit", "1000"});
    std::vector<std::string> titles = textsOf(listed, "tasks", "title");
    std::sort(titles.begin(), titles.end());
    return titles;
}

size_t RemoteScenario::taskCount() {
    return memberOf(client.json({"task", "list", "--all", "--limit", "10000"}), "tasks").arrayValue()->size();
}

JSONValue RemoteScenario::edit(int64_t number, const ClientScenario::Arguments& changes, int status) {
    ClientScenario::Arguments line{"task", "edit", std::to_string(number), "--project", "acme/rocket"};
    line.insert(line.end(), changes.begin(), changes.end());
    return client.json(line, status);
}

void RemoteScenario::restartDaemon() {
    client.stopDaemon();
    client.startDaemon();
}

}  // namespace marlet
