#include "MarletCore/MarkdownBlock.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

using Block = MarkdownBlock;
using Blocks = std::vector<MarkdownBlock>;

Block text(const char* words) {
    return Block::paragraph(words);
}

struct Row {
    const char* text;
    Blocks blocks;
};

void expectBlocks(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_TRUE(Block::parse(row.text) == row.blocks) << row.text;
    }
}

TEST(MarkdownBlockTest, blankLinesSeparateParagraphs) {
    expectBlocks({
        {"", {}},
        {"\n \n\t\n\u00A0\n", {}},
        {"a", {text("a")}},
        {"a\nb\n\n\nc\n", {text("a\nb"), text("c")}},
        {"a\r\nb\r\n\r\nc\r\n", {text("a\nb"), text("c")}},
        {"  a\n    b", {text("  a\n    b")}},
        {"**a** `b`", {text("**a** `b`")}},
    });
}

TEST(MarkdownBlockTest, anUnclosedFenceRunsToTheEndOfTheText) {
    expectBlocks({
        {"```\na\n\n# b\n", {Block::code(std::nullopt, "a\n\n# b")}},
        {"x\n~~~~\n~~~\n```", {text("x"), Block::code(std::nullopt, "~~~\n```")}},
        {"```", {Block::code(std::nullopt, "")}},
    });
}

TEST(MarkdownBlockTest, aFenceKeepsItsLinesAndItsLanguage) {
    expectBlocks({
        {"```swift\nlet a\n  let b\n```\nc", {Block::code("swift", "let a\n  let b"), text("c")}},
        {"~~~  c++ title=x\na\n~~~", {Block::code("c++", "a")}},
        {"````\n```\n````` end\nb", {Block::code(std::nullopt, "```"), text("b")}},
        {"   ```\n   a\n   ```", {Block::code(std::nullopt, "   a")}},
        {"    ```", {text("    ```")}},
        {"``\na", {text("``\na")}},
        {"```\r\na\r\n```\r\n", {Block::code(std::nullopt, "a")}},
    });
}

TEST(MarkdownBlockTest, aHeadingDropsTheHashesBehindIt) {
    expectBlocks({
        {"# a", {Block::heading(1, "a")}},
        {"   ###### a b ##  ", {Block::heading(6, "a b")}},
        {"## a # b", {Block::heading(2, "a # b")}},
        {"## a #b", {Block::heading(2, "a #b")}},
        {"## a#", {Block::heading(2, "a#")}},
        {"# ", {Block::heading(1, "")}},
        {"## ##", {Block::heading(2, "##")}},
        {"# a # #", {Block::heading(1, "a #")}},
        {"#", {text("#")}},
        {"#a", {text("#a")}},
        {"####### a", {text("####### a")}},
        {"    # a", {text("    # a")}},
    });
}

TEST(MarkdownBlockTest, aRuleIsNoListItem) {
    expectBlocks({
        {"* * *", {Block::rule()}},
        {"---", {Block::rule()}},
        {"   _ _ _ _  ", {Block::rule()}},
        {"-\t-\t-", {Block::rule()}},
        {"a\n---\nb", {text("a"), Block::rule(), text("b")}},
        {"--", {text("--")}},
        {"-*-", {text("-*-")}},
        {"- a\n* * *\n- b",
         {Block::list(std::nullopt, {{text("a")}}), Block::rule(), Block::list(std::nullopt, {{text("b")}})}},
    });
}

TEST(MarkdownBlockTest, aQuoteHoldsBlocks) {
    expectBlocks({
        {"> a\n>b\n>\n>  c", {Block::quote({text("a\nb"), text(" c")})}},
        {"> # a\n> - b\n> > c",
         {Block::quote({Block::heading(1, "a"), Block::list(std::nullopt, {{text("b")}}), Block::quote({text("c")})})}},
        {"> a\nb", {Block::quote({text("a")}), text("b")}},
        {"a\n> b", {text("a"), Block::quote({text("b")})}},
        {">", {Block::quote({})}},
    });
}

