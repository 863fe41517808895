#include <csignal>
#include <fstream>
#include <iterator>

#include "ClientScenario.h"
#include "MarletBase/Clock.h"
#include "TestSupport/DesktopSession.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeServer.h"

namespace marlet {
namespace {

constexpr const char* token = "0123456789abcdef0123456789abcdef01234567";
constexpr std::filesystem::perms ownerOnly = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

// The real program, a Forgejo server in memory, and a desktop when the test wants one.
class SecretStoreTest : public testing::Test {
protected:
    SecretStoreTest() { forge.addRepository("garden/beans"); }

    void signIn(const std::string& password = "of the session") {
        std::erase_if(client.environment,
                      [](const std::string& variable) { return variable.starts_with("DBUS_SESSION_BUS_ADDRESS="); });
        client.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + session.address());
        session.startKeyring(password);
    }
    ChildOutcome add(const std::string& name) {
        return client.run(
            {"account", "add", "forgejo", "--name", name, "--url", server.url(), "--token-stdin", "--subscribe", "all"},
            std::string(token) + "\n");
    }
    std::string fileContent() const {
        std::ifstream stream(tokenFile);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    FakeForge forge{FakeForgeKind::forgejo, [] { return SystemClock().now(); }, token};
    FakeServer server{forge};
    DesktopSession session;
    ClientScenario client;
    std::filesystem::path tokenFile = client.data / "tokens.json";
};

TEST_F(SecretStoreTest, onADesktopTheTokenIsInTheKeyringAndTheNextCommandFindsItThere) {
    signIn();

    ChildOutcome added = add("Work");

    EXPECT_EQ(added.status, 0) << added.errors;
    EXPECT_FALSE(std::filesystem::exists(tokenFile));
    client.json({"sync"});
}

TEST_F(SecretStoreTest, withoutADesktopTheTokenIsInAFileForItsOwnerAlone) {
    ChildOutcome added = add("Work");

    EXPECT_EQ(added.status, 0) << added.errors;
    EXPECT_EQ(std::filesystem::status(tokenFile).permissions(), ownerOnly);
    EXPECT_EQ(fileContent().find(token), std::string::npos);
    client.json({"sync"});
}

TEST_F(SecretStoreTest, aRemovedAccountLeavesNoTokenBehind) {
    add("Work");
    std::string id = textsOf(client.json({"account", "list"}), "accounts", "account_id").at(0);
    EXPECT_NE(fileContent().find(id), std::string::npos);

    client.json({"account", "remove", "Work"});

    EXPECT_EQ(fileContent().find(id), std::string::npos);
}

TEST_F(SecretStoreTest, whenTheTokenCannotBeRemovedTheAccountIsGoneAllTheSameAndThatIsTold) {
    add("Work");
    std::ofstream(tokenFile) << "{";

    ChildOutcome refused = client.run({"account", "remove", "Work"});

    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(
        refused.errors.starts_with("marlet: The account Work is removed, but its token may still be on this "
                                   "computer: revoke it on the server. The token file "))
        << refused.errors;
    EXPECT_TRUE(textsOf(client.json({"account", "list"}), "accounts", "account_id").empty());
}

TEST_F(SecretStoreTest, aLockedKeyringRefusesTheAccountWithWordsThatHelp) {
    signIn();
    BusConnection(session.address()).lockCollection("/org/freedesktop/secrets/collection/login");

    ChildOutcome refused = add("Work");

    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.errors.starts_with("marlet: The secret store is locked. Unlock it")) << refused.errors;
    EXPECT_EQ(refused.errors.find(token), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(tokenFile));
    EXPECT_TRUE(textsOf(client.json({"account", "list"}), "accounts", "account_id").empty());
}

TEST_F(SecretStoreTest, theDaemonGoesOnWhenTheKeyringDiesAndUsesTheNextOne) {
    signIn();
    client.startDaemon();
    EXPECT_EQ(add("Work").status, 0);
    session.stopKeyring(SIGKILL);

    ChildOutcome refused = add("Home");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.errors.starts_with("marlet: The secret store doesn't answer.")) << refused.errors;
    client.json({"sync"});

    session.startKeyring();
    EXPECT_EQ(add("Home").status, 0);
    EXPECT_EQ(client.stopDaemon(), 0);
}

}  // namespace
}  // namespace marlet
