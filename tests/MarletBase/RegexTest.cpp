#include "MarletBase/Regex.h"

#include <gtest/gtest.h>

#include <thread>

namespace marlet {
namespace {

std::string replaced(const Regex& regex, std::string text, std::string_view replacement) {
    regex.replaceAll(text, [&](const Regex::Match&, std::string& result) { result += replacement; });
    return text;
}

TEST(RegexTest, aMatchTellsWhereItIsAndWhatItsGroupsHold) {
    const Regex regex(R"((\w+)=(\d+)?(;)?)");

    std::optional<Regex::Match> match = regex.find("a, größe=12, b=");

    ASSERT_TRUE(match);
    EXPECT_EQ(match->start, 3u);
    EXPECT_EQ(match->end, 13u);
    EXPECT_EQ((*match)[0], "größe=12");
    EXPECT_EQ((*match)[1], "größe");
    EXPECT_EQ((*match)[2], "12");
    EXPECT_EQ((*match)[3], "");
    EXPECT_EQ((*match)[4], "");
    EXPECT_EQ((*regex.find("a, größe=12, b=", match->end))[0], "b=");
    EXPECT_FALSE(regex.find("no sign"));
}

TEST(RegexTest, lettersDigitsAndBlanksAreThoseOfAllScripts) {
    const Regex word(R"(\w+)", Regex::Extent::whole);
    const Regex digits(R"(\d+)", Regex::Extent::whole);
    const Regex blanks(R"(\s+)", Regex::Extent::whole);

    EXPECT_TRUE(word.matches("Äpfel"));
    EXPECT_TRUE(word.matches("東京"));
    EXPECT_FALSE(word.matches("🎉"));
    EXPECT_TRUE(digits.matches("٣"));
    EXPECT_TRUE(blanks.matches("\u00A0\u2003\t"));
}

TEST(RegexTest, aPatternThatIgnoresCaseFindsLettersOfEitherCaseAlone) {
    EXPECT_TRUE(Regex("(?i)<a(?:b|c)").matches("<AB"));
    EXPECT_TRUE(Regex("(?i)<A(?:b|c)").matches("<ab"));
    EXPECT_TRUE(Regex("(?i)bean\\d", Regex::Extent::prefix).matches("BEAN1"));
    EXPECT_TRUE(Regex("(?i)\\dBean", Regex::Extent::whole).matches("1bEAN"));
    EXPECT_FALSE(Regex("<a(?:b|c)").matches("<Ab"));
    EXPECT_FALSE(Regex("bean", Regex::Extent::prefix).matches("Bean"));
}

TEST(RegexTest, onlyALineFeedEndsALine) {
    const Regex line("a.*");

    EXPECT_EQ((*line.find("abc\r\ndef"))[0], "abc\r");
    EXPECT_EQ((*line.find("abc\u2028def\u0085g"))[0], "abc\u2028def\u0085g");
    EXPECT_FALSE(Regex("c$").matches("abc\n"));
    EXPECT_FALSE(Regex("^d").matches("abc\nd"));
}

TEST(RegexTest, theExtentSaysHowMuchOfTheTextAMatchTakes) {
    EXPECT_TRUE(Regex("b+").matches("abba"));
    EXPECT_FALSE(Regex("b+", Regex::Extent::prefix).matches("abba"));
    EXPECT_TRUE(Regex("b+", Regex::Extent::prefix).find("abba", 1));
    EXPECT_FALSE(Regex("b+", Regex::Extent::prefix).find("abba", 3));
    EXPECT_FALSE(Regex("ab+", Regex::Extent::whole).matches("abba"));
    EXPECT_TRUE(Regex("ab+?", Regex::Extent::whole).matches("abb"));
    EXPECT_FALSE(Regex("(.*)", Regex::Extent::whole).matches("a\n"));
}

TEST(RegexTest, theStartOfTheTextIsWhereItBeginsAndNotWhereTheSearchDoes) {
    EXPECT_FALSE(Regex("^b").find("ab", 1));
    EXPECT_TRUE(Regex("(?<=a)b").find("ab", 1));
}

TEST(RegexTest, everyMatchIsReplacedFromTheLeft) {
    EXPECT_EQ(replaced(Regex("aa"), "aaaaa b aa", "-"), "--a b -");
    EXPECT_EQ(replaced(Regex("x"), "none here", "-"), "none here");
    EXPECT_EQ(replaced(Regex("x"), "", "-"), "");
    EXPECT_EQ(replaced(Regex("(?=é)"), "aéé", "|"), "a|é|é");
    EXPECT_EQ(replaced(Regex(""), "é€", "|"), "|é|€|");
    EXPECT_EQ(replaced(Regex("b"), std::string("a\0b\0", 4), "c"), std::string("a\0c\0", 4));
}

TEST(RegexTest, verbsSayWhereTheSearchGoesOn) {
    EXPECT_EQ(replaced(Regex(R"(a+(*SKIP)b)"), "aac aab", "-"), "aac -");
}

TEST(RegexTest, aSearchThatGivesUpLeavesItsLineAndNoOther) {
    const Regex hopeless("(x+x+)+y");
    RegexWork work;

    EXPECT_EQ(replaced(hopeless, "xxy\n" + std::string(40, 'x') + "\nxxy", "-"), "-\n" + std::string(40, 'x') + "\n-");
    EXPECT_FALSE(hopeless.find(std::string(40, 'x') + "\ny"));
    EXPECT_GE(work.searchesGivenUp(), 2u);
}

TEST(RegexTest, aLongTextMayTakeALongSearch) {
    const std::string text = "{" + std::string(1'000'000, 'a') + "}";
    const Regex lazy(R"((?s)\{(.*?)\n?\})");
    const Regex nested(R"(\{(?:a|b)+\})");

    EXPECT_EQ((*lazy.find(text))[1].size(), 1'000'000u);
    EXPECT_TRUE(nested.matches("{" + std::string(20'000, 'a') + "}"));
}

TEST(RegexTest, countedWorkTellsLinearFromQuadratic) {
    auto stepsFor = [](const Regex& regex, size_t length) {
        RegexWork work;
        regex.find(std::string(length, '['));
        return work.steps();
    };
    const Regex quadratic(R"(\[[^\]]+[]x])");
    const Regex linear(R"(\[[^\]]++(*SKIP)[]x])");

    EXPECT_GT(stepsFor(quadratic, 2'000), 3 * stepsFor(quadratic, 1'000));
    EXPECT_LT(stepsFor(linear, 2'000), 3 * stepsFor(linear, 1'000));
    EXPECT_GT(stepsFor(linear, 1'000), 0u);
}

TEST(RegexTest, threadsShareOneRegex) {
    const Regex regex(R"((\w+)-\1)");
    std::vector<std::thread> threads;
    std::atomic<int> found = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                std::string name = "name" + std::to_string(round);
                found += (*regex.find("a " + name + "-" + name))[1] == name ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(found, 800);
}

}  // namespace
}  // namespace marlet
