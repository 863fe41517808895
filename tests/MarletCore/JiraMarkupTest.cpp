#include "MarletCore/JiraMarkup.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

struct Row {
    const char* from;
    const char* to;
};

void expectMarkdown(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_EQ(JiraMarkup::markdown(row.from), row.to) << row.from;
    }
}

void expectWiki(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_EQ(JiraMarkup::wiki(row.from), row.to) << row.from;
    }
}

TEST(JiraMarkupTest, aCodeBlockBecomesAFencedBlockAndItsStarsStay) {
    expectMarkdown({
        {"{code:python}\nprint(2*3*4)\n{code}", "```python\nprint(2*3*4)\n```"},
        {"{code}\n*a* h1. _b_\n\n[c|d]\n{code}", "```\n*a* h1. _b_\n\n[c|d]\n```"},
        {"{code}a{code}b{code}c{code}", "```\na\n```b```\nc\n```"},
        {"{code:title=A.java|borderStyle=solid}\nx\n{code}", "```title=A.java\nx\n```"},
        {"{code}{code}", "```\n\n```"},
        {"{code}\n{code}", "```\n\n```"},
        {"{code}\n\n\nx\n\n{code}", "```\n\n\nx\n\n```"},
        {"*a* {code}*b*{code} *c*", "**a** ```\n*b*\n``` **c**"},
    });
}

TEST(JiraMarkupTest, aNoformatBlockBecomesAFencedBlockWithoutALanguage) {
    expectMarkdown({
        {"{noformat}x{noformat}", "```\nx\n```"},
        {"{noformat}\n{code}\n*a*\n{code}\n{noformat}", "```\n{code}\n*a*\n{code}\n```"},
    });
}

TEST(JiraMarkupTest, aCodeBlockThatNothingEndsIsText) {
    expectMarkdown({
        {"{code}\n*a*", "{code}\n**a**"},
        {"{code}*a*{noformat}", "{code}**a**{noformat}"},
        {"{code:x {noformat}*a*{noformat}", "{code:x ```\n*a*\n```"},
        {"{code}{noformat}*a*{noformat}", "{code}```\n*a*\n```"},
        {"{code:x", "{code:x"},
        {"{codes}*a*{code}", "{codes}**a**{code}"},
    });
}

TEST(JiraMarkupTest, aHeadingHasItsLevelInHashes) {
    expectMarkdown({
        {"h2. Title", "## Title"},
        {"h7. x", "h7. x"},
        {"h1. *a*", "# **a**"},
        {"h6.   x ", "###### x "},
        {"h1.x", "h1.x"},
        {" h1. x", " h1. x"},
        {"h3. ", "### "},
        {"H1. x", "H1. x"},
    });
}

TEST(JiraMarkupTest, aListItemIsIndentedByTheNumberOfItsMarkers) {
    expectMarkdown({
        {"** nested", "  - nested"},
        {"# one", "1. one"},
        {"* a\n** b\n*# c\n### d\n- e", "- a\n  - b\n  1. c\n    1. d\n- e"},
        {"* *a* _b_", "- **a** *b*"},
        {"*a", "*a"},
        {"-- x", "  - x"},
    });
}

TEST(JiraMarkupTest, aQuotedLineGetsItsMarker) {
    expectMarkdown({{"bq. _a_", "> *a*"}, {"bq.a", "bq.a"}});
}

TEST(JiraMarkupTest, aLinkBecomesAMarkdownLink) {
    expectMarkdown({
        {"[text|https://x.test]", "[text](https://x.test)"},
        {"[https://x.test]", "<https://x.test>"},
        {"[mailto:a@x.test] [http://x.test]", "<mailto:a@x.test> <http://x.test>"},
        {"[ftp://x.test] [~name] [a]", "[ftp://x.test] [~name] [a]"},
        {"[a|b|c]", "[a](b|c)"},
        {"[[a|b]", "[[a](b)"},
        {"[a|] [|b] [c|d]", "[a|] [|b] [c](d)"},
        {"[x [a|b]", "[x [a](b)"},
        {"[https://x.test y]", "[https://x.test y]"},
    });
}

TEST(JiraMarkupTest, boldAndItalicsOfTheWikiStandOnWordEnds) {
    expectMarkdown({
        {"*bold*", "**bold**"},
        {"_it_", "*it*"},
        {"a*b*c", "a*b*c"},
        {"*a b* and _c d_.", "**a b** and *c d*."},
        {"*_both_*", "***both***"},
        {"_*both*_", "**both**"},
        {"* a*", "- a*"},
        {"x * a * y", "x * a * y"},
        {"*a*b", "*a*b"},
        {"(*a*), \"_b_\"", "(**a**), \"*b*\""},
        {"snake_case_name _x_", "snake_case_name *x*"},
        {"*a*\n_b_", "**a**\n*b*"},
        {"*a\nb*", "*a\nb*"},
        {"{{a*b*}} {{_x_}}", "`a*b*` `*x*`"},
    });
}

TEST(JiraMarkupTest, aLetterOfAnyScriptIsPartOfAWord) {
    expectMarkdown({
        {"ä*b*", "ä*b*"},
        {"*b*ä", "*b*ä"},
        {"*größe* _öl_", "**größe** *öl*"},
        {"東*京*", "東*京*"},
        {"🎉*b*🎉", "🎉**b**🎉"},
        {"👩‍💻 _a_", "👩‍💻 *a*"},
        {"h1.\u00A0Öl", "# Öl"},
    });
    expectWiki({
        {"ä*b*", "ä*b*"},
        {"ä**b**ä", "ä*b*ä"},
        {"🎉*b*🎉", "🎉_b_🎉"},
        {"**größe** *öl*", "*größe* _öl_"},
        {"**\u00A0a", "**\u00A0a"},
    });
}

