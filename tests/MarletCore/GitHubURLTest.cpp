#include "MarletCore/GitHubURL.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

struct Row {
    const char* base;
    const char* api;
    const char* graphQL;
    const char* web;
};

TEST(GitHubURLTest, everyKindOfServerHasItsThreeAddresses) {
    const std::vector<Row> rows{
        {"https://github.com", "https://api.github.com", "https://api.github.com/graphql", "https://github.com"},
        {"http://WWW.GitHub.com/a?b=c", "https://api.github.com", "https://api.github.com/graphql",
         "https://github.com"},
        {"https://api.github.com", "https://api.github.com", "https://api.github.com/graphql", "https://github.com"},
        {"http://octo.ghe.com:8443/login", "https://api.octo.ghe.com", "https://api.octo.ghe.com/graphql",
         "https://octo.ghe.com"},
        {"https://api.octo.ghe.com", "https://api.octo.ghe.com", "https://api.octo.ghe.com/graphql",
         "https://octo.ghe.com"},
        {"https://git.example.org", "https://git.example.org/api/v3", "https://git.example.org/api/graphql",
         "https://git.example.org"},
        {"https://git.example.org:8443/some/page?q=1#top", "https://git.example.org:8443/api/v3",
         "https://git.example.org:8443/api/graphql", "https://git.example.org:8443"},
        {"https://git.example.org/api/v3", "https://git.example.org/api/v3", "https://git.example.org/api/graphql",
         "https://git.example.org"},
        {"https://git.example.org/api/v3/", "https://git.example.org/api/v3/", "https://git.example.org/api/graphql",
         "https://git.example.org"},
        {"https://example.org/git/api/v3", "https://example.org/git/api/v3", "https://example.org/git/api/graphql",
         "https://example.org/git"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.base);
        URL base = *URL::parse(row.base);
        EXPECT_EQ(gitHubAPIRoot(base).text(), row.api);
        EXPECT_EQ(gitHubGraphQLURL(base).text(), row.graphQL);
        EXPECT_EQ(gitHubWebRoot(base).text(), row.web);
    }
}

TEST(GitHubURLTest, anAddressWithoutAHostStandsForItself) {
    URL relative = *URL::parse("some/path");
    EXPECT_EQ(gitHubAPIRoot(relative), relative);
}

}  // namespace
}  // namespace marlet
