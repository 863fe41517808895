// Texts that would make a conversion read the same again and again. Work is counted, not timed.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "LetterCount.h"
#include "MarletBase/Regex.h"
#include "MarletCore/JiraMarkup.h"
#include "MarletCore/MarkdownBlock.h"
#include "PlainMarkup.h"

namespace marlet {
namespace {

std::string repeated(std::string_view piece, size_t size) {
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    return text;
}

// A piece to repeat, and what stands behind it.
const std::map<std::string, std::string> hostilePieces{
    {"*", ""},
    {"_", ""},
    {"`", ""},
    {"[", ""},
    {"[", "]"},
    {"{", ""},
    {"**", "a"},
    {"**a ", ""},
    {"__a ", ""},
    {"**a __b ", ""},
    {"**a\n__b ", ""},
    {" *a", ""},
    {" _a", ""},
    {"[a|", ""},
    {"[a|b", "\n]"},
    {"[a](", ""},
    {"[a](b", " "},
    {"[a]([b ", "](c)"},
    {"[http:", ""},
    {"[http:a", "]"},
    {"{{", ""},
    {"{{a", "}}"},
    {"{{a} ", ""},
    {"{code}", ""},
    {"{code:", ""},
    {"{code:", "}"},
    {"{code:x}", ""},
    {"{code:x}{noformat:x}", "{code:"},
    {"{noformat}\n", ""},
    {"```\n", ""},
    {"```a", ""},
    {"````\n", "a"},
    {"~~~\n", ""},
    {"`a", "\n"},
    {">", ""},
    {"> ", "a"},
    {">\n", ""},
    {"- ", ""},
    {"+ ", "a"},
    {"1. ", "a"},
    {"- a\n", ""},
    {"# ", ""},
    {"# a ", ""},
    {"- ", "a"},
    {"#", " a"},
    {" ", "# a"},
    {"h1. ", ""},
    {"*-#", " a"},
    {"1", ". a"},
    {"\n", ""},
    {"\r\n", ""},
    {"- a\n\n", ""},
    {"a\n    ", ""},
    {"{code", ""},
    {"\x01", "**a**"},
    {"ä*b* ", ""},
    {"{{}}", ""},
    {"*a*", ""},
    {"_*", ""},
};

// Where the same begins and ends a piece, the text between: blanks in a heading, a rule that isn't one.
const std::vector<std::pair<std::string, std::string>> hostileBeginnings{
    {"# a", " "}, {"# a", " #"}, {"- - -", " "}, {"* *", " *"}, {"{code:", "a|"}, {"- a\n", "  "}, {"- ```\n", "  a\n"},
};

struct HostileText {
    std::string beginning, piece, end;

    std::string ofSize(size_t size) const { return beginning + repeated(piece, size) + end; }
};

std::vector<HostileText> hostileTexts() {
    std::vector<HostileText> texts;
    for (const auto& [piece, end] : hostilePieces) {
        texts.push_back({"", piece, end});
    }
    for (const auto& [beginning, piece] : hostileBeginnings) {
        texts.push_back({beginning, piece, "x"});
    }
    return texts;
}

void expectLinearWork(const std::function<void(const std::string&)>& convert, size_t stepsPerByte) {
    constexpr size_t size = 8'000;
    for (const HostileText& hostile : hostileTexts()) {
        SCOPED_TRACE(hostile.beginning + hostile.piece + "…" + hostile.end);
        size_t steps[2] = {0, 0};
        for (size_t times : {1, 2}) {
            RegexWork work;
            convert(hostile.ofSize(times * size));
            steps[times - 1] = work.steps();
            EXPECT_EQ(work.searchesGivenUp(), 0u);
        }
        EXPECT_LE(steps[1], 5 * steps[0] / 2 + 1'000);
        EXPECT_LE(steps[1], stepsPerByte * 2 * size);
    }
}

TEST(MarkupWorkTest, readingTheWikiTakesLinearWork) {
    expectLinearWork([](const std::string& text) { JiraMarkup::markdown(text); }, 100);
}

TEST(MarkupWorkTest, writingTheWikiTakesLinearWork) {
    expectLinearWork([](const std::string& text) { JiraMarkup::wiki(text); }, 100);
}

TEST(MarkupWorkTest, readingBlocksTakesLinearWork) {
    expectLinearWork([](const std::string& text) { MarkdownBlock::parse(text); },
                     20 * static_cast<size_t>(MarkdownBlock::maximalDepth));
}

TEST(MarkupWorkTest, aLongTextOfAnythingComesOutWhole) {
    constexpr size_t size = 100'000;
    for (const HostileText& hostile : hostileTexts()) {
        SCOPED_TRACE(hostile.beginning + hostile.piece + "…" + hostile.end);
        std::string text = hostile.ofSize(size);
        EXPECT_TRUE(LetterCount(JiraMarkup::wiki(text)).holds(LetterCount(text)));
        EXPECT_FALSE(JiraMarkup::markdown(text).empty());
        EXPECT_LE(MarkdownBlock::parse(text).size(), text.size());
    }
}

// Pieces from which a few make every meeting of markers that the patterns tell apart.
const std::vector<std::string> markers{
    "*",  "**", "_",      "__",     "`",          "```",   "[",      "]",  "(",  ")",     "](",  "|",
    "{{", "}}", "{code}", "{code:", "{noformat}", "}",     "a",      "ä",  " ",  "\n",    "#",   "# ",
    "- ", "> ", "bq. ",   "h1. ",   "1. ",        "http:", "\u00A0", "🎉", "  ", "- - -", "b c",
};

std::string randomText(std::mt19937& random) {
    std::string text;
    for (size_t count = 1 + random() % 16; count > 0; --count) {
        text += markers[random() % markers.size()];
    }
    return text;
}

TEST(MarkupWorkTest, theQuickPatternsFindWhatThePlainOnesFind) {
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        std::string text = randomText(random);
        EXPECT_EQ(JiraMarkup::markdown(text), plainMarkdown(text)) << text;
        EXPECT_EQ(JiraMarkup::wiki(text), plainWiki(text)) << text;
        ASSERT_FALSE(HasFailure());
    }
}

TEST(MarkupWorkTest, aQuickHeadingOrRuleIsWhatThePlainPatternsSay) {
    const std::vector<std::string> parts{"#", " ", "# ", " #", "a", "-", "- ", "*", "_", "\t", "\u00A0"};
    std::mt19937 random(11);
    int known = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string line = random() % 2 == 0 ? "# " : "";
        for (size_t count = 1 + random() % 8; count > 0; --count) {
            line += parts[random() % parts.size()];
        }
        if (std::optional<MarkdownBlock> expected = plainBlock(line)) {
            ++known;
            ASSERT_TRUE(MarkdownBlock::parse(line) == std::vector{*expected}) << line;
        }
    }
    EXPECT_GT(known, 5'000);
}

}  // namespace
}  // namespace marlet
