#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "MarletKit/KeychainCredentialStore.h"
#include "MarletKit/KeychainError.h"
#include "MarletKit/PlatformPasswordItems.h"
#include "MarletKit/SecurityKeychainItems.h"
#include "TestSupport/DesktopSession.h"
#include "TestSupport/EnvironmentVariable.h"

namespace marlet {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* service = "io.example.Marlet";
constexpr const char* loginCollection = "/org/freedesktop/secrets/collection/login";
constexpr std::chrono::milliseconds shortPatience(200);
constexpr std::chrono::seconds farTooLong(8);

// A real keyring daemon on a bus of the test's own.
class SecretServiceTest : public testing::Test {
protected:
    SecretServicePasswordItems secrets(std::chrono::milliseconds patience = std::chrono::seconds(10)) const {
        return SecretServicePasswordItems({session.address(), patience});
    }
    KeychainCredentialStore store() const {
        return KeychainCredentialStore(std::make_shared<SecurityKeychainItems>(
            service, std::make_shared<PlatformPasswordItems>(
                         tokenFile, SecretServiceOptions{session.address(), std::chrono::seconds(10)})));
    }
    static PasswordQuery query(const std::string& account = "A") { return {service, account, true}; }

    static int32_t statusOfReading(PasswordItems& items) {
        std::optional<std::string> data;
        return items.copyMatching(query(), data);
    }
    static std::optional<std::string> read(PasswordItems& items, const std::string& account = "A") {
        std::optional<std::string> data;
        EXPECT_EQ(items.copyMatching(query(account), data), keychainDone);
        return data;
    }

    DesktopSession session;
    TemporaryFolder folder;
    std::filesystem::path tokenFile = folder.path() / "tokens.json";
};

TEST_F(SecretServiceTest, aSecretIsStoredReadChangedAndDeleted) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    EXPECT_EQ(statusOfReading(items), keychainItemNotFound);
    EXPECT_EQ(items.update(query(), "early"), keychainItemNotFound);
    EXPECT_EQ(items.remove(query()), keychainItemNotFound);

    EXPECT_EQ(items.add(query(), "first", "A label"), keychainDone);
    EXPECT_EQ(read(items), "first");

    EXPECT_EQ(items.update(query(), "second"), keychainDone);
    EXPECT_EQ(read(items), "second");

    EXPECT_EQ(items.remove(query()), keychainDone);
    EXPECT_EQ(statusOfReading(items), keychainItemNotFound);
}

TEST_F(SecretServiceTest, secretsOfTwoAccountsAndAnotherServiceAreKeptApart) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    PasswordQuery elsewhere{"io.example.Other", "A", true};
    items.add(query("A"), "one", "label");
    items.add(query("B"), "two", "label");
    items.add(elsewhere, "three", "label");

    EXPECT_EQ(items.remove(query("B")), keychainDone);

    EXPECT_EQ(read(items, "A"), "one");
    std::optional<std::string> data;
    EXPECT_EQ(items.copyMatching(query("B"), data), keychainItemNotFound);
    EXPECT_EQ(items.copyMatching(elsewhere, data), keychainDone);
    EXPECT_EQ(data, "three");
}

TEST_F(SecretServiceTest, anItemThatCameMeanwhileIsReplaced) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "first", "label");

    EXPECT_EQ(items.add(query(), "second", "label"), keychainDone);

    EXPECT_EQ(read(items), "second");
    items.remove(query());
    EXPECT_EQ(statusOfReading(items), keychainItemNotFound);
}

TEST_F(SecretServiceTest, anyTextSurvives) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    std::string text = "Schl\u00FCssel \U0001F511\nsecond line";
    std::string large(100'000, 'x');

    items.add(query("A"), text, "label");
    items.add(query("B"), large, "label");
    items.add(query("C"), "", "label");

    EXPECT_EQ(read(items, "A"), text);
    EXPECT_EQ(read(items, "B"), large);
    EXPECT_EQ(read(items, "C"), "");
}

TEST_F(SecretServiceTest, secretsOutliveTheDaemon) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "secret", "label");
    session.stopKeyring(SIGTERM);

    session.startKeyring();

    EXPECT_EQ(read(items), "secret");
}

