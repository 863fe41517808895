#include "MarletWorkspace/AgentDestination.h"

#include <gtest/gtest.h>

#include "MarletBase/Description.h"

namespace marlet {
namespace {

using Destinations = std::vector<AgentDestination>;

const RepositoryCoordinates publicRepository("github.com", std::nullopt, "ash", "garden");
const RepositoryCoordinates gitLabRepository("gitlab.com", std::nullopt, "ash", "garden");

URL url(std::string_view text) {
    return URL::parse(text).value();
}

Destinations supporting(const std::optional<RepositoryCoordinates>& repository) {
    Destinations result;
    for (AgentDestination destination : allCases<AgentDestination>()) {
        if (supports(destination, repository)) {
            result.push_back(destination);
        }
    }
    return result;
}

Destinations supporting(BackendKind kind, std::string_view baseURL) {
    Destinations result;
    for (AgentDestination destination : allCases<AgentDestination>()) {
        if (supports(destination, kind, url(baseURL))) {
            result.push_back(destination);
        }
    }
    return result;
}

TEST(AgentDestinationTest, everyCaseHasItsCodeTitleAndApp) {
    EXPECT_EQ(allCases<AgentDestination>(),
              (Destinations{AgentDestination::code, AgentDestination::cowork, AgentDestination::copilot}));
    EXPECT_EQ(code(AgentDestination::code), "code");
    EXPECT_EQ(code(AgentDestination::cowork), "cowork");
    EXPECT_EQ(code(AgentDestination::copilot), "copilot");
    EXPECT_EQ(title(AgentDestination::code), "Claude Code");
    EXPECT_EQ(title(AgentDestination::cowork), "Claude Cowork");
    EXPECT_EQ(title(AgentDestination::copilot), "GitHub Copilot");
    EXPECT_EQ(app(AgentDestination::code), AgentApp::claude);
    EXPECT_EQ(app(AgentDestination::cowork), AgentApp::claude);
    EXPECT_EQ(app(AgentDestination::copilot), AgentApp::copilot);
}

TEST(AgentDestinationTest, everyAppHasItsCodeTitleAndProbe) {
    EXPECT_EQ(code(AgentApp::claude), "claude");
    EXPECT_EQ(code(AgentApp::copilot), "copilot");
    EXPECT_EQ(title(AgentApp::claude), "Claude");
    EXPECT_EQ(title(AgentApp::copilot), "GitHub Copilot");
    EXPECT_EQ(probeURL(AgentApp::claude).text(), "claude://");
    EXPECT_EQ(probeURL(AgentApp::copilot).text(), "ghapp://");
    EXPECT_STREQ(copilotBundleIdentifier, "com.github.githubapp");
}

TEST(AgentDestinationTest, everyModeHasItsCodeAndTitle) {
    EXPECT_EQ(allCases<CopilotMode>(),
              (std::vector<CopilotMode>{CopilotMode::interactive, CopilotMode::plan, CopilotMode::autopilot}));
    EXPECT_EQ(code(CopilotMode::interactive), "interactive");
    EXPECT_EQ(code(CopilotMode::plan), "plan");
    EXPECT_EQ(code(CopilotMode::autopilot), "autopilot");
    EXPECT_EQ(title(CopilotMode::interactive), "Interactive");
    EXPECT_EQ(title(CopilotMode::plan), "Plan");
    EXPECT_EQ(title(CopilotMode::autopilot), "Autopilot");
}

TEST(AgentDestinationTest, onlyAPublicGitHubRepositoryGoesToEveryAgent) {
    EXPECT_EQ(supporting(publicRepository),
              (Destinations{AgentDestination::code, AgentDestination::cowork, AgentDestination::copilot}));
    EXPECT_EQ(supporting(gitLabRepository), (Destinations{AgentDestination::code, AgentDestination::cowork}));
    EXPECT_EQ(supporting(RepositoryCoordinates("github.com.example", std::nullopt, "a", "b")),
              (Destinations{AgentDestination::code, AgentDestination::cowork}));
}

TEST(AgentDestinationTest, withoutARepositoryOnlyCoworkIsLeft) {
    EXPECT_EQ(supporting(std::nullopt), Destinations{AgentDestination::cowork});
}

TEST(AgentDestinationTest, repositoriesOfPublicGitHubGoToEveryAgentHoweverTheAccountNamesIt) {
    Destinations all{AgentDestination::code, AgentDestination::cowork, AgentDestination::copilot};

    EXPECT_EQ(supporting(BackendKind::github, "https://api.github.com"), all);
    EXPECT_EQ(supporting(BackendKind::github, "https://github.com/"), all);
    EXPECT_EQ(supporting(BackendKind::github, "https://WWW.GitHub.com"), all);
}

TEST(AgentDestinationTest, aGitHubEnterpriseAccountIsNotSupportedByCopilot) {
    Destinations claudeOnly{AgentDestination::code, AgentDestination::cowork};

    EXPECT_EQ(supporting(BackendKind::github, "https://git.firm.example"), claudeOnly);
    EXPECT_EQ(supporting(BackendKind::github, "https://firm.ghe.com"), claudeOnly);
}

TEST(AgentDestinationTest, accountsOfOtherForgesGoToClaudeAlone) {
    Destinations claudeOnly{AgentDestination::code, AgentDestination::cowork};

    EXPECT_EQ(supporting(BackendKind::gitlab, "https://gitlab.com"), claudeOnly);
    EXPECT_EQ(supporting(BackendKind::forgejo, "https://forge.example"), claudeOnly);
    EXPECT_EQ(supporting(BackendKind::gitlab, "https://api.github.com"), claudeOnly);
}

TEST(AgentDestinationTest, accountsWithoutRepositoriesAreSupportedByCoworkAlone) {
    Destinations coworkOnly{AgentDestination::cowork};

    EXPECT_EQ(supporting(BackendKind::jira, "https://firm.example"), coworkOnly);
    EXPECT_EQ(supporting(BackendKind::jira, "https://api.github.com"), coworkOnly);
    EXPECT_EQ(supporting(BackendKind::vikunja, "https://tasks.example"), coworkOnly);
    EXPECT_EQ(supporting(BackendKind::local, "marlet://local"), coworkOnly);
}

TEST(AgentDestinationTest, theAutomaticChoiceIsCodeWithARepositoryAndCoworkWithout) {
    EXPECT_EQ(automaticDestination(gitLabRepository), AgentDestination::code);
    EXPECT_EQ(automaticDestination(std::nullopt), AgentDestination::cowork);
}

TEST(AgentDestinationTest, onlyAbsentChoicesResolveToTheAutomaticOne) {
    EXPECT_EQ(resolveDestination({std::nullopt, std::nullopt}, std::nullopt), AgentDestination::cowork);
    EXPECT_EQ(resolveDestination({std::nullopt, std::nullopt}, gitLabRepository), AgentDestination::code);
    EXPECT_EQ(resolveDestination({}, publicRepository), AgentDestination::code);
}

TEST(AgentDestinationTest, copilotGivesWayToTheNextChoiceForAGitLabRepository) {
    EXPECT_EQ(resolveDestination({"copilot", "cowork"}, gitLabRepository), AgentDestination::cowork);
    EXPECT_EQ(resolveDestination({"copilot"}, gitLabRepository), AgentDestination::code);
    EXPECT_EQ(resolveDestination({"copilot", "cowork"}, publicRepository), AgentDestination::copilot);
}

TEST(AgentDestinationTest, theFirstChoiceThatFitsIsTaken) {
    EXPECT_EQ(resolveDestination({std::nullopt, "cowork", "code"}, publicRepository), AgentDestination::cowork);
    EXPECT_EQ(resolveDestination({"code", "copilot"}, publicRepository), AgentDestination::code);
    EXPECT_EQ(resolveDestination({"code", "copilot"}, std::nullopt), AgentDestination::cowork);
}

TEST(AgentDestinationTest, unknownChoicesArePassedOver) {
    EXPECT_EQ(resolveDestination({"", "Cowork", "terminal", "copilot"}, publicRepository), AgentDestination::copilot);
    EXPECT_EQ(resolveDestination({"cursor"}, publicRepository), AgentDestination::code);
}

}  // namespace
}  // namespace marlet
