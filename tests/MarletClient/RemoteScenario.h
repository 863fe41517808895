#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ClientScenario.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeServer.h"

namespace marlet {

// The real program and a GitHub or Forgejo on a loopback port, which holds acme/rocket with three issues and
// acme/launchpad with none. A test that ends well leaves nothing that the service would not have been asked so.
class RemoteScenario {
public:
    enum class Way { withDaemon, inOwnProcess };

    // GitHub's kind of token decides whether its notifications are read: this one's are.
    inline static const std::string token = "ghp_0nlyTh3S3rv3rKn0ws";

    explicit RemoteScenario(FakeForgeKind kind = FakeForgeKind::github, Way way = Way::withDaemon);
    ~RemoteScenario();

    // `account add` with the token on standard input.
    ClientScenario::Arguments addition(const std::vector<std::string>& subscribed = {}) const;
    JSONValue addAccount(const std::vector<std::string>& subscribed = {});
    // What `account add` says when it fails.
    std::string additionFailure(const std::string& givenToken = token);

    JSONValue sync(int status = 0) { return client.json({"sync"}, status); }
    // The sync_error of the one account.
    std::string accountError();
    // By number, of acme/rocket.
    JSONValue task(int64_t number);
    std::vector<std::string> titles();
    size_t taskCount();
    JSONValue edit(int64_t number, const ClientScenario::Arguments& changes, int status = 0);
    size_t requests(const std::string& beginning = {}) const { return forge.count(beginning); }

    void restartDaemon();

    const Way way;
    const bool isGitHub;
    ClientScenario client;
    FakeForge forge;
    std::unique_ptr<FakeServer> server;
};

}  // namespace marlet