TEST(MarkdownBlockTest, aListHoldsItsItemsAndItsFirstNumber) {
    expectBlocks({
        {"- a\n- b", {Block::list(std::nullopt, {{text("a")}, {text("b")}})}},
        {"3. a\n7. b", {Block::list(3, {{text("a")}, {text("b")}})}},
        {"1) a\n2. b", {Block::list(1, {{text("a")}, {text("b")}})}},
        {"- a\n+ b\n* c", {Block::list(std::nullopt, {{text("a")}, {text("b")}, {text("c")}})}},
        {"- a\n\n- b", {Block::list(std::nullopt, {{text("a")}, {text("b")}})}},
        {"- a\n1. b", {Block::list(std::nullopt, {{text("a")}}), Block::list(1, {{text("b")}})}},
        {"-", {Block::list(std::nullopt, {{}})}},
        {"999999999. a", {Block::list(999999999, {{text("a")}})}},
        {"1234567890. a", {text("1234567890. a")}},
        {"\u0663. a", {Block::list(3, {{text("a")}})}},
        {"-a\n1.b\n1 c", {text("-a\n1.b\n1 c")}},
        {"a\n- b", {text("a"), Block::list(std::nullopt, {{text("b")}})}},
    });
}

TEST(MarkdownBlockTest, linesAsFarInAsTheContentBelongToTheItem) {
    expectBlocks({
        {"- a\n  - b\n    - c\n  - d\n- e",
         {Block::list(std::nullopt,
                      {{text("a"), Block::list(std::nullopt,
                                               {{text("b"), Block::list(std::nullopt, {{text("c")}})}, {text("d")}})},
                       {text("e")}})}},
        {"1. a\n\n   b\n\nc", {Block::list(1, {{text("a"), text("b")}}), text("c")}},
        {"- a\n  ```x\n  b\n\n    c\n  ```\n  d",
         {Block::list(std::nullopt, {{text("a"), Block::code("x", "b\n\n  c"), text("d")}})}},
        {"10. a\n    > b", {Block::list(10, {{text("a"), Block::quote({text("b")})}})}},
        {"- a\n\t- b", {Block::list(std::nullopt, {{text("a"), Block::list(std::nullopt, {{text("b")}})}})}},
        {"-       a\n  b", {Block::list(std::nullopt, {{text("a\nb")}})}},
        {"- a\n - b", {Block::list(std::nullopt, {{text("a")}}), Block::list(std::nullopt, {{text("b")}})}},
        {"  - a\n  - b", {Block::list(std::nullopt, {{text("a")}, {text("b")}})}},
        {"- - a\n  - b", {Block::list(std::nullopt, {{Block::list(std::nullopt, {{text("a")}, {text("b")}})}})}},
    });
}

TEST(MarkdownBlockTest, aParagraphOfAnItemGoesOnInALineThatIsNotIndented) {
    expectBlocks({
        {"- a\nb\n- c", {Block::list(std::nullopt, {{text("a\nb")}, {text("c")}})}},
        {"- a\n  - b\nc", {Block::list(std::nullopt, {{text("a"), Block::list(std::nullopt, {{text("b\nc")}})}})}},
        {"- a\n\nb", {Block::list(std::nullopt, {{text("a")}}), text("b")}},
        {"- # a\nb", {Block::list(std::nullopt, {{Block::heading(1, "a")}}), text("b")}},
        {"- a\n# b", {Block::list(std::nullopt, {{text("a")}}), Block::heading(1, "b")}},
        {"- ```\n  a\nb", {Block::list(std::nullopt, {{Block::code(std::nullopt, "a")}}), text("b")}},
        {"-\nb", {Block::list(std::nullopt, {{}}), text("b")}},
    });
}

TEST(MarkdownBlockTest, bytesThatAreNoTextAreOneParagraph) {
    EXPECT_TRUE(Block::parse("# a\n\xff") == Blocks{text("# a\n\xff")});
}

// How many quotes or lists stand in each other, and the text of the innermost.
std::pair<int, std::string> depthAndText(const Blocks& blocks) {
    if (const auto* quote = std::get_if<Block::Quote>(&blocks.at(0).payload())) {
        auto [depth, innermost] = depthAndText(quote->blocks);
        return {depth + 1, innermost};
    }
    if (const auto* list = std::get_if<Block::List>(&blocks.at(0).payload())) {
        auto [depth, innermost] = depthAndText(list->items.at(0));
        return {depth + 1, innermost};
    }
    return {0, std::get<Block::Paragraph>(blocks.at(0).payload()).text};
}

TEST(MarkdownBlockTest, whatIsNestedTooDeepStaysText) {
    const std::string quotes(100'000, '>');
    std::string markers;
    for (int item = 0; item < 100'000; ++item) {
        markers += "+ ";
    }

    EXPECT_EQ(depthAndText(Block::parse(quotes + "a")),
              std::pair(Block::maximalDepth, quotes.substr(Block::maximalDepth) + "a"));
    EXPECT_EQ(depthAndText(Block::parse(markers + "a")),
              std::pair(Block::maximalDepth, markers.substr(size_t{2} * Block::maximalDepth) + "a"));
}

}  // namespace
}  // namespace marlet
