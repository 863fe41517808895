#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace marlet {

// One block of a Markdown text, for turning notes into another form. Text inside a block keeps its inline markup.
class MarkdownBlock {
public:
    struct Heading {
        int level = 1;
        std::string text;
        bool operator==(const Heading&) const = default;
    };
    struct Paragraph {
        std::string text;
        bool operator==(const Paragraph&) const = default;
    };
    struct Code {
        std::optional<std::string> language;
        std::string text;
        bool operator==(const Code&) const = default;
    };
    struct Quote {
        std::vector<MarkdownBlock> blocks;
        bool operator==(const Quote&) const;
    };
    struct List {
        std::optional<int> start;  // the first number of an ordered list, none for bullets
        std::vector<std::vector<MarkdownBlock>> items;
        bool operator==(const List&) const;
    };
    struct Rule {
        bool operator==(const Rule&) const = default;
    };
    using Case = std::variant<Heading, Paragraph, Code, Quote, List, Rule>;

    explicit MarkdownBlock(Case block) : block(std::move(block)) {}

    static MarkdownBlock heading(int level, std::string text);
    static MarkdownBlock paragraph(std::string text);
    static MarkdownBlock code(std::optional<std::string> language, std::string text);
    static MarkdownBlock quote(std::vector<MarkdownBlock> blocks);
    static MarkdownBlock list(std::optional<int> start, std::vector<std::vector<MarkdownBlock>> items);
    static MarkdownBlock rule();

    // Blocks nested deeper than this stay a paragraph of text.
    static constexpr int maximalDepth = 50;

    // Lines end with "\n" or "\r\n"; inside blocks they are joined with "\n". A text that isn't UTF-8 is one paragraph.
    // The time grows with the length of the text and no faster.
    static std::vector<MarkdownBlock> parse(std::string_view text);

    const Case& payload() const { return block; }

    bool operator==(const MarkdownBlock&) const = default;

private:
    Case block;
};

}  // namespace marlet
