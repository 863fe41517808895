#include "MarletClient/ConnectionAdvice.h"

#include <gtest/gtest.h>

#include "MarletBase/Coding.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

Account account(BackendKind kind, const char* address) {
    return Account{UUID(), kind, "Work", *URL::parse(address)};
}

template <class Error>
std::string told(const Error& error, const Account& account, ConnectionTrial trial = ConnectionTrial::address) {
    return connectionFailure(std::make_exception_ptr(error), account, trial);
}

TEST(ConnectionAdviceTest, theEnginesOwnTextStandsFirstAndThenWhatToDo) {
    Account forge = account(BackendKind::forgejo, "https://git.example.org:3000");
    Account gitHub = account(BackendKind::github, "https://github.example.org");
    const std::string noForgejo =
        "git.example.org:3000 doesn't look like a Forgejo server; give the address of its start page with --url.";
    const std::string scopes =
        "The token needs the permissions read:user, read:repository, write:issue and read:notification.";
    const std::vector<std::pair<BackendError, std::string>> table{
        {BackendError::unauthorized(),
         "The server rejected the access token. Check that it was copied whole, that it hasn't expired or been "
         "revoked, "
         "and that it was made on git.example.org:3000."},
        {BackendError::notFound(), "Not found on the server. " + noForgejo},
        {BackendError::invalidResponse(), "The server sent an unexpected response. " + noForgejo},
        {BackendError::invalidURL(), "The server URL is invalid. " + noForgejo},
        {BackendError::http(405), "The server responded with HTTP 405. " + noForgejo},
        {BackendError::http(403), "The server responded with HTTP 403. " + scopes},
        {BackendError::http(502),
         "The server responded with HTTP 502. That is the server's own trouble. Try again in a while."},
        {BackendError::rejected("Scope missing."), "Scope missing. " + scopes},
        {BackendError::rejected("Only with SAML."), "Only with SAML."},
        {BackendError::rateLimited(std::nullopt), "Rate limited by the server. Try again in a quarter of an hour."},
    };
    for (const auto& [error, text] : table) {
        EXPECT_EQ(told(error, forge), text);
    }
    EXPECT_EQ(told(DecodingError("", "isn't JSON"), forge),
              DecodingError("", "isn't JSON").errorDescription() + " " + noForgejo);
    EXPECT_EQ(told(BackendError::notFound(), gitHub),
              "Not found on the server. github.example.org doesn't look like a GitHub server; give the address of its "
              "start page with --url.");
    EXPECT_NE(told(BackendError::http(403), gitHub).find("fine-grained"), std::string::npos);
    EXPECT_EQ(told(BackendError::http(403), account(BackendKind::gitlab, "https://gitlab.example.org")),
              "The server responded with HTTP 403. The token needs the scope api.");
    std::string limited = told(BackendError::rateLimited(dateFromSeconds(1'800'000'000)), forge);
    EXPECT_TRUE(limited.starts_with("Rate limited until ") && limited.ends_with(". Try again after that.")) << limited;
}

TEST(ConnectionAdviceTest, aTokenThatVikunjaRejectsMayLackAPermission) {
    EXPECT_EQ(told(BackendError::unauthorized(), account(BackendKind::vikunja, "https://tasks.example.org")),
              "The server rejected the access token. Check that it was copied whole, that it hasn't expired or been "
              "revoked, and that it was made on tasks.example.org. The token needs every permission for tasks, their "
              "comments, labels and relations, and for labels, and the permissions to read projects and "
              "notifications.");
}

TEST(ConnectionAdviceTest, aTokenThatJiraRejectsMayLackItsUser) {
    Account jira = account(BackendKind::jira, "https://jira.example.org");
    const std::string text =
        "The server rejected the access token. Check that it was copied whole, that it hasn't expired or been revoked, "
        "and that it was made on jira.example.org. A token of Jira Cloud goes with the e-mail address of its user: ";
    std::exception_ptr error = std::make_exception_ptr(BackendError::unauthorized());
    EXPECT_EQ(connectionFailure(error, jira, ConnectionTrial::address), text + "give that with --username.");
    EXPECT_EQ(connectionFailure(error, jira, ConnectionTrial::token), text + "put that and a colon in front of it.");
    EXPECT_EQ(told(BackendError::http(403), jira),
              "The server responded with HTTP 403. The token's user needs the permissions to browse projects, and to "
              "create, edit, transition and comment on their issues.");
}

TEST(ConnectionAdviceTest, theNetworksTextIsEnoughButForAServerOfOnesOwnWithoutHTTPS) {
    NetworkError tls(NetworkError::Kind::tls, "No TLS.");
    NetworkError refused(NetworkError::Kind::unreachable, "Nobody there.");
    EXPECT_EQ(told(tls, account(BackendKind::forgejo, "https://localhost:3000")),
              "No TLS. If the server has no https, give its address with http://.");
    EXPECT_EQ(told(refused, account(BackendKind::forgejo, "https://localhost:3000")), "Nobody there.");
    EXPECT_EQ(told(tls, account(BackendKind::forgejo, "https://git.example.org")), "No TLS.");
    NetworkError silent(NetworkError::Kind::timedOut, "No answer.");
    EXPECT_EQ(told(silent, account(BackendKind::forgejo, "https://127.0.0.1:3000")),
              "No answer. If the server has no https, give its address with http://.");
    EXPECT_EQ(told(silent, account(BackendKind::forgejo, "http://127.0.0.1:3000")), "No answer.");
}

TEST(ConnectionAdviceTest, aServerWhoseCertificateIsNotTrustedHasHTTPS) {
    NetworkError untrusted(NetworkError::Kind::certificate, "Not trusted.");
    EXPECT_EQ(told(untrusted, account(BackendKind::forgejo, "https://localhost:3000")), "Not trusted.");
}

TEST(ConnectionAdviceTest, whatHasWorkedBeforeIsNotDoubted) {
    Account forge = account(BackendKind::forgejo, "https://git.example.org");
    Account ownServer = account(BackendKind::forgejo, "https://localhost:3000");
    const std::string otherAnswer = "git.example.org doesn't answer as a Forgejo server does. Try again later.";
    for (ConnectionTrial trial : {ConnectionTrial::token, ConnectionTrial::nothing}) {
        EXPECT_EQ(told(BackendError::notFound(), forge, trial), "Not found on the server. " + otherAnswer);
        EXPECT_EQ(told(DecodingError("", "isn't JSON"), forge, trial),
                  DecodingError("", "isn't JSON").errorDescription() + " " + otherAnswer);
        EXPECT_EQ(told(NetworkError(NetworkError::Kind::tls, "No TLS."), ownServer, trial), "No TLS.");
    }
    EXPECT_EQ(told(BackendError::unauthorized(), forge, ConnectionTrial::nothing),
              "The server rejected the access token. Give the account a new one with marlet account token.");
    EXPECT_TRUE(told(BackendError::unauthorized(), forge, ConnectionTrial::token)
                    .starts_with("The server rejected the access token. Check that it was copied whole"));
}

TEST(ConnectionAdviceTest, anErrorOfAnotherKindStandsForItself) {
    EXPECT_EQ(told(LocalizedError("The secret store is locked."), account(BackendKind::github, "https://a.example")),
              "The secret store is locked.");
}

}  // namespace
}  // namespace marlet
