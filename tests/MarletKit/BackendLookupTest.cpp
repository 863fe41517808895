// Which backend an account gets, and when it is a new one.
#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <future>
#include <limits>
#include <thread>

#include "LocalBackend/LocalTaskBackend.h"
#include "MarletStore/MarletSchema.h"
#include "TestSupport/ServicesHarness.h"

namespace marlet {
namespace {

TEST(BackendLookupTest, aLocalAccountNeedsNoTokenAndNoFactory) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();

    std::shared_ptr<TaskBackend> backend = harness.run(harness.services().backend(account));

    ASSERT_NE(dynamic_cast<LocalTaskBackend*>(backend.get()), nullptr);
    EXPECT_EQ(backend->account(), account);
    EXPECT_EQ(backend->itemLimit(), std::numeric_limits<int64_t>::max());
    EXPECT_TRUE(harness.made.empty());
    EXPECT_EQ(harness.credentials->token(account.id), std::nullopt);
}

TEST(BackendLookupTest, anAccountWithoutATokenIsUnauthorized) {
    ServicesHarness harness;
    Account account = harness.addRemoteAccount();
    harness.credentials->setToken(std::nullopt, account.id);

    try {
        harness.run(harness.services().backend(account));
        ADD_FAILURE() << "gave a backend";
    } catch (const BackendError& error) {
        EXPECT_EQ(error, BackendError::unauthorized());
    }
}

TEST(BackendLookupTest, twoCallsGiveTheSameBackend) {
    ServicesHarness harness;
    Account account = harness.addRemoteAccount();

    std::shared_ptr<TaskBackend> first = harness.run(harness.services().backend(account));
    std::shared_ptr<TaskBackend> second = harness.run(harness.services().backend(account));

    EXPECT_EQ(first, second);
    EXPECT_EQ(harness.made.size(), 1U);
    EXPECT_EQ(harness.made.at(0).token, "token");
}

TEST(BackendLookupTest, anotherNameAddressKindOrTokenGivesANewBackend) {
    ServicesHarness harness;
    Account account = harness.addRemoteAccount();
    std::shared_ptr<TaskBackend> before = harness.run(harness.services().backend(account));
    Account renamed = account;
    renamed.displayName = "Work";
    Account moved = renamed;
    moved.baseURL = *URL::parse("https://moved.example");
    Account converted = moved;
    converted.kind = BackendKind::gitlab;

    for (const Account& changed : {renamed, moved, converted}) {
        std::shared_ptr<TaskBackend> after = harness.run(harness.services().backend(changed));
        EXPECT_NE(after, before);
        EXPECT_EQ(harness.made.back().account, changed);
        before = after;
    }
    harness.credentials->setToken("another", account.id);
    EXPECT_NE(harness.run(harness.services().backend(converted)), before);
    EXPECT_EQ(harness.made.back().token, "another");
}

TEST(BackendLookupTest, eachAccountHasABackendOfItsOwn) {
    ServicesHarness harness;
    Account first = harness.addRemoteAccount();
    Account second = harness.addRemoteAccount();

    EXPECT_NE(harness.run(harness.services().backend(first)), harness.run(harness.services().backend(second)));
    EXPECT_EQ(harness.run(harness.services().backend(first)), harness.made.at(0).backend);
}

TEST(BackendLookupTest, aFactoryThatFailsIsAskedAgainByTheNextCall) {
    ServicesHarness harness;
    Account account = harness.addRemoteAccount();
    BackendFactory working = harness.makeBackend;
    harness.credentials->setToken("another", account.id);
    harness.makeBackend = [](const Account&, const std::string&) -> std::shared_ptr<TaskBackend> {
        throw BackendError::invalidURL();
    };
    EXPECT_THROW(harness.run(harness.services().backend(account)), BackendError);

    harness.makeBackend = working;

    EXPECT_NE(harness.run(harness.services().backend(account)), nullptr);
}

TEST(BackendLookupTest, callersOnManyThreadsShareOneBackend) {
    std::atomic<int> made = 0;
    Account account{UUID::random(), BackendKind::gitlab, "GitLab", *URL::parse("https://tasks.example")};
    boost::asio::thread_pool threads(4);
    auto credentials = std::make_shared<InMemoryCredentialStore>(std::map<UUID, std::string>{{account.id, "token"}});
    MarletServices services(MarletServices::Parts{
        threads.get_executor(), MarletSchema::makeInMemoryContainer(), LocalTaskDatabase::inMemory(), credentials,
        std::make_shared<VirtualClock>(), SyncEngine::Policy(),
        [&made](const Account& given, const std::string&) -> std::shared_ptr<TaskBackend> {
            ++made;
            std::this_thread::yield();
            return std::make_shared<ScriptedBackend>(given);
        }});

    std::vector<std::future<std::shared_ptr<TaskBackend>>> calls;
    calls.reserve(64);
    for (int count = 0; count < 64; ++count) {
        calls.push_back(boost::asio::co_spawn(threads, services.backend(account), boost::asio::use_future));
    }
    std::set<std::shared_ptr<TaskBackend>> backends;
    for (auto& call : calls) {
        backends.insert(call.get());
    }
    threads.join();

    EXPECT_EQ(backends.size(), 1U);
    EXPECT_EQ(made, 1);
}

// A credential store that tells on which threads it was asked.
class NotingCredentialStore final : public CredentialStore {
public:
    std::optional<std::string> token(const UUID& accountID) override {
        note();
        return tokens.token(accountID);
    }
    void setToken(std::optional<std::string> token, const UUID& accountID) override {
        note();
        tokens.setToken(std::move(token), accountID);
    }
    std::set<std::thread::id> threads() {
        std::lock_guard held(lock);
        return askedOn;
    }

private:
    void note() {
        std::lock_guard held(lock);
        askedOn.insert(std::this_thread::get_id());
    }

    InMemoryCredentialStore tokens;
    std::mutex lock;
    std::set<std::thread::id> askedOn;
};

TEST(BackendLookupTest, theCredentialStoreIsNeverAskedOnTheEventLoop) {
    ServicesHarness harness;
    auto credentials = std::make_shared<NotingCredentialStore>();
    harness.credentials = credentials;
    harness.restart();

    Account account = harness.addRemoteAccount();
    harness.run(harness.services().updateToken("another", account));
    harness.run(harness.services().removeAccount(account.id));

    EXPECT_EQ(credentials->threads().size(), 1U);
    EXPECT_FALSE(credentials->threads().contains(std::this_thread::get_id()));
}

// A secret service that can't be reached.
class BrokenCredentialStore final : public CredentialStore {
public:
    std::optional<std::string> token(const UUID&) override { throw std::runtime_error("The keyring is locked."); }
    void setToken(std::optional<std::string>, const UUID&) override {
        throw std::runtime_error("The keyring is locked.");
    }
};

TEST(BackendLookupTest, anErrorOfTheCredentialStoreReachesTheCaller) {
    ServicesHarness harness;
    harness.credentials = std::make_shared<BrokenCredentialStore>();
    harness.restart();
    Account account{UUID::random(), BackendKind::gitlab, "GitLab", *URL::parse("https://tasks.example")};

    EXPECT_THROW(harness.run(harness.services().backend(account)), std::runtime_error);
    EXPECT_THROW(harness.run(harness.services().addAccount(account, "token", {}, {})), std::runtime_error);
    EXPECT_TRUE(harness.run(harness.store().accounts()).empty());
}

}  // namespace
}  // namespace marlet
