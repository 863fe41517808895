// What one account costs in requests, step by step: printed, and held to.
#include <fmt/format.h>

#include "RemoteScenario.h"

namespace marlet {
namespace {

struct Step {
    size_t requests = 0;
    size_t unchanged = 0;  // answered by a 304
    size_t writes = 0;
    size_t refused = 0;

    bool operator==(const Step&) const = default;
};

void PrintTo(const Step& step, std::ostream* stream) {
    *stream << fmt::format("{} requests, {} unchanged, {} writes, {} refused", step.requests, step.unchanged,
                           step.writes, step.refused);
}

class RemoteJourneyTest : public testing::TestWithParam<FakeForgeKind> {
protected:
    RemoteScenario remote{GetParam()};
    ClientScenario& client = remote.client;

    // What was asked since the last step.
    Step step(const char* name) {
        Step step;
        for (const std::string& line : remote.forge.takeLines()) {
            int status = std::stoi(line.substr(line.rfind(' ') + 1));
            step.requests += 1;
            step.unchanged += status == 304 ? 1 : 0;
            step.writes += line.starts_with("GET ") ? 0 : 1;
            step.refused += status >= 400 ? 1 : 0;
            printed += "    " + line + "\n";
        }
        fmt::print("{:<46} {:>3} requests, {:>3} unchanged, {} writes, {} refused\n", name, step.requests,
                   step.unchanged, step.writes, step.refused);
        return step;
    }
    void TearDown() override { fmt::print("{}", printed); }
    void sync(int status = 0) { client.json({"sync", "--account", "Work"}, status); }
    void fill(const std::string& repository, int count) {
        for (int number = 1; number <= count; ++number) {
            remote.forge.addIssue(repository, {.title = fmt::format("Part {}", number)});
        }
    }

    std::string printed = "Every request:\n";
};

INSTANTIATE_TEST_SUITE_P(Services, RemoteJourneyTest, testing::Values(FakeForgeKind::github, FakeForgeKind::forgejo),
                         [](const auto& info) { return info.param == FakeForgeKind::github ? "github" : "forgejo"; });

TEST_P(RemoteJourneyTest, requestsAreFewAndTellWhatHappened) {
    fill("acme/rocket", 197);
    remote.forge.addRepository("jo/notes");
    fill("jo/notes", 50);
    // Pages hold 100 issues on GitHub and 50 on Forgejo: 200, none and 50 issues take as many pages as these.
    const size_t pages = remote.isGitHub ? 2 + 1 + 1 : 4 + 1 + 1;
    // Repositories; on GitHub organisations, the user and his boards as well.
    const size_t listing = remote.isGitHub ? 4 : 1;

    remote.addAccount({"all"});
    EXPECT_EQ(step("add an account, read 250 issues of 3 projects"), (Step{.requests = listing + pages}));
    client.json({"sync", "--account", "Work", "--full"});
    EXPECT_EQ(step("sync in full, nothing new"), (Step{.requests = pages, .unchanged = pages}));
    sync();
    step("sync what changed, for the first time");
    sync();
    Step quiet = step("sync what changed, nothing new");
    EXPECT_EQ(quiet.unchanged, quiet.requests);
    EXPECT_LE(quiet.requests, pages);

    remote.forge.editIssue("jo/notes", 7, [](FakeIssue& issue) { issue.title = "Buy milk"; });
    sync();
    EXPECT_EQ(step("sync after one change on the server"),
              (Step{.requests = quiet.requests, .unchanged = quiet.requests - 1}));
    remote.edit(1, {"--title", "Fuel both tanks"});
    EXPECT_EQ(step("edit one task"), (Step{.requests = 1, .writes = 1}));
    remote.forge.fail("PATCH ", FakeFailure::status(422, "{\"message\": \"No.\"}"));
    remote.edit(2, {"--title", "Paint the fins red"});
    EXPECT_EQ(step("edit that the server refuses"), (Step{.requests = 1, .writes = 1, .refused = 1}));
    client.json({"pending", "retry", "2", "--project", "acme/rocket"});
    EXPECT_EQ(step("the same once more"), (Step{.requests = 1, .writes = 1}));

    remote.forge.limit({.count = 1, .status = 429, .retryAfter = 3600});
    sync(1);
    EXPECT_EQ(step("sync into a rate limit"), (Step{.requests = 1, .refused = 1}));
    remote.edit(3, {"--title", "Count up"});
    EXPECT_EQ(step("edit while limited"), Step{});
    sync();
    EXPECT_EQ(step("sync after it").writes, 1U);

    remote.forge.setToken("ghp_new");
    sync(1);
    EXPECT_EQ(step("sync with a revoked token"), (Step{.requests = 1, .refused = 1}));
    client.json({"account", "token", "Work", "--token-stdin"}, 0, "ghp_new");
    Step mended = step("a new token, and a sync with it");
    EXPECT_EQ(mended.refused, 0U);
    EXPECT_LE(mended.requests, listing + pages);
}

}  // namespace
}  // namespace marlet
