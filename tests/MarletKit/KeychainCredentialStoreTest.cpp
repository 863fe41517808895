#include "MarletKit/KeychainCredentialStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "MarletKit/KeychainError.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Two keychains in memory that note each call, as "read modern", and fail on command.
class FakeKeychainItems final : public KeychainItems {
public:
    std::optional<std::string> read(const std::string& account, bool legacy) override {
        note("read", legacy);
        auto found = items(legacy).find(account);
        return found != items(legacy).end() ? std::optional(found->second) : std::nullopt;
    }
    void write(const std::string& data, const std::string& account, bool legacy) override {
        note("write", legacy);
        items(legacy)[account] = data;
    }
    void remove(const std::string& account, bool legacy) override {
        note("delete", legacy);
        items(legacy).erase(account);
    }

    std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    std::map<std::string, std::string> modern;
    std::map<std::string, std::string> fileBased;
    // The status that a call such as "write modern" fails with.
    std::map<std::string, int32_t> failures;
    bool wasEnteredTwice = false;

private:
    std::map<std::string, std::string>& items(bool isLegacy) { return isLegacy ? fileBased : modern; }

    void note(const std::string& operation, bool isLegacy) {
        wasEnteredTwice = wasEnteredTwice || isBusy;
        isBusy = true;
        std::this_thread::yield();
        calls.push_back(operation + (isLegacy ? " legacy" : " modern"));
        isBusy = false;
        if (auto failure = failures.find(calls.back()); failure != failures.end()) {
            throw KeychainError(failure->second);
        }
    }

    std::vector<std::string> calls;
    std::atomic<bool> isBusy = false;
};

class KeychainCredentialStoreTest : public testing::Test {
protected:
    void withoutEntitlement() {
        for (const char* call : {"read modern", "write modern", "delete modern"}) {
            items->failures[call] = keychainUnavailable;
        }
    }
    int32_t statusOfSetting(const std::optional<std::string>& token) {
        try {
            store.setToken(token, id);
        } catch (const KeychainError& error) {
            return error.status;
        }
        return keychainDone;
    }
    int32_t statusOfReading() {
        try {
            store.token(id);
        } catch (const KeychainError& error) {
            return error.status;
        }
        return keychainDone;
    }

    std::shared_ptr<FakeKeychainItems> items = std::make_shared<FakeKeychainItems>();
    KeychainCredentialStore store{items};
    UUID id = UUID::random();
    UUID other = UUID::random();
};

TEST_F(KeychainCredentialStoreTest,
       withoutTheEntitlementTheFirstReadTriesBothAndLaterOnesGoToTheFileBasedKeychainOnly) {
    withoutEntitlement();
    items->fileBased = {{id.text(), "one"}, {other.text(), "two"}};

    EXPECT_EQ(store.token(id), "one");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy"));

    EXPECT_EQ(store.token(other), "two");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read legacy"));
}

