#include <gtest/gtest.h>

#include "LetterCount.h"
#include "MarletCore/JiraMarkup.h"

namespace marlet {
namespace {

const char* const description =
    "h1. Broken *export*\n"
    "\n"
    "As seen in [the log|https://x.test/log?id=7] and [https://x.test], _since_ version {{2.4-beta}}.\n"
    "\n"
    "h3. Steps\n"
    "# Open the *list*\n"
    "# Press {{Export}}\n"
    "## as PDF\n"
    "## as text\n"
    "* Größe\n"
    "** 東京 🎉\n"
    "*** third\n"
    "\n"
    "bq. It _never_ worked.\n"
    "\n"
    "{code:java}\n"
    "int a = b *c* d; // _not_ markup\n"
    "\n"
    "    return [a|b];\n"
    "{code}\n"
    "{noformat}\nplain\n{noformat}\n"
    "||table||head||\n"
    "|a|b|\n"
    "{color:red}red{color} {panel}panel{panel}\n";

TEST(MarkupRoundTripTest, aTypicalDescriptionReadsAsMarkdown) {
    EXPECT_EQ(JiraMarkup::markdown(description),
              "# Broken **export**\n"
              "\n"
              "As seen in [the log](https://x.test/log?id=7) and <https://x.test>, *since* version `2.4-beta`.\n"
              "\n"
              "### Steps\n"
              "1. Open the **list**\n"
              "1. Press `Export`\n"
              "  1. as PDF\n"
              "  1. as text\n"
              "- Größe\n"
              "  - 東京 🎉\n"
              "    - third\n"
              "\n"
              "> It *never* worked.\n"
              "\n"
              "```java\n"
              "int a = b *c* d; // _not_ markup\n"
              "\n"
              "    return [a|b];\n"
              "```\n"
              "```\nplain\n```\n"
              "||table||head||\n"
              "|a|b|\n"
              "{color:red}red{color} {panel}panel{panel}\n");
}

TEST(MarkupRoundTripTest, whatWasSentBackReadsTheSameAgain) {
    const std::vector<std::string> wikiTexts{
        description,
        withCarriageReturns(description),
        "",
        "\n",
        "*bold* _it_ {{code}}",
        "* *a* and _b_",
        "{code}a{code}",
        "{noformat}a\n{noformat}",
        "(*a*) ä*b* a*b*c",
        "line\n\n\n\nline \n",
    };
    for (const std::string& wiki : wikiTexts) {
        std::string markdown = JiraMarkup::markdown(wiki);
        EXPECT_EQ(JiraMarkup::markdown(JiraMarkup::wiki(markdown)), markdown) << wiki;
    }
}

TEST(MarkupRoundTripTest, readingTheSameDescriptionTwiceGivesTheSameNotes) {
    std::string first = JiraMarkup::markdown(description);

    EXPECT_EQ(JiraMarkup::markdown(description), first);
}

TEST(MarkupRoundTripTest, lineEndsAreNeitherLostNorDoubled) {
    std::string markdown = JiraMarkup::markdown(description);

    EXPECT_EQ(JiraMarkup::markdown(withCarriageReturns(description)), withCarriageReturns(markdown));
    EXPECT_EQ(JiraMarkup::wiki(withCarriageReturns(markdown)), withCarriageReturns(JiraMarkup::wiki(markdown)));
    EXPECT_EQ(JiraMarkup::markdown("h1.\r\n* \r\nbq. a\r\n"), "h1.\r\n- \r\n> a\r\n");
    EXPECT_EQ(JiraMarkup::markdown("{code:c}\r\na\r\n\r\n{code}\r\n*b*"), "```c\r\na\r\n\r\n```\r\n**b**");
    EXPECT_EQ(JiraMarkup::markdown("*a*\r\n{code}b{code}"), "**a**\r\n```\r\nb\r\n```");
    EXPECT_EQ(JiraMarkup::wiki("```c\r\na\r\n```\r\n- *b*\r\n> \r\n"), "{code:c}\r\na\r\n{code}\r\n* _b_\r\nbq. \r\n");
    EXPECT_EQ(JiraMarkup::markdown("h1. a\r\nh2. b\nc\r\n"), "# a\r\n## b\nc\r\n");
    EXPECT_EQ(JiraMarkup::markdown("a\rb\r"), "a\rb\r");
}

}  // namespace
}  // namespace marlet
