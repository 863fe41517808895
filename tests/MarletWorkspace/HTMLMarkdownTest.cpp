#include "MarletWorkspace/HTMLMarkdown.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "MarletBase/Regex.h"

namespace marlet {
namespace {

std::string markdown(std::string_view html) {
    return HTMLMarkdown::markdown(html);
}

std::string repeated(std::string_view text, size_t count) {
    std::string result;
    for (size_t index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

TEST(HTMLMarkdownTest, anEscapedEntityIsNotUnescapedTwice) {
    EXPECT_EQ(markdown("<p>a &amp;lt; b</p>"), "a &lt; b");
    EXPECT_EQ(markdown("&amp;amp;nbsp;"), "&amp;nbsp;");
}

TEST(HTMLMarkdownTest, everyEntityBecomesItsCharacter) {
    EXPECT_EQ(markdown("a&nbsp;b &lt;i&gt; &quot;c&quot; &#39;d&#39; e&amp;f"), "a b <i> \"c\" 'd' e&f");
    EXPECT_EQ(markdown("&eacute; &LT; &#x27; &"), "&eacute; &LT; &#x27; &");
}

TEST(HTMLMarkdownTest, aHeadingAndAListStandApartByAtMostOneEmptyLine) {
    EXPECT_EQ(markdown("<h2>T</h2><ul><li>x</li></ul>"), "## T\n\n- x");
    EXPECT_EQ(markdown("<p>a</p>\n\n<div></div><blockquote>b</blockquote><ol><li>c</li><li>d</li></ol><p>e</p>"),
              "a\n\nb\n\n- c\n- d\n\ne");
}

TEST(HTMLMarkdownTest, headingsHaveTheirLevel) {
    EXPECT_EQ(markdown("<h1>a</h1><H3 class=\"x\">b</H3><h6>c</h6>"), "# a\n\n### b\n\n###### c");
    EXPECT_EQ(markdown("<h7>a</h7><h0>b</h0>"), "ab");
}

TEST(HTMLMarkdownTest, codeBlocksAreFenced) {
    EXPECT_EQ(markdown("a<pre>x\n  y</pre>b"), "a\n```\nx\n  y\n```\nb");
    EXPECT_EQ(markdown("<pre><code class=\"language-c\">int x;\n</code></pre>"), "```\nint x;\n\n```");
    EXPECT_EQ(markdown("<PRE class=\"a\">\n<CODE>x</CODE>\n</PRE>"), "```\nx\n```");
    EXPECT_EQ(markdown("<pre>a</pre><pre>b</pre>"), "```\na\n```\n\n```\nb\n```");
}

TEST(HTMLMarkdownTest, linksKeepTheirTextAndAddress) {
    EXPECT_EQ(markdown("<a href=\"https://h/\">here</a>"), "[here](https://h/)");
    EXPECT_EQ(markdown("<A class=\"x\" HREF=\"u\" title=\"t\">a\nb</A> <a\nhref=\"\">c</a>"), "[a\nb](u) [c]()");
    EXPECT_EQ(markdown("<a href=\"u\"><b>x</b></a>"), "[**x**](u)");
    EXPECT_EQ(markdown("<a href='u'>x</a> <a name=\"y\">z</a> <a>w</a>"), "x z w");
    EXPECT_EQ(markdown("<a name=\"y\">z <a href=\"u\">x</a></a>"), "z [x](u)");
}

TEST(HTMLMarkdownTest, theLastAddressOfATagIsTaken) {
    EXPECT_EQ(markdown("<a href=\"u\" data-href=\"v\">x</a>"), "[x](v)");
    // The last one has no end, so the one before it is taken.
    EXPECT_EQ(markdown("<a href=\"u\" href=\">x</a>"), "[x](u)");
}

TEST(HTMLMarkdownTest, emphasisHasItsMarks) {
    EXPECT_EQ(markdown("<strong>a</strong> <b>b</b> <em>c</em> <I>d</I> <code>e</code>"), "**a** **b** *c* *d* `e`");
    EXPECT_EQ(markdown("<b class=\"x\">a</b> <body>x</body> <image>"), "a** x");
}

TEST(HTMLMarkdownTest, linesBreakWhereTheyShould) {
    EXPECT_EQ(markdown("a<br>b<br/>c<BR />d<br class=\"x\">e"), "a\nb\nc\nde");
    EXPECT_EQ(markdown("<p>a \t</p><p>b</p>"), "a\n\nb");
    EXPECT_EQ(markdown("a  \n \t\nb"), "a\n\nb");
    EXPECT_EQ(markdown("a\n\n\n\n\nb"), "a\n\nb");
}

TEST(HTMLMarkdownTest, otherTagsAreDropped) {
    EXPECT_EQ(markdown("<span data-x=\"1\">a</span><!-- b --><img src=\"c\">d"), "ad");
    EXPECT_EQ(markdown("1 < 2 and 3 > 2"), "1  2");
    EXPECT_EQ(markdown("a <> b < c"), "a <> b < c");
}

TEST(HTMLMarkdownTest, plainTextAndNothingStayWhatTheyAre) {
    EXPECT_EQ(markdown(""), "");
    EXPECT_EQ(markdown(" \n a\u00E4 \U0001F331 \n"), "a\u00E4 \U0001F331");
    EXPECT_EQ(markdown("<p></p>"), "");
}

TEST(HTMLMarkdownTest, bytesThatAreNoTextBecomeReplacementCharacters) {
    EXPECT_EQ(markdown("<b>a\xFF</b>"), "**a\uFFFD**");
}

// The rules as plain patterns, whatever time they take.
class PlainPatterns {
public:
    std::string markdown(std::string text) const {
        for (const auto& [pattern, replacement] : rules) {
            pattern->replaceAll(text, replacement);
        }
        return text;
    }

    PlainPatterns() {
        add(R"re((?is)<pre[^>]*>(?:\s*<code[^>]*>)?(.*?)(?:</code>\s*)?</pre>)re",
            [](const Regex::Match& match, std::string& result) {
                result += "\n```\n" + std::string(match[1]) + "\n```\n";
            });
        add(R"re((?is)<a\s[^>]*href="([^"]*)"[^>]*>(.*?)</a>)re", [](const Regex::Match& match, std::string& result) {
            result += "[" + std::string(match[2]) + "](" + std::string(match[1]) + ")";
        });
        add(R"((?i)<h([1-6])[^>]*>)", [](const Regex::Match& match, std::string& result) {
            result += "\n" + std::string(std::stoul(std::string(match[1])), '#') + " ";
        });
        addTags();
        add("&nbsp;", " ");
        add("&lt;", "<");
        add("&gt;", ">");
        add("&quot;", "\"");
        add("&#39;", "'");
        add("&amp;", "&");
        add("[ \\t]+\\n", "\n");
        add("\\n{3,}", "\n\n");
        add(R"(^\s+)", "");
        add(R"(\s+$)", "");
    }

private:
    void addTags() {
        add("(?i)</?(strong|b)>", "**");
        add("(?i)</?(em|i)>", "*");
        add("(?i)</?code>", "`");
        add("(?i)<li[^>]*>", "\n- ");
        add(R"((?i)<br\s*/?>)", "\n");
        add("(?i)</(p|div|h[1-6]|blockquote|ul|ol)>", "\n\n");
        add("<[^>]+>", "");
    }

    void add(const char* pattern, Regex::Replacement replacement) {
        rules.emplace_back(std::make_unique<Regex>(pattern), std::move(replacement));
    }

    void add(const char* pattern, const char* replacement) {
        add(pattern, [replacement](const Regex::Match&, std::string& result) { result += replacement; });
    }

    std::vector<std::pair<std::unique_ptr<Regex>, Regex::Replacement>> rules;
};

TEST(HTMLMarkdownTest, whatKeepsTheWorkSmallDoesNotChangeWhatIsFound) {
    const std::vector<std::string_view> parts{
        "<a ",   "<A\n",   "href=\"", "HREF=\"u\"", "\"",     ">",    ">",     "</a>", "</A>", "<pre>",  "<pre",
        "<code", "<code>", "</code>", "</pre>",     "</PRE>", "<h2",  "<h3>",  "<li",  "<li>", "<",      "<>",
        "<br",   " ",      "\t",      "\n",         "\n\n",   "</p>", "&amp;", "lt;",  "x",    "\u00E4", "</b>"};
    const PlainPatterns plainPatterns;
    std::mt19937 random(20'260'309);
    std::uniform_int_distribution<size_t> anyPart(0, parts.size() - 1);
    std::uniform_int_distribution<int> anyLength(1, 24);

    for (int round = 0; round < 40'000; ++round) {
        std::string html;
        for (int length = anyLength(random); length > 0; --length) {
            html += parts.at(anyPart(random));
        }
        ASSERT_EQ(markdown(html), plainPatterns.markdown(html)) << html;
    }
}

struct HostileText {
    std::string_view start;
    std::string_view part;
    std::string_view end;

    std::string ofLength(size_t length) const {
        return std::string(start) + repeated(part, length / part.size()) + std::string(end);
    }
};

// What a byte costs doesn't grow with the text.
void expectLinearWork(const HostileText& text, size_t length) {
    std::string name = testing::PrintToString(text.start) + ", " + testing::PrintToString(text.part) +
                       " over and over, " + testing::PrintToString(text.end);
    auto stepsPerByte = [&](size_t count) {
        std::string html = text.ofLength(count);
        RegexWork work;
        markdown(html);
        EXPECT_EQ(work.searchesGivenUp(), 0u) << name;
        return static_cast<double>(work.steps()) / static_cast<double>(html.size());
    };
    double cost = stepsPerByte(length);
    EXPECT_LT(cost, 1.5 * stepsPerByte(length / 4) + 1) << name;
    EXPECT_LT(cost, 100) << name;
}

const std::vector<std::string_view> hostileParts{"<pre",
                                                 "<pre>",
                                                 "<pre><code",
                                                 "<pre><code>",
                                                 "<pre> ",
                                                 "<a ",
                                                 "<a href=\"",
                                                 "<a href=\"x\"",
                                                 "<a href=\"x\">",
                                                 "<a href=\"x\" ",
                                                 "<a <a href=\">",
                                                 "href=\"",
                                                 "<h1",
                                                 "<li",
                                                 "<br ",
                                                 "<",
                                                 "<<p>",
                                                 "</",
                                                 "<b",
                                                 "</code>",
                                                 " ",
                                                 "\t",
                                                 " \n",
                                                 "\n",
                                                 "&amp;",
                                                 "<p><div>",
                                                 "<a href=\"x\"><b>"};

TEST(HTMLMarkdownTest, hostileTextsTakeNoMoreThanLinearWork) {
    for (std::string_view part : hostileParts) {
        for (std::string_view end : {"</a>", "</pre>", ">", "\"", "\">x</a>", "<a ", "x\n"}) {
            expectLinearWork({"", part, end}, 8'000);
        }
        for (std::string_view start : {"<a ", "<a href=\"", "<a href=\"x\">y</a><a ", "<pre>", "<pre><code"}) {
            expectLinearWork({start, part, "</a>"}, 8'000);
        }
    }
}

// If each of them were read to the end of the text, this would take minutes.
TEST(HTMLMarkdownTest, aMegabyteOfTagsThatAreNeverClosedStaysAsItIs) {
    for (std::string_view part : {"<", "<h1", "<li", "<pre", "<a"}) {
        std::string html = "x>" + repeated(part, 1'000'000 / part.size());

        EXPECT_TRUE(markdown(html) == html) << part;
    }
}

TEST(HTMLMarkdownTest, oneLongBlockIsConvertedWhole) {
    for (std::string_view part :
         {"x", "\u00E4\n", "\U0001F331", "a b ", "</code>x", "</code> ", "</", "\"", "href=\""}) {
        std::string content = repeated(part, 250'000) + "x";
        std::string block = "<pre><code>" + content + "</code></pre>";
        EXPECT_TRUE(markdown(block).starts_with("```\n")) << part;
        EXPECT_TRUE(markdown(block).ends_with("x\n```")) << part;

        std::string link = markdown("<a href=\"u\">" + content + "</a>");
        EXPECT_TRUE(link.starts_with("[")) << part;
        EXPECT_TRUE(link.ends_with("x](u)")) << part;
    }
    std::string spaces(1'000'000, ' ');
    EXPECT_EQ(markdown("<pre>" + spaces + "<code>x</code>" + spaces + "</pre>"), "```\nx\n```");
    EXPECT_EQ(markdown("<a" + spaces + "href=\"u\"" + spaces + ">x</a>"), "[x](u)");
    EXPECT_EQ(markdown("<a href=\"" + spaces + "\">x</a>").size(), 1'000'005u);
    EXPECT_EQ(markdown("x<br" + spaces + "/>y"), "x\ny");
    EXPECT_EQ(markdown("x" + spaces + "\ny"), "x\ny");
    EXPECT_EQ(markdown("<li" + spaces + ">x"), "- x");
}

TEST(HTMLMarkdownTest, aLongTextOfAllKindsIsConvertedWhole) {
    std::string paragraph =
        "<h2>T</h2><p>a <a href=\"u\">l</a> <b>b</b></p><pre><code>x</code></pre><ul><li>i</li></ul>";
    std::string expected = markdown(paragraph);

    EXPECT_EQ(markdown(repeated(paragraph, 10'000)).size(), 10'000 * (expected.size() + 2) - 2);
}

}  // namespace
}  // namespace marlet
