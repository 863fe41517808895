#include "MarletKit/SecurityKeychainItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "MarletKit/KeychainError.h"

namespace marlet {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* service = "io.example.Marlet";
constexpr const char* account = "0B0C2F6E-2F0D-4C53-9A29-5B5B6E8E9D11";

// Passwords in memory. An operation with a scripted status answers that and does nothing else.
class FakePasswordItems final : public PasswordItems {
public:
    struct Item {
        PasswordQuery query;
        std::optional<std::string> data;
        std::string label;
    };

    int32_t copyMatching(const PasswordQuery& query, std::optional<std::string>& data) override {
        return answer("copy", query, [&](Item& item) { data = item.data; });
    }
    int32_t add(const PasswordQuery& query, const std::string& data, const std::string& label) override {
        calls.emplace_back("add");
        if (scripted.contains("add")) {
            return scripted["add"];
        }
        if (find(query)) {
            return keychainDuplicateItem;
        }
        items.push_back({query, data, label});
        return keychainDone;
    }
    int32_t update(const PasswordQuery& query, const std::string& data) override {
        return answer("update", query, [&](Item& item) { item.data = data; });
    }
    int32_t remove(const PasswordQuery& query) override {
        return answer("delete", query, [&](Item& item) { items.erase(items.begin() + (&item - items.data())); });
    }

    std::vector<Item> items;
    std::map<std::string, int32_t> scripted;
    std::vector<std::string> calls;

private:
    Item* find(const PasswordQuery& query) {
        auto found = std::find_if(items.begin(), items.end(), [&](const Item& item) { return item.query == query; });
        return found != items.end() ? &*found : nullptr;
    }
    template <class Effect>
    int32_t answer(const std::string& operation, const PasswordQuery& query, Effect effect) {
        calls.push_back(operation);
        if (scripted.contains(operation)) {
            return scripted[operation];
        }
        Item* item = find(query);
        if (!item) {
            return keychainItemNotFound;
        }
        effect(*item);
        return keychainDone;
    }
};

class SecurityKeychainItemsTest : public testing::Test {
protected:
    template <class Operation>
    int32_t statusOf(Operation operation) {
        try {
            operation();
        } catch (const KeychainError& error) {
            return error.status;
        }
        return keychainDone;
    }