TEST_F(KeychainCredentialStoreTest, aTokenFoundOnlyInTheFileBasedKeychainMovesOver) {
    items->fileBased = {{id.text(), "old"}};

    EXPECT_EQ(store.token(id), "old");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy", "write modern", "delete legacy"));
    EXPECT_EQ(items->modern.at(id.text()), "old");
    EXPECT_THAT(items->fileBased, IsEmpty());

    EXPECT_EQ(store.token(id), "old");
    EXPECT_THAT(items->takeCalls(), IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, aWriteFailureDuringThatMoveStillGivesTheToken) {
    items->fileBased = {{id.text(), "old"}};
    items->failures["write modern"] = keychainDenied;

    EXPECT_EQ(store.token(id), "old");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy", "write modern"));
    EXPECT_EQ(items->fileBased.at(id.text()), "old");
}

TEST_F(KeychainCredentialStoreTest, aMoveThatReportsAMissingEntitlementLeavesTheDecisionAsItWas) {
    items->fileBased = {{id.text(), "old"}};
    items->failures["write modern"] = keychainUnavailable;

    EXPECT_EQ(store.token(id), "old");
    items->takeCalls();
    store.token(other);

    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy"));
}

TEST_F(KeychainCredentialStoreTest, aCopyThatCannotBeRemovedAfterTheMoveIsLeftBehind) {
    items->fileBased = {{id.text(), "old"}};
    items->failures["delete legacy"] = keychainFileFailed;

    EXPECT_EQ(store.token(id), "old");
    EXPECT_EQ(items->modern.at(id.text()), "old");
}

TEST_F(KeychainCredentialStoreTest, anAccountWithoutATokenIsLookedUpOnce) {
    EXPECT_EQ(store.token(id), std::nullopt);
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy"));

    EXPECT_EQ(store.token(id), std::nullopt);
    EXPECT_THAT(items->takeCalls(), IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, removingATokenThatIsNotThereSucceeds) {
    store.setToken(std::nullopt, id);

    EXPECT_THAT(items->takeCalls(), ElementsAre("delete modern", "delete legacy"));
    EXPECT_EQ(store.token(id), std::nullopt);
    EXPECT_THAT(items->takeCalls(), IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, afterAFailedWriteTheKeychainIsAskedAgain) {
    store.setToken("first", id);
    items->failures["write modern"] = keychainLocked;
    EXPECT_EQ(statusOfSetting("second"), keychainLocked);
    items->modern[id.text()] = "changed meanwhile";
    items->takeCalls();

    EXPECT_EQ(store.token(id), "changed meanwhile");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern"));
}

TEST_F(KeychainCredentialStoreTest, aTokenThatWasSetIsReadFromMemory) {
    store.setToken("new", id);

    EXPECT_THAT(items->takeCalls(), ElementsAre("write modern", "delete legacy"));
    EXPECT_EQ(store.token(id), "new");
    EXPECT_THAT(items->takeCalls(), IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, theOldKeychainKeepsNoStaleCopyOfATokenThatIsSet) {
    items->fileBased = {{id.text(), "stale"}};

    store.setToken("new", id);

    EXPECT_EQ(items->modern.at(id.text()), "new");
    EXPECT_THAT(items->fileBased, IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, aStaleCopyThatCannotBeRemovedDoesNotFailTheWrite) {
    items->fileBased = {{id.text(), "stale"}};
    items->failures["delete legacy"] = keychainFileReadOnly;

    store.setToken("new", id);

    EXPECT_EQ(store.token(id), "new");
}

TEST_F(KeychainCredentialStoreTest, withoutTheEntitlementAWriteGoesToTheFileBasedKeychain) {
    withoutEntitlement();

    store.setToken("token", id);
    EXPECT_THAT(items->takeCalls(), ElementsAre("write modern", "write legacy"));

    store.setToken(std::nullopt, id);
    EXPECT_THAT(items->takeCalls(), ElementsAre("delete legacy"));
    EXPECT_THAT(items->fileBased, IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, withoutTheEntitlementARemovalGoesToTheFileBasedKeychain) {
    withoutEntitlement();
    items->fileBased = {{id.text(), "token"}};

    store.setToken(std::nullopt, id);

    EXPECT_THAT(items->takeCalls(), ElementsAre("delete modern", "delete legacy"));
    EXPECT_THAT(items->fileBased, IsEmpty());
}

TEST_F(KeychainCredentialStoreTest, anEntitlementLostLaterLeadsToTheFileBasedKeychainForGood) {
    store.setToken("token", id);
    withoutEntitlement();
    store.setToken("another", other);
    items->failures.clear();
    items->takeCalls();

    store.setToken("third", other);

    EXPECT_THAT(items->takeCalls(), ElementsAre("write legacy"));
}

TEST_F(KeychainCredentialStoreTest, aMissingEntitlementReportedByTheOldKeychainIsTakenAsOne) {
    items->failures["read legacy"] = keychainUnavailable;

    EXPECT_EQ(statusOfReading(), keychainUnavailable);
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern", "read legacy", "read legacy"));
}

TEST_F(KeychainCredentialStoreTest, anyOtherReadErrorReachesTheCallerAndNothingIsRemembered) {
    items->modern = {{id.text(), "token"}};
    items->failures["read modern"] = keychainLocked;
    EXPECT_EQ(statusOfReading(), keychainLocked);
    items->failures.clear();
    items->takeCalls();

    EXPECT_EQ(store.token(id), "token");
    EXPECT_THAT(items->takeCalls(), ElementsAre("read modern"));
}

TEST_F(KeychainCredentialStoreTest, anErrorOfTheFileBasedKeychainReachesTheCaller) {
    withoutEntitlement();
    items->failures["read legacy"] = keychainDataDamaged;
    items->failures["write legacy"] = keychainDiskFull;

    EXPECT_EQ(statusOfReading(), keychainDataDamaged);
    EXPECT_EQ(statusOfSetting("token"), keychainDiskFull);
}

TEST_F(KeychainCredentialStoreTest, aWriteThatFailsOtherwiseDoesNotFallBack) {
    items->failures["write modern"] = keychainDenied;

    EXPECT_EQ(statusOfSetting("token"), keychainDenied);
    EXPECT_THAT(items->takeCalls(), ElementsAre("write modern"));
}

TEST_F(KeychainCredentialStoreTest, bytesThatAreNotUTF8AreRepaired) {
    items->modern = {{id.text(), "to\xFFken"}};

    EXPECT_EQ(store.token(id), "to\uFFFDken");
}

TEST_F(KeychainCredentialStoreTest, manyThreadsNeverUseTheKeychainAtTheSameTime) {
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this] {
            for (int round = 0; round < 50; ++round) {
                UUID account = UUID::random();
                store.setToken("token", account);
                EXPECT_EQ(store.token(account), "token");
                EXPECT_EQ(store.token(UUID::random()), std::nullopt);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_FALSE(items->wasEnteredTwice);
    EXPECT_EQ(items->modern.size(), 200U);
}

}  // namespace
}  // namespace marlet
