#include "MarletCore/MarkdownBlock.h"

#include <algorithm>
#include <span>

#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

using Extent = Regex::Extent;
using Match = Regex::Match;
using Lines = std::span<const std::string_view>;

constexpr size_t tabWidth = 4;

// Each for a whole line. Possessive quantifiers keep a line of a million blanks or stars from being read again and
// again; they take nothing from what is matched.
struct LinePatterns {
    Regex blank{R"(\s*)", Extent::whole};
    Regex openingFence{R"( {0,3}(`{3,}|~{3,})\s*([^`\s]*).*)", Extent::whole};
    Regex closingFence{R"( {0,3}(`{3,}|~{3,}).*)", Extent::whole};
    // The text ends before the blanks behind which only "#" and blanks come.
    Regex heading{R"( {0,3}(#{1,6})\s++((?:\S++|\s++(?!#*+\s*+\z))*+)(?:\s++#++)?+\s*+)", Extent::whole};
    Regex rule{R"( {0,3}([-*_])(?:\s*+\1){2}(?:\s*+\1)*+\s*+)", Extent::whole};
    Regex listItem{R"(( *)([-+*]|(\d{1,9})[.)])(?: +(.*))?)", Extent::whole};

    static const LinePatterns& shared() {
        static const LinePatterns patterns;
        return patterns;
    }
};

enum class LineKind { blank, fence, heading, rule, quote, listItem, text };

// Most lines are plain text, and their first character tells.
LineKind kindOf(std::string_view line) {
    const LinePatterns& patterns = LinePatterns::shared();
    size_t start = line.find_first_not_of(" \t\r\v\f");
    if (start == std::string_view::npos) {
        return LineKind::blank;
    }
    char first = line[start];
    bool isASCII = static_cast<unsigned char>(first) < 0x80;
    if (isASCII && std::string_view("`~#-*_+>0123456789").find(first) == std::string_view::npos) {
        return LineKind::text;
    }
    if (line.front() == '>') {
        return LineKind::quote;
    }
    if ((first == '`' || first == '~') && patterns.openingFence.matches(line)) {
        return LineKind::fence;
    }
    if (first == '#' && patterns.heading.matches(line)) {
        return LineKind::heading;
    }
    if (patterns.rule.matches(line)) {
        return LineKind::rule;
    }
    if (patterns.listItem.matches(line)) {
        return LineKind::listItem;
    }
    return !isASCII && patterns.blank.matches(line) ? LineKind::blank : LineKind::text;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        size_t lineFeed = text.find('\n');
        std::string_view line = text.substr(0, lineFeed);
        if (lineFeed == std::string_view::npos) {
            lines.push_back(line);
            break;
        }
        lines.push_back(line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0)));
        text.remove_prefix(lineFeed + 1);
    }
    return lines;
}

std::string joined(Lines lines) {
    std::string text;
    for (size_t index = 0; index < lines.size(); ++index) {
        text.append(index == 0 ? "" : "\n").append(lines[index]);
    }
    return text;
}

// The width of the blanks that a line begins with.
size_t indentOf(std::string_view line) {
    size_t width = 0;
    for (char character : line) {
        if (character == ' ') {
            ++width;
        } else if (character == '\t') {
            width += tabWidth - width % tabWidth;
        } else {
            break;
        }
    }
    return width;
}

// `line` without the blanks it begins with, up to `width` of them.
std::string_view withoutIndent(std::string_view line, size_t width) {
    size_t removed = 0;
    while (removed < width && !line.empty() && (line.front() == ' ' || line.front() == '\t')) {
        removed += line.front() == ' ' ? 1 : tabWidth - removed % tabWidth;
        line.remove_prefix(1);
    }
    return line;
}

size_t characterCount(std::string_view text) {
    return static_cast<size_t>(std::ranges::count_if(
        text, [](char character) { return (static_cast<unsigned char>(character) & 0xC0) != 0x80; }));
}