TEST(JiraMarkupTest, whatHasNoPlaceInMarkdownStaysAsItIs) {
    const std::vector<const char*> texts{
        "",
        "\n",
        "\n\n a\n",
        "||head||head||\n|cell|cell|",
        "{panel:title=A}\ntext\n{panel}",
        "{color:red}text{color}",
        "{quote}\ntext\n{quote}",
        "!image.png!",
        "-gone- +new+ ^up^ ~down~ ??who??",
        "----",
        "line\\\\break",
    };
    for (const char* text : texts) {
        EXPECT_EQ(JiraMarkup::markdown(text), text);
        EXPECT_EQ(JiraMarkup::wiki(text), text);
    }
    EXPECT_EQ(JiraMarkup::wiki("| a | b |\n| --- | --- |\n<b>c</b> ~~d~~"), "| a | b |\n| --- | --- |\n<b>c</b> ~~d~~");
}

TEST(JiraMarkupTest, boldAndItalicsOfMarkdownChangeTheirMarkers) {
    expectWiki({
        {"**bold** and *it*", "*bold* and _it_"},
        {"__bold__ _it_", "*bold* _it_"},
        {"***both***", "*_both*_"},
        {"**a b** **c**", "*a b* *c*"},
        {"**a *b* c**", "*a _b_ c*"},
        {"a**b**c", "a*b*c"},
        {"** a", "** a"},
        {"** a**", "_* a*_"},
        {"**a** and **b**", "*a** and **b*"},
        {"**a\nb**", "**a\nb**"},
        {"**a __b__", "**a *b*"},
        {"__a **b**", "__a *b*"},
        {"**a **b __c__ **d\n**e**", "**a **b *c* **d\n*e*"},
        {"*a", "*a"},
        {"*a*b", "*a*b"},
    });
}

TEST(JiraMarkupTest, codeOfMarkdownGetsDoubleBraces) {
    expectWiki({
        {"`a*b*`", "{{a*b*}}"},
        {"`a` ``b``", "{{a}} `{{b}}`"},
        {"`a\nb`", "`a\nb`"},
        {"``", "``"},
    });
}

TEST(JiraMarkupTest, aLinkOfMarkdownBecomesAWikiLink) {
    expectWiki({
        {"[text](https://x.test)", "[text|https://x.test]"},
        {"<https://x.test>", "<https://x.test>"},
        {"[a] (b) [c](d e) [f]()", "[a] (b) [c](d e) [f]()"},
        {"[[a](b)", "[[a|b]"},
        {"[a]([b](c d](e)", "[a]([b](c d](e)"},
        {"[a]([b c](d)", "[a]([b c|d]"},
        {"[a]([b](c)", "[a|[b](c]"},
        {"![image](a.png)", "![image|a.png]"},
    });
}

TEST(JiraMarkupTest, aListItemOfMarkdownRepeatsItsMarkerByDepth) {
    expectWiki({
        {"1. a", "# a"},
        {"  - b", "** b"},
        {"- a\n  - b\n    - c\n  1. d\n+ e\n* f\n10. g", "* a\n** b\n*** c\n## d\n* e\n* f\n# g"},
        {"   - odd", "** odd"},
        {"- *it*", "* _it_"},
        {"-a", "-a"},
        {"1) a", "1) a"},
        {"1.a", "1.a"},
    });
}

TEST(JiraMarkupTest, headingsAndQuotesOfMarkdownHaveTheirWikiForm) {
    expectWiki({
        {"# a", "h1. a"},
        {"###### **a**", "h6. *a*"},
        {"####### a", "####### a"},
        {"#a", "#a"},
        {"> a", "bq. a"},
        {">a", "bq. a"},
        {">  a", "bq.  a"},
        {">", "bq. "},
        {"> > a", "bq. > a"},
    });
}

TEST(JiraMarkupTest, aFencedBlockBecomesACodeBlock) {
    expectWiki({
        {"```python\nprint(2*3*4)\n```", "{code:python}\nprint(2*3*4)\n{code}"},
        {"```\nx\n```", "{code}\nx\n{code}"},
        {"*a*\n```\n**b**\n```\n*c*", "_a_\n{code}\n**b**\n{code}\n_c_"},
        {"```\n```", "{code}\n\n{code}"},
        {"```\nnever *ends*", "```\nnever _ends_"},
        {"```sh -x\na\n\nb\n```", "{code:sh -x}\na\n\nb\n{code}"},
    });
}

TEST(JiraMarkupTest, aMarkOfTheTextItselfSurvives) {
    EXPECT_EQ(JiraMarkup::wiki("\x01 **aa** \x01**b\x01**\x01 *\x01* \x01*c*"),
              "\x01 *aa* \x01*b\x01*\x01 _\x01_ \x01_c_");
    EXPECT_EQ(JiraMarkup::wiki("\x01"), "\x01");
    EXPECT_EQ(JiraMarkup::markdown("\x01*a*\x01"), "\x01**a**\x01");
}

TEST(JiraMarkupTest, bytesThatAreNoTextComeBackUnconverted) {
    for (const char* bytes : {"*a* \xff", "\xc3", "h1. \xed\xa0\x80", "{code}\xf8{code}", "**a** `\x80`"}) {
        EXPECT_EQ(JiraMarkup::markdown(bytes), bytes);
        EXPECT_EQ(JiraMarkup::wiki(bytes), bytes);
    }
    EXPECT_EQ(JiraMarkup::markdown(std::string_view("a\0*b*", 5)), std::string("a\0**b**", 7));
}

}  // namespace
}  // namespace marlet
