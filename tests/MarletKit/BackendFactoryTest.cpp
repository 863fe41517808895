#include "MarletKit/BackendFactory.h"

#include <gtest/gtest.h>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "GitLabBackend/GitLabTaskBackend.h"
#include "JiraBackend/JiraTaskBackend.h"
#include "MarletCore/BackendError.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {
namespace {

Account accountOf(BackendKind kind) {
    return {UUID::random(), kind, "Work", *URL::parse("https://tasks.example")};
}

// Whether the account gets this kind of backend, set up as every one is.
template <class Backend>
bool getsBackend(BackendKind kind) {
    Account account = accountOf(kind);
    std::shared_ptr<TaskBackend> backend = makeBackend(account, "token");
    EXPECT_EQ(backend->account(), account);
    EXPECT_EQ(backend->itemLimit(), 1000);
    return dynamic_cast<Backend*>(backend.get()) != nullptr;
}

TEST(BackendFactoryTest, gitHubAndForgejoShareOneBackend) {
    EXPECT_TRUE(getsBackend<ForgeTaskBackend>(BackendKind::github));
    EXPECT_TRUE(getsBackend<ForgeTaskBackend>(BackendKind::forgejo));
}

TEST(BackendFactoryTest, everyOtherServiceHasABackendOfItsOwn) {
    EXPECT_TRUE(getsBackend<GitLabTaskBackend>(BackendKind::gitlab));
    EXPECT_TRUE(getsBackend<VikunjaTaskBackend>(BackendKind::vikunja));
    EXPECT_TRUE(getsBackend<JiraTaskBackend>(BackendKind::jira));
}

TEST(BackendFactoryTest, anAccountWithoutATokenIsUnauthorized) {
    InMemoryCredentialStore none;

    try {
        makeBackend(accountOf(BackendKind::github), none);
        ADD_FAILURE() << "A backend came without a token.";
    } catch (const BackendError& error) {
        EXPECT_EQ(error, BackendError::unauthorized());
    }
}

TEST(BackendFactoryTest, theTokenOfTheAccountIsTakenFromTheCredentials) {
    Account account = accountOf(BackendKind::forgejo);
    InMemoryCredentialStore credentials({{account.id, "token"}});

    EXPECT_EQ(makeBackend(account, credentials)->account(), account);
}

TEST(BackendFactoryDeathTest, aLocalAccountEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Account account = accountOf(BackendKind::local);
    InMemoryCredentialStore credentials({{account.id, "token"}});

    EXPECT_DEATH(makeBackend(account, "token"), "local account");
    EXPECT_DEATH(makeBackend(account, credentials), "local account");
}

}  // namespace
}  // namespace marlet
