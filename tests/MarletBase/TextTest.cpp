#include "MarletBase/Text.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(TextTest, trimsTheWhiteSpaceOfAnyScript) {
    EXPECT_EQ(trimmed(" \t\r\n a b \u00a0\u2003\u2028"), "a b");
    EXPECT_EQ(trimmed("\u3000 \n"), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed(" \xff "), "\xff");
}

TEST(TextTest, comparesWithoutCaseInAnyScript) {
    EXPECT_TRUE(equalIgnoringCase("DONE", "done"));
    EXPECT_TRUE(equalIgnoringCase("ÄRGER", "ärger"));
    EXPECT_TRUE(equalIgnoringCase("STRASSE", "straße"));
    EXPECT_FALSE(equalIgnoringCase("done", "dome"));
}

TEST(TextTest, listsNamesAsPeopleDo) {
    EXPECT_TRUE(std::is_lt(localizedStandardCompare("Task 2", "Task 10")));
    EXPECT_TRUE(std::is_lt(localizedStandardCompare("apple", "Banana")));
    EXPECT_TRUE(std::is_lt(localizedStandardCompare("Äpfel", "Birnen")));
    EXPECT_TRUE(std::is_eq(localizedStandardCompare("same", "same")));
}

TEST(TextTest, aSearchIgnoresCaseAndDiacritics) {
    EXPECT_TRUE(localizedStandardContains("Café crème", "CREME"));
    EXPECT_TRUE(localizedStandardContains("creme", "Crème"));
    EXPECT_TRUE(localizedStandardContains("cre\u0300me", "cr\u00e8me"));
    EXPECT_FALSE(localizedStandardContains("tea", "coffee"));
    EXPECT_TRUE(localizedStandardContains("anything", ""));
}

TEST(TextTest, numbersAreThoseOfUnicode) {
    EXPECT_TRUE(isAllNumbers("0123"));
    EXPECT_TRUE(isAllNumbers("٤٢Ⅷ½"));
    EXPECT_TRUE(isAllNumbers(""));
    EXPECT_FALSE(isAllNumbers("12a"));
    EXPECT_FALSE(isAllNumbers("-1"));
    EXPECT_FALSE(isAllNumbers("\xff"));
}

TEST(TextTest, onlyLettersOfASCIIAreLowered) {
    EXPECT_EQ(lowercasedASCII("X-Total Ä@Z[az"), "x-total Ä@z[az");
}

TEST(TextTest, namesAreLoweredInAnyScriptAndInTheSameWayEverywhere) {
    EXPECT_EQ(lowercased("URGENT-7 Ärger ΟΔΟΣ"), "urgent-7 ärger οδος");
    EXPECT_EQ(lowercased("I\u0130"), "ii\u0307") << "not as in Turkish";
    EXPECT_EQ(lowercased("買い物"), "買い物");
    EXPECT_EQ(lowercased(""), "");
    EXPECT_EQ(lowercased("A\xff"), "a\ufffd");
}

TEST(TextTest, aTextIsTakenApartIntoItsCodePoints) {
    EXPECT_EQ(codePoints("aß買🌱"), U"aß買🌱");
    EXPECT_EQ(codePoints("a\xff\xf0\x9f"), U"a\ufffd\ufffd");
    EXPECT_EQ(codePoints(""), U"");
}

TEST(TextTest, aTextIsCutIntoPiecesWithoutEmptyOnes) {
    EXPECT_EQ(pieces("/a//b c/", '/'), (std::vector<std::string_view>{"a", "b c"}));
    EXPECT_TRUE(pieces("", '/').empty());
    EXPECT_TRUE(pieces("//", '/').empty());
}

TEST(TextTest, badSequencesAreRepaired) {
    EXPECT_TRUE(isValidUTF8("grün"));
    EXPECT_FALSE(isValidUTF8("gr\xfcn"));
    EXPECT_EQ(repairedUTF8("gr\xfcn"), "gr\ufffdn");
}

TEST(TextTest, aBadSequenceIsFoundAnywhereInALongText) {
    for (size_t position = 4080; position < 4110; ++position) {
        std::string text(10'000, 'a');
        text.replace(position, 4, "\U0001F331");
        EXPECT_TRUE(isValidUTF8(text)) << position;
        EXPECT_FALSE(isValidUTF8(std::string(text).erase(position, 1))) << position;
        EXPECT_FALSE(isValidUTF8(std::string(text).erase(position + 3, 1))) << position;
        EXPECT_FALSE(isValidUTF8(std::string(text).replace(position, 1, 1, '\x80'))) << position;
        EXPECT_FALSE(isValidUTF8(text.substr(0, position + 3))) << position;
    }
    EXPECT_FALSE(isValidUTF8(std::string(10'000, '\x80')));
}

TEST(TextTest, controlCharactersNeverReachATerminal) {
    EXPECT_EQ(withoutControlCharacters("a\x1b[31mred\a\tb\nc"), "a\ufffd[31mred\ufffd b c");
    EXPECT_EQ(withoutControlCharacters("\u009b31m"), "\ufffd31m");
    EXPECT_EQ(withoutControlCharacters("user\u202egnp.exe"), "user\ufffdgnp.exe");
    EXPECT_EQ(withoutControlCharacters("größe ✓"), "größe ✓");
}

TEST(TextTest, everyPartIsReplacedOnceFromTheLeft) {
    EXPECT_EQ(replacingAll("a-b--c", "-", "+-"), "a+-b+-+-c");
    EXPECT_EQ(replacingAll("aaaaa", "aa", "b"), "bba");
    EXPECT_EQ(replacingAll("abc", "abc", ""), "");
    EXPECT_EQ(replacingAll("abc", "abcd", "x"), "abc");
    EXPECT_EQ(replacingAll("", "a", "x"), "");
}

TEST(TextTest, digitsOfAnyScriptMakeANumber) {
    EXPECT_EQ(decimalNumber("0"), 0);
    EXPECT_EQ(decimalNumber("007"), 7);
    EXPECT_EQ(decimalNumber("١٢"), 12);
    EXPECT_EQ(decimalNumber("2147483647"), 2147483647);
    for (const char* text : {"", "-1", "1 ", "2147483648", "99999999999999999999", "x", "\xff"}) {
        EXPECT_EQ(decimalNumber(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace marlet