struct Fence {
    char character;
    size_t length;
    std::string_view language;

    static std::optional<Fence> opening(std::string_view line) {
        std::optional<Match> match = LinePatterns::shared().openingFence.find(line);
        return match ? std::optional(Fence{(*match)[1].front(), (*match)[1].size(), (*match)[2]}) : std::nullopt;
    }

    bool isClosed(std::string_view line) const {
        std::optional<Match> match = LinePatterns::shared().closingFence.find(line);
        return match && (*match)[1].front() == character && (*match)[1].size() >= length;
    }
};

struct ListMarker {
    size_t indent;
    size_t contentIndent;
    std::optional<int> number;
    std::string_view text;

    static std::optional<ListMarker> of(std::string_view line) {
        if (kindOf(line) != LineKind::listItem) {
            return std::nullopt;
        }
        std::optional<Match> match = LinePatterns::shared().listItem.find(line);
        std::string_view text = (*match)[4];
        size_t indent = (*match)[1].size();
        size_t blanks = line.size() - indent - (*match)[2].size() - text.size();
        // Content that stands further in would make the lines below it hard to align.
        size_t gap = text.empty() || blanks > tabWidth ? 1 : blanks;
        return ListMarker{indent, indent + characterCount((*match)[2]) + gap, decimalNumber((*match)[3]), text};
    }

    // A bullet and a number don't belong to one list.
    bool continues(const ListMarker& first) const {
        return indent == first.indent && number.has_value() == first.number.has_value();
    }
};

// The lines of one list item, without its indent.
class ItemLines {
public:
    explicit ItemLines(std::string_view first) { add(first); }

    void add(std::string_view line) {
        lines.push_back(line);
        if (!fence) {
            fence = Fence::opening(line);
        } else if (fence->isClosed(line)) {
            fence.reset();
        }
    }

    // Whether a line that isn't indented may go on with a paragraph here.
    bool endInParagraph() const {
        if (fence) {
            return false;
        }
        LineKind kind = kindOf(lines.back());
        if (kind == LineKind::listItem) {
            return !ListMarker::of(lines.back())->text.empty();
        }
        return kind == LineKind::text;
    }

    Lines all() const { return lines; }

private:
    std::vector<std::string_view> lines;
    std::optional<Fence> fence;
};

class BlockParser {
public:
    BlockParser(Lines lines, int depth) : lines(lines), depth(depth) {}

    std::vector<MarkdownBlock> parse() {
        if (depth >= MarkdownBlock::maximalDepth) {
            takeTheRestAsText();
        }
        while (position < lines.size()) {
            takeBlock();
        }
        return std::move(blocks);
    }

private:
    void takeBlock() {
        switch (kindOf(lines[position])) {
            case LineKind::blank:
                ++position;
                break;
            case LineKind::fence:
                takeCode();
                break;
            case LineKind::heading: {
                std::optional<Match> match = LinePatterns::shared().heading.find(lines[position++]);
                blocks.push_back(
                    MarkdownBlock::heading(static_cast<int>((*match)[1].size()), std::string((*match)[2])));
                break;
            }
            case LineKind::rule:
                ++position;
                blocks.push_back(MarkdownBlock::rule());
                break;
            case LineKind::quote:
                takeQuote();
                break;
            case LineKind::listItem:
                takeList();
                break;
            case LineKind::text:
                takeParagraph();
                break;
        }
    }

    void takeTheRestAsText() {
        auto isBlank = [](std::string_view line) { return kindOf(line) == LineKind::blank; };
        if (!std::ranges::all_of(lines, isBlank)) {
            blocks.push_back(MarkdownBlock::paragraph(joined(lines)));
        }
        position = lines.size();
    }

