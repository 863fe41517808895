#include "MarletCore/JiraMarkup.h"

#include <algorithm>
#include <map>
#include <vector>

#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"

namespace marlet::JiraMarkup {
namespace {

using Extent = Regex::Extent;
using Match = Regex::Match;

// Stands for a bold marker of the wiki until the italics are done, as these look for stars.
constexpr char boldMark = '\x01';

// An opening mark without its closing one would be searched for from each of a thousand opening marks up to the end.
// So the patterns tell where no match can begin: (*SKIP) takes the search on from the place it has reached, and a
// possessive "++" gives nothing back where giving back can't help. What is found stays the same.
struct WikiPatterns {
    Regex codeOpening{R"(\{(code|noformat)(?=[:}]))"};
    Regex codeBlock{R"((?s)\{(code|noformat)(?::([^}|]*+)[^}]*+)?\}(?:\r?\n)?(.*?)(?:\r?\n)?\{\1\})", Extent::prefix};

    Regex heading{R"(h([1-6])\.\s+(.*))", Extent::whole};
    Regex listItem{R"(([*#-]+)\s+(.*))", Extent::whole};
    Regex quote{R"(bq\.\s+(.*))", Extent::whole};

    Regex monospace{R"(\{\{(?:(.+?)\}\}|.++(*SKIP)(*F)))"};
    Regex link{R"(\[([^\]|\n]++)(*SKIP)\|([^\]\n]++)(*SKIP)\])"};
    Regex bareLink{R"(\[((?:https?|mailto):[^\]\s]++)(*SKIP)\])"};
    Regex bold{R"((^|[^\w*`])\*(\S(?:[^*\n]*\S)?)\*(?![\w*]))"};
    Regex italic{R"((^|[^\w_])_(\S(?:[^_\n]*\S)?)_(?![\w_]))"};

    static const WikiPatterns& shared() {
        static const WikiPatterns patterns;
        return patterns;
    }
};

struct MarkdownPatterns {
    Regex codeBlock{R"((?s)```([^\n`]*)\n(.*?)(?:\r?\n)?```)"};

    Regex heading{R"((#{1,6})\s+(.*))", Extent::whole};
    Regex listItem{R"(( *)(?:([-+*])|(\d+\.))\s+(.*))", Extent::whole};
    Regex quote{R"(>\s?(.*))", Extent::whole};

    Regex boldOpening{R"((\*\*|__)(?=\S))"};
    Regex bold{R"(\*\*(\S(?:.*?\S)?)\*\*|__(\S(?:.*?\S)?)__)", Extent::prefix};
    Regex italic{R"((^|[^\w*])\*(\S(?:[^*\n]*\S)?)\*(?![\w*]))"};
    Regex code{R"(`([^`\n]+)`)"};
    // An address that no parenthesis closes may hold the beginning of the next link, but only behind its last "]".
    Regex link{R"(\[([^\]\n]++)(*SKIP)\]\((?:([^)\s]++)\)|[^)\s]*\](*SKIP)(*F)))"};