TEST_F(SecretServiceTest, aLockedCollectionIsToldAtOnceAndNobodyIsAsked) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "secret", "label");
    BusConnection(session.address()).lockCollection(loginCollection);
    Clock::time_point start = Clock::now();

    EXPECT_EQ(statusOfReading(items), keychainLocked);
    EXPECT_EQ(items.add(query("B"), "secret", "label"), keychainLocked);
    EXPECT_EQ(items.update(query(), "secret"), keychainLocked);
    EXPECT_EQ(items.remove(query()), keychainLocked);

    std::optional<std::string> data;
    EXPECT_EQ(items.copyMatching(query("B"), data), keychainLocked) << "What isn't seen may be there all the same.";
    EXPECT_LT(Clock::now() - start, farTooLong);
}

TEST_F(SecretServiceTest, aKeyringThatNobodyUnlockedYetIsLocked) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "secret", "label");
    session.stopKeyring(SIGTERM);
    session.startKeyring("");

    EXPECT_EQ(statusOfReading(items), keychainLocked);
    EXPECT_EQ(items.update(query(), "other"), keychainLocked);

    session.stopKeyring(SIGTERM);
    session.startKeyring();
    EXPECT_EQ(read(items), "secret");
}

TEST_F(SecretServiceTest, aServiceWithoutAKeyringSaysSo) {
    session.startKeyring("");
    SecretServicePasswordItems items = secrets();

    EXPECT_EQ(statusOfReading(items), keychainItemNotFound);
    EXPECT_EQ(items.add(query(), "secret", "label"), keychainHasNoDefault);
}

TEST_F(SecretServiceTest, aDaemonThatWasKilledIsGoneAndItsSuccessorIsUsed) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "secret", "label");
    session.stopKeyring(SIGKILL);

    EXPECT_EQ(statusOfReading(items), keychainGone);
    EXPECT_EQ(items.add(query(), "other", "label"), keychainGone);

    session.startKeyring();
    EXPECT_EQ(read(items), "secret");
}

TEST_F(SecretServiceTest, aBusThatWasKilledIsGoneAndItsSuccessorIsUsed) {
    session.startKeyring();
    SecretServicePasswordItems items = secrets();
    items.add(query(), "secret", "label");
    session.bus().send(SIGKILL);
    session.bus().wait();

    EXPECT_EQ(statusOfReading(items), keychainGone);

    session.restartBus();
    session.startKeyring();
    EXPECT_EQ(read(items), "secret");
}

TEST_F(SecretServiceTest, aDaemonThatHangsIsGivenUpAndWorksAgainLater) {
    session.startKeyring();
    secrets().add(query(), "secret", "label");
    SecretServicePasswordItems items = secrets(shortPatience);
    session.keyring().send(SIGSTOP);
    Clock::time_point start = Clock::now();

    EXPECT_EQ(statusOfReading(items), keychainGone);
    EXPECT_LT(Clock::now() - start, farTooLong);

    session.keyring().send(SIGCONT);
    SecretServicePasswordItems patient = secrets();
    EXPECT_EQ(read(patient), "secret");
}

TEST_F(SecretServiceTest, aBusThatHangsIsGivenUp) {
    SecretServicePasswordItems items = secrets(shortPatience);
    session.bus().send(SIGSTOP);
    Clock::time_point start = Clock::now();

    EXPECT_EQ(statusOfReading(items), keychainGone);

    EXPECT_LT(Clock::now() - start, farTooLong);
    session.bus().send(SIGCONT);
}

TEST_F(SecretServiceTest, aServiceThatDiesAmidACallIsGone) {
    for (const char* last : {"GetAll", "OpenSession", "CreateItem"}) {
        BusConnection player(session.address());
        player.playDyingService(last);
        SecretServicePasswordItems items = secrets();
        Clock::time_point start = Clock::now();

        EXPECT_EQ(items.add(query(), "secret", "label"), keychainGone) << last;

        EXPECT_LT(Clock::now() - start, farTooLong) << last;
    }
}

TEST_F(SecretServiceTest, aServiceThatDiesAmidAReadIsGone) {
    BusConnection player(session.address());
    player.playDyingService("SearchItems");
    SecretServicePasswordItems items = secrets();

    EXPECT_EQ(statusOfReading(items), keychainGone);
}

