#include "MarletWorkspace/AgentLinks.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

const RepositoryCoordinates repository("github.com", std::nullopt, "ash", "garden");

std::string repeated(std::string_view text, size_t count) {
    std::string result;
    for (size_t index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

std::string claudeLink(const std::string& prompt) {
    return ClaudeLink::newSession(AgentDestination::code, "/w", prompt).text();
}

// What a link of this beginning carries as its prompt.
std::string claudePrompt(const std::string& prompt) {
    const std::string beginning = "claude://code/new?folder=%2Fw&q=";
    std::string link = claudeLink(prompt);
    EXPECT_TRUE(link.starts_with(beginning));
    return link.substr(beginning.size());
}

std::string copilotLink(std::optional<int64_t> pullRequest) {
    return CopilotLink::newSession(repository, "Go", CopilotMode::plan, pullRequest).text();
}

TEST(AgentLinksTest, aClaudeLinkNamesAgentFolderAndPrompt) {
    EXPECT_EQ(ClaudeLink::newSession(AgentDestination::code, "/home/ash/a b", "Work on issue #42").text(),
              "claude://code/new?folder=%2Fhome%2Fash%2Fa%20b&q=Work%20on%20issue%20%2342");
    EXPECT_EQ(ClaudeLink::newSession(AgentDestination::cowork, "/w", "").text(), "claude://cowork/new?folder=%2Fw&q=");
}

TEST(AgentLinksTest, aCopilotLinkNamesRepositoryPullRequestModeAndPromptInThatOrder) {
    EXPECT_EQ(CopilotLink::newSession(repository, "Fix it", CopilotMode::autopilot, 7).text(),
              "ghapp://session/new?repo=ash%2Fgarden&pr=7&mode=autopilot&prompt=Fix%20it");
    EXPECT_EQ(CopilotLink::newSession(repository, "", CopilotMode::interactive, std::nullopt).text(),
              "ghapp://session/new?repo=ash%2Fgarden&mode=interactive&prompt=");
}

TEST(AgentLinksTest, aPullRequestNumberBelowOneIsLeftOut) {
    EXPECT_EQ(copilotLink(0), copilotLink(std::nullopt));
    EXPECT_EQ(copilotLink(-3), copilotLink(std::nullopt));
    EXPECT_EQ(copilotLink(1), "ghapp://session/new?repo=ash%2Fgarden&pr=1&mode=plan&prompt=Go");
}

TEST(AgentLinksTest, everyOtherCharacterOfAValueIsEncoded) {
    const std::string kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";

    EXPECT_EQ(claudePrompt(kept), kept);
    EXPECT_EQ(claudePrompt("!\"#$%&'()*+,/:;<=>?@[\\]^`{|}"),
              "%21%22%23%24%25%26%27%28%29%2A%2B%2C%2F%3A%3B%3C%3D%3E%3F%40%5B%5C%5D%5E%60%7B%7C%7D");
    EXPECT_EQ(claudePrompt("a\n\tb \u00E4\u2026"), "a%0A%09b%20%C3%A4%E2%80%A6");
    EXPECT_EQ(claudePrompt(std::string("a\0b", 3)), "a%00b");
}

TEST(AgentLinksTest, aValueThatIsNotUTF8CountsAsEmpty) {
    EXPECT_EQ(claudeLink("broken \xC3"), "claude://code/new?folder=%2Fw&q=");
    EXPECT_EQ(claudeLink(std::string(13'000, '\xFF')), "claude://code/new?folder=%2Fw&q=");
    EXPECT_EQ(ClaudeLink::newSession(AgentDestination::code, "/w/\xFF", "Go").text(), "claude://code/new?folder=&q=Go");
    EXPECT_EQ(claudePrompt(repeated("x", 12'000) + "\xC3"), repeated("x", 11'999) + "%E2%80%A6");
}

TEST(AgentLinksTest, aPromptOfExactlyTheLimitIsNotCut) {
    EXPECT_EQ(ClaudeLink::promptLimit, 12'000u);
    EXPECT_EQ(CopilotLink::promptLimit, 12'000u);
    EXPECT_EQ(claudePrompt(repeated("x", 12'000)), repeated("x", 12'000));
    EXPECT_EQ(claudePrompt(repeated("\u00E4", 12'000)), repeated("%C3%A4", 12'000));
}

TEST(AgentLinksTest, aPromptOfOneCharacterMoreIsCutAndEndsInAnEllipsis) {
    EXPECT_EQ(claudePrompt(repeated("x", 12'001)), repeated("x", 11'999) + "%E2%80%A6");
    EXPECT_EQ(claudePrompt(repeated("\u00E4", 12'001)), repeated("%C3%A4", 11'999) + "%E2%80%A6");
    EXPECT_EQ(CopilotLink::newSession(repository, repeated("y", 12'001), CopilotMode::plan, std::nullopt).text(),
              "ghapp://session/new?repo=ash%2Fgarden&mode=plan&prompt=" + repeated("y", 11'999) + "%E2%80%A6");
}

TEST(AgentLinksTest, aPromptIsCutBetweenTheCharactersThatPeopleSee) {
    // A family of four, a flag, a letter with its accent apart, and a line end of two: each is one character.
    for (std::string_view character :
         {"\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466", "\U0001F1E9\U0001F1EA", "e\u0301", "\r\n"}) {
        std::string encoded = claudePrompt(std::string(character));

        EXPECT_EQ(claudePrompt(repeated(character, 12'000)), repeated(encoded, 12'000));
        EXPECT_EQ(claudePrompt(repeated(character, 12'001)), repeated(encoded, 11'999) + "%E2%80%A6");
    }
}

TEST(AgentLinksTest, fewCharactersOfManyBytesAreNotCut) {
    std::string letterWithManyAccents = "e" + repeated("\u0301", 500'000);

    EXPECT_EQ(claudePrompt(letterWithManyAccents), "e" + repeated("%CC%81", 500'000));
    EXPECT_EQ(claudePrompt(repeated("x", 11'999) + letterWithManyAccents + "z"), repeated("x", 11'999) + "%E2%80%A6");
}

TEST(AgentLinksDeathTest, noClaudeSessionIsForCopilot) {
    EXPECT_DEATH(ClaudeLink::newSession(AgentDestination::copilot, "/w", "Go"), "another agent");
}

}  // namespace
}  // namespace marlet