    void takeCode() {
        Fence fence = *Fence::opening(lines[position++]);
        size_t start = position;
        while (position < lines.size() && !fence.isClosed(lines[position])) {
            ++position;
        }
        std::string text = joined(lines.subspan(start, position - start));
        position += position < lines.size() ? 1 : 0;
        bool hasLanguage = !fence.language.empty();
        blocks.push_back(MarkdownBlock::code(hasLanguage ? std::optional(std::string(fence.language)) : std::nullopt,
                                             std::move(text)));
    }

    void takeQuote() {
        std::vector<std::string_view> quoted;
        for (; position < lines.size() && lines[position].starts_with('>'); ++position) {
            std::string_view line = lines[position].substr(1);
            quoted.push_back(line.substr(line.starts_with(' ') ? 1 : 0));
        }
        blocks.push_back(MarkdownBlock::quote(BlockParser(quoted, depth + 1).parse()));
    }

    void takeList() {
        ListMarker first = *ListMarker::of(lines[position]);
        std::vector<std::vector<MarkdownBlock>> items;
        while (position < lines.size()) {
            std::optional<ListMarker> marker = ListMarker::of(lines[position]);
            if (!marker || !marker->continues(first)) {
                break;
            }
            ItemLines item = takeItem(*marker);
            items.push_back(BlockParser(item.all(), depth + 1).parse());
        }
        blocks.push_back(MarkdownBlock::list(first.number, std::move(items)));
    }

    // Blank lines belong to the item if another line of it follows.
    ItemLines takeItem(const ListMarker& marker) {
        ItemLines item(marker.text);
        size_t blankLines = 0;
        for (++position; position < lines.size(); ++position) {
            std::string_view line = lines[position];
            if (kindOf(line) == LineKind::blank) {
                ++blankLines;
                continue;
            }
            bool isIndented = indentOf(line) >= marker.contentIndent;
            bool isLazy = !isIndented && blankLines == 0 && kindOf(line) == LineKind::text && item.endInParagraph();
            if (!isIndented && !isLazy) {
                break;
            }
            for (; blankLines > 0; --blankLines) {
                item.add(withoutIndent(lines[position - blankLines], marker.contentIndent));
            }
            item.add(withoutIndent(line, marker.contentIndent));
        }
        return item;
    }

    void takeParagraph() {
        size_t start = position;
        while (position < lines.size() && kindOf(lines[position]) == LineKind::text) {
            ++position;
        }
        blocks.push_back(MarkdownBlock::paragraph(joined(lines.subspan(start, position - start))));
    }

    Lines lines;
    int depth;
    size_t position = 0;
    std::vector<MarkdownBlock> blocks;
};

}  // namespace

bool MarkdownBlock::Quote::operator==(const Quote& other) const {
    return blocks == other.blocks;
}

bool MarkdownBlock::List::operator==(const List& other) const {
    return start == other.start && items == other.items;
}

MarkdownBlock MarkdownBlock::heading(int level, std::string text) {
    return MarkdownBlock(Heading{level, std::move(text)});
}

MarkdownBlock MarkdownBlock::paragraph(std::string text) {
    return MarkdownBlock(Paragraph{std::move(text)});
}

MarkdownBlock MarkdownBlock::code(std::optional<std::string> language, std::string text) {
    return MarkdownBlock(Code{std::move(language), std::move(text)});
}

MarkdownBlock MarkdownBlock::quote(std::vector<MarkdownBlock> blocks) {
    return MarkdownBlock(Quote{std::move(blocks)});
}

MarkdownBlock MarkdownBlock::list(std::optional<int> start, std::vector<std::vector<MarkdownBlock>> items) {
    return MarkdownBlock(List{start, std::move(items)});
}

MarkdownBlock MarkdownBlock::rule() {
    return MarkdownBlock(Rule{});
}

std::vector<MarkdownBlock> MarkdownBlock::parse(std::string_view text) {
    if (!isValidUTF8(text)) {
        return {paragraph(std::string(text))};
    }
    std::vector<std::string_view> lines = linesOf(text);
    return BlockParser(lines, 0).parse();
}

}  // namespace marlet