    std::shared_ptr<FakePasswordItems> passwords = std::make_shared<FakePasswordItems>();
    SecurityKeychainItems items{service, passwords};
};

TEST_F(SecurityKeychainItemsTest, aNewItemIsFiledUnderServiceAndAccountWithItsLabel) {
    items.write("secret", account, false);

    ASSERT_EQ(passwords->items.size(), 1U);
    const FakePasswordItems::Item& item = passwords->items.front();
    EXPECT_EQ(item.query, (PasswordQuery{service, account, true}));
    EXPECT_EQ(item.data, "secret");
    EXPECT_EQ(item.label, "Marlet account token");
    EXPECT_THAT(passwords->calls, ElementsAre("update", "add"));
}

TEST_F(SecurityKeychainItemsTest, theLegacyItemIsAnotherOne) {
    items.write("modern", account, false);
    items.write("legacy", account, true);

    EXPECT_EQ(items.read(account, false), "modern");
    EXPECT_EQ(items.read(account, true), "legacy");
    EXPECT_EQ(passwords->items.at(1).query, (PasswordQuery{service, account, false}));
}

TEST_F(SecurityKeychainItemsTest, anUpdateLeavesTheLabelAlone) {
    items.write("first", account, false);
    passwords->items.front().label = "Renamed by the user";

    items.write("second", account, false);

    EXPECT_EQ(passwords->items.front().data, "second");
    EXPECT_EQ(passwords->items.front().label, "Renamed by the user");
    EXPECT_THAT(passwords->calls, ElementsAre("update", "add", "update"));
}

TEST_F(SecurityKeychainItemsTest, anItemThatIsNotThereReadsAsNothing) {
    EXPECT_EQ(items.read(account, false), std::nullopt);
}

TEST_F(SecurityKeychainItemsTest, anItemThatHoldsNoBytesReadsAsNothing) {
    passwords->items.push_back({{service, account, true}, std::nullopt, ""});

    EXPECT_EQ(items.read(account, false), std::nullopt);
}

TEST_F(SecurityKeychainItemsTest, anyOtherStatusOfAReadIsThrown) {
    for (int32_t status : {keychainUnavailable, keychainLocked, keychainDenied, keychainGone, keychainDataDamaged}) {
        passwords->scripted["copy"] = status;

        EXPECT_EQ(statusOf([&] { items.read(account, false); }), status);
    }
}

TEST_F(SecurityKeychainItemsTest, anyOtherStatusOfAnUpdateIsThrownAndNothingIsAdded) {
    for (int32_t status : {keychainUnavailable, keychainLocked, keychainDenied, keychainGone}) {
        passwords->scripted["update"] = status;

        EXPECT_EQ(statusOf([&] { items.write("secret", account, false); }), status);
    }
    EXPECT_THAT(passwords->calls, testing::Each("update"));
}

TEST_F(SecurityKeychainItemsTest, anyOtherStatusOfAnAddIsThrown) {
    for (int32_t status :
         {keychainUnavailable, keychainLocked, keychainDuplicateItem, keychainHasNoDefault, keychainItemNotFound}) {
        passwords->scripted["add"] = status;

        EXPECT_EQ(statusOf([&] { items.write("secret", account, false); }), status);
    }
}

TEST_F(SecurityKeychainItemsTest, anItemIsDeletedAndOneThatIsNotThereIsNoError) {
    items.write("secret", account, false);

    items.remove(account, false);
    EXPECT_TRUE(passwords->items.empty());

    EXPECT_EQ(statusOf([&] { items.remove(account, false); }), keychainDone);
}

TEST_F(SecurityKeychainItemsTest, anyOtherStatusOfADeleteIsThrown) {
    for (int32_t status : {keychainUnavailable, keychainLocked, keychainDenied, keychainGone}) {
        passwords->scripted["delete"] = status;

        EXPECT_EQ(statusOf([&] { items.remove(account, true); }), status);
    }
}

std::string textOf(int32_t status) {
    return KeychainError(status).errorDescription();
}

TEST(KeychainErrorTest, everyStatusSaysWhatToDo) {
    EXPECT_THAT(textOf(keychainLocked), testing::StartsWith("The secret store is locked. Unlock it"));
    EXPECT_THAT(textOf(keychainUnavailable), HasSubstr("no secret store"));
    EXPECT_THAT(textOf(keychainItemNotFound), HasSubstr("Enter the token again."));
    EXPECT_THAT(textOf(keychainDenied), HasSubstr("refused access"));
    EXPECT_THAT(textOf(keychainGone), HasSubstr("doesn't answer"));
    EXPECT_THAT(textOf(keychainHasNoDefault), HasSubstr("no default keyring"));
    EXPECT_THAT(textOf(keychainDuplicateItem), HasSubstr("already holds"));
    EXPECT_THAT(textOf(keychainDataDamaged), HasSubstr("damaged"));
    EXPECT_THAT(textOf(keychainDiskFull), HasSubstr("Make room"));
    EXPECT_THAT(textOf(keychainFileReadOnly), HasSubstr("permissions"));
    EXPECT_THAT(textOf(keychainFileFailed), HasSubstr("Check the disk"));
    EXPECT_THAT(textOf(-4711), AllOf(HasSubstr("-4711"), HasSubstr("Try again")));
}

TEST(KeychainErrorTest, errorsAreEqualByTheirStatus) {
    EXPECT_EQ(KeychainError(keychainLocked), KeychainError(keychainLocked, "in other words"));
    EXPECT_FALSE(KeychainError(keychainLocked) == KeychainError(keychainGone));
}

}  // namespace
}  // namespace marlet