TEST_F(SecretServiceTest, aBusWithoutASecretServiceIsUnavailable) {
    SecretServicePasswordItems items = secrets();

    EXPECT_EQ(statusOfReading(items), keychainUnavailable);
    EXPECT_EQ(items.add(query(), "secret", "label"), keychainUnavailable);
    EXPECT_EQ(items.update(query(), "secret"), keychainUnavailable);
    EXPECT_EQ(items.remove(query()), keychainUnavailable);
}

TEST_F(SecretServiceTest, anAddressThatPointsNowhereIsUnavailable) {
    std::string deadSocket = "unix:path=" + (folder.path() / "nobody").string();
    for (const std::string& address : {deadSocket, std::string("tcp:host=127.0.0.1,port=1"), std::string("disabled:"),
                                       std::string("no address at all"), std::string()}) {
        SecretServicePasswordItems items({address, std::chrono::seconds(10)});

        EXPECT_EQ(statusOfReading(items), keychainUnavailable) << address;
    }
}

TEST_F(SecretServiceTest, theStoreUsesTheSecretServiceAndNoFile) {
    session.startKeyring();
    UUID id = UUID::random();

    store().setToken("token", id);

    EXPECT_EQ(store().token(id), "token");
    EXPECT_FALSE(std::filesystem::exists(tokenFile));
    store().setToken(std::nullopt, id);
    EXPECT_EQ(store().token(id), std::nullopt);
}

TEST_F(SecretServiceTest, aTokenInTheFileMovesOverOnceThereIsASecretService) {
    UUID id = UUID::random();
    store().setToken("token", id);
    ASSERT_TRUE(std::filesystem::exists(tokenFile));
    session.startKeyring();

    EXPECT_EQ(store().token(id), "token");

    std::optional<std::string> left;
    EXPECT_EQ(FilePasswordItems(tokenFile).copyMatching({service, id.text(), false}, left), keychainItemNotFound);
    std::filesystem::remove(tokenFile);
    EXPECT_EQ(store().token(id), "token");
}

TEST_F(SecretServiceTest, aLockedServiceIsAnErrorAndNotAReasonToUseTheFile) {
    session.startKeyring();
    UUID id = UUID::random();
    KeychainCredentialStore credentials = store();
    BusConnection(session.address()).lockCollection(loginCollection);

    try {
        credentials.setToken("a-very-secret-token", id);
        FAIL() << "A locked service took a token.";
    } catch (const KeychainError& error) {
        EXPECT_TRUE(error.errorDescription().starts_with("The secret store is locked. Unlock it"));
        EXPECT_EQ(error.errorDescription().find("a-very-secret-token"), std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(tokenFile));
}

TEST(SessionBusAddressTest, theVariableNamesTheBus) {
    EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", "unix:path=/tmp/one;unix:path=/tmp/two");

    EXPECT_EQ(sessionBusAddress(), "unix:path=/tmp/one;unix:path=/tmp/two");
}

TEST(SessionBusAddressTest, noBusIsStartedForUs) {
    {
        EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
        EXPECT_EQ(sessionBusAddress(), std::nullopt);
    }
    EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", "autolaunch:scope=*;unix:path=/tmp/one;autolaunch:");
    EXPECT_EQ(sessionBusAddress(), "unix:path=/tmp/one");
}

TEST(SessionBusAddressTest, withoutTheVariableTheSocketOfTheRuntimeFolderIsTheBus) {
    DesktopSession session;
    std::string folder = session.address().substr(std::string("unix:path=").size());
    folder.resize(folder.rfind('/'));
    EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", "");
    EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder);

    EXPECT_EQ(sessionBusAddress(), session.address());
}

TEST(SessionBusAddressTest, withoutThatSocketThereIsNoBus) {
    TemporaryFolder folder;
    EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", "");
    EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder.path().string());
    EXPECT_EQ(sessionBusAddress(), std::nullopt);

    std::ofstream(folder.path() / "bus") << "not a socket";
    EXPECT_EQ(sessionBusAddress(), std::nullopt);
}

}  // namespace
}  // namespace marlet