    static const MarkdownPatterns& shared() {
        static const MarkdownPatterns patterns;
        return patterns;
    }
};

// How far the closing mark of a span may be away.
enum class Reach { line, text };

// The matches of `span`, each of which begins with a match of `opening`. Group 1 of `opening` tells the kind of mark:
// one that isn't closed within its reach means that none of its kind is, from there on.
std::vector<Match> spans(std::string_view text, const Regex& opening, const Regex& span, Reach reach) {
    std::vector<Match> found;
    std::map<std::string_view, size_t> unclosedUpTo;
    size_t position = 0;
    while (std::optional<Match> opened = opening.find(text, position)) {
        position = opened->start + 1;
        size_t& unclosed = unclosedUpTo[(*opened)[1]];
        if (opened->start < unclosed) {
            continue;
        }
        if (std::optional<Match> match = span.find(text, opened->start)) {
            position = match->end;
            found.push_back(*match);
        } else {
            unclosed = reach == Reach::line ? std::min(text.find('\n', position), text.size()) : text.size();
        }
    }
    return found;
}

std::string_view lineEndOf(std::string_view text) {
    size_t lineFeed = text.find('\n');
    return lineFeed != std::string_view::npos && lineFeed > 0 && text[lineFeed - 1] == '\r' ? "\r\n" : "\n";
}

// Each line converted. A carriage return before a line feed belongs to the line end, not to the line.
template <class Convert>
void appendLines(std::string& result, std::string_view text, Convert convert) {
    for (;;) {
        size_t lineFeed = text.find('\n');
        std::string_view line = text.substr(0, lineFeed);
        if (lineFeed == std::string_view::npos) {
            convert(result, line);
            return;
        }
        bool withReturn = line.ends_with('\r');
        convert(result, line.substr(0, line.size() - (withReturn ? 1 : 0)));
        result += withReturn ? "\r\n" : "\n";
        text.remove_prefix(lineFeed + 1);
    }
}

// `text` with its code blocks converted by one function, and what stands between them by another.
template <class ConvertBlock, class ConvertText>
std::string convertedAround(const std::vector<Match>& blocks, std::string_view text, ConvertBlock convertBlock,
                            ConvertText convertText) {
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    size_t position = 0;
    for (const Match& block : blocks) {
        convertText(result, text.substr(position, block.start - position));
        convertBlock(result, block);
        position = block.end;
    }
    convertText(result, text.substr(position));
    return result;
}

Regex::Replacement between(std::string_view opening, std::string_view closing) {
    return [opening, closing](const Match& match, std::string& result) {
        result.append(opening).append(match[1]).append(closing);
    };
}

// The marker on both sides of group 2, behind the character that group 1 has looked at.
Regex::Replacement marked(std::string_view marker) {
    return [marker](const Match& match, std::string& result) {
        result.append(match[1]).append(marker).append(match[2]).append(marker);
    };
}

std::string inlineMarkdown(std::string_view line) {
    const WikiPatterns& patterns = WikiPatterns::shared();
    std::string text(line);
    patterns.monospace.replaceAll(text, between("`", "`"));
    patterns.link.replaceAll(text, [](const Match& match, std::string& result) {
        result.append("[").append(match[1]).append("](").append(match[2]).append(")");
    });
    patterns.bareLink.replaceAll(text, between("<", ">"));
    // Bold first: it writes double stars, which the italics don't look at.
    patterns.bold.replaceAll(text, marked("**"));
    patterns.italic.replaceAll(text, marked("*"));
    return text;
}

void appendMarkdownLine(std::string& result, std::string_view line) {
    const WikiPatterns& patterns = WikiPatterns::shared();
    if (std::optional<Match> heading = patterns.heading.find(line)) {
        auto level = static_cast<size_t>((*heading)[1].front() - '0');
        result.append(level, '#').append(" ").append(inlineMarkdown((*heading)[2]));
    } else if (std::optional<Match> item = patterns.listItem.find(line)) {
        std::string_view markers = (*item)[1];
        result.append(2 * (markers.size() - 1), ' ').append(markers.back() == '#' ? "1. " : "- ");
        result += inlineMarkdown((*item)[2]);
    } else if (std::optional<Match> quote = patterns.quote.find(line)) {
        result.append("> ").append(inlineMarkdown((*quote)[1]));
    } else {
        result += inlineMarkdown(line);
    }
}

std::string withBoldMarked(std::string_view text, std::vector<bool>& isBoldMark) {
    const MarkdownPatterns& patterns = MarkdownPatterns::shared();
    std::string result;
    result.reserve(text.size());
    auto copy = [&](std::string_view piece) {
        result += piece;
        isBoldMark.insert(isBoldMark.end(), static_cast<size_t>(std::ranges::count(piece, boldMark)), false);
    };
    auto mark = [&] {
        result += boldMark;
        isBoldMark.push_back(true);
    };
    size_t copied = 0;
    for (const Match& bold : spans(text, patterns.boldOpening, patterns.bold, Reach::line)) {
        copy(text.substr(copied, bold.start - copied));
        mark();
        copy(bold[1].empty() ? bold[2] : bold[1]);
        mark();
        copied = bold.end;
    }
    copy(text.substr(copied));
    return result;
}

std::string inlineWiki(std::string_view markdown) {
    const MarkdownPatterns& patterns = MarkdownPatterns::shared();
    // The character may be one of the text itself. Italics neither add nor move one, so that counting tells them apart.
    std::vector<bool> isBoldMark;
    std::string text = withBoldMarked(markdown, isBoldMark);
    patterns.italic.replaceAll(text, marked("_"));
    size_t index = 0;
    for (char& character : text) {
        if (character == boldMark && isBoldMark[index++]) {
            character = '*';
        }
    }
    patterns.code.replaceAll(text, between("{{", "}}"));
    patterns.link.replaceAll(text, [](const Match& match, std::string& result) {
        result.append("[").append(match[1]).append("|").append(match[2]).append("]");
    });
    return text;
}

void appendWikiLine(std::string& result, std::string_view line) {
    const MarkdownPatterns& patterns = MarkdownPatterns::shared();
    if (std::optional<Match> heading = patterns.heading.find(line)) {
        result.append("h").append(std::to_string((*heading)[1].size())).append(". ").append((*heading)[2]);
    } else if (std::optional<Match> item = patterns.listItem.find(line)) {
        size_t depth = (*item)[1].size() / 2 + 1;
        bool isBullet = !(*item)[2].empty();
        result.append(depth, isBullet ? '*' : '#').append(" ").append((*item)[4]);
    } else if (std::optional<Match> quote = patterns.quote.find(line)) {
        result.append("bq. ").append((*quote)[1]);
    } else {
        result += line;
    }
}

}  // namespace

std::string markdown(std::string_view fromWiki) {
    if (!isValidUTF8(fromWiki)) {
        return std::string(fromWiki);
    }
    const WikiPatterns& patterns = WikiPatterns::shared();
    std::vector<Match> blocks = spans(fromWiki, patterns.codeOpening, patterns.codeBlock, Reach::text);
    std::string_view lineEnd = lineEndOf(fromWiki);
    return convertedAround(
        blocks, fromWiki,
        [lineEnd](std::string& result, const Match& block) {
            result.append("```").append(block[2]).append(lineEnd).append(block[3]).append(lineEnd).append("```");
        },
        [](std::string& result, std::string_view text) { appendLines(result, text, appendMarkdownLine); });
}

std::string wiki(std::string_view fromMarkdown) {
    if (!isValidUTF8(fromMarkdown)) {
        return std::string(fromMarkdown);
    }
    std::vector<Match> blocks = MarkdownPatterns::shared().codeBlock.findAll(fromMarkdown);
    std::string_view lineEnd = lineEndOf(fromMarkdown);
    return convertedAround(
        blocks, fromMarkdown,
        [lineEnd](std::string& result, const Match& block) {
            std::string_view language = block[1];
            language.remove_suffix(language.ends_with('\r') ? 1 : 0);
            result.append(language.empty() ? "{code" : "{code:").append(language).append("}");
            result.append(lineEnd).append(block[2]).append(lineEnd).append("{code}");
        },
        [](std::string& result, std::string_view text) { appendLines(result, inlineWiki(text), appendWikiLine); });
}

}  // namespace marlet::JiraMarkup
