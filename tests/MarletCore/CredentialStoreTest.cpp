#include "MarletCore/CredentialStore.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace marlet {
namespace {

TEST(InMemoryCredentialStoreTest, givesWhatItWasMadeWith) {
    UUID account = UUID::random();
    InMemoryCredentialStore store({{account, "secret"}});
    EXPECT_EQ(store.token(account), "secret");
    EXPECT_EQ(store.token(UUID::random()), std::nullopt);
}

TEST(InMemoryCredentialStoreTest, settingNoTokenRemovesTheEntryOrDoesNothing) {
    UUID account = UUID::random();
    InMemoryCredentialStore store;
    store.setToken(std::nullopt, account);
    store.setToken("one", account);
    store.setToken("two", account);
    EXPECT_EQ(store.token(account), "two");
    store.setToken(std::nullopt, account);
    EXPECT_EQ(store.token(account), std::nullopt);
}

TEST(InMemoryCredentialStoreTest, isSafeFromSeveralThreads) {
    InMemoryCredentialStore store;
    std::vector<UUID> accounts;
    for (int index = 0; index < 4; ++index) {
        accounts.push_back(UUID::random());
    }
    std::vector<std::thread> threads;
    for (const UUID& account : accounts) {
        threads.emplace_back([&store, account] {
            for (int round = 0; round < 1000; ++round) {
                store.setToken(std::to_string(round), account);
                store.token(account);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const UUID& account : accounts) {
        EXPECT_EQ(store.token(account), "999");
    }
}

}  // namespace
}  // namespace marlet
