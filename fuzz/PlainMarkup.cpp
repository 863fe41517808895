#include "PlainMarkup.h"

#include <functional>

#include "MarletBase/Regex.h"

namespace marlet {
namespace {

using Match = Regex::Match;
using LineRule = std::function<std::string(const Match&)>;

struct Rule {
    Regex pattern;
    LineRule text;
};

constexpr char boldMark = '\x01';

std::string quoted(std::string_view marker, std::string_view text) {
    return std::string(marker).append(text).append(marker);
}

template <size_t count>
void replaceInOrder(std::string& text, const Rule (&rules)[count]) {
    for (const Rule& rule : rules) {
        rule.pattern.replaceAll(text, [&](const Match& match, std::string& result) { result += rule.text(match); });
    }
}

template <size_t count>
std::string byLine(std::string_view text, const Rule (&rules)[count],
                   const std::function<std::string(std::string)>& otherwise) {
    std::string result;
    for (size_t start = 0;;) {
        size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line = text.substr(start, end - start);
        const Rule* fitting = std::ranges::find_if(rules, [&](const Rule& rule) { return rule.pattern.matches(line); });
        result +=
            fitting == std::end(rules) ? otherwise(std::string(line)) : fitting->text(*fitting->pattern.find(line));
        if (end == text.size()) {
            return result;
        }
        result += '\n';
        start = end + 1;
    }
}

std::string aroundBlocks(std::string_view text, const Regex& block, const LineRule& convertBlock,
                         const std::function<std::string(std::string_view)>& convertText) {
    std::string result;
    size_t position = 0;
    for (const Match& match : block.findAll(text)) {
        result += convertText(text.substr(position, match.start - position)) + convertBlock(match);
        position = match.end;
    }
    return result + convertText(text.substr(position));
}

std::string plainInlineMarkdown(std::string text) {
    static const Rule rules[] = {
        {Regex(R"(\{\{(.+?)\}\})"), [](const Match& match) { return quoted("`", match[1]); }},
        {Regex(R"(\[([^\]|\n]+)\|([^\]\n]+)\])"),
         [](const Match& match) { return "[" + std::string(match[1]) + "](" + std::string(match[2]) + ")"; }},
        {Regex(R"(\[((?:https?|mailto):[^\]\s]+)\])"),
         [](const Match& match) { return "<" + std::string(match[1]) + ">"; }},
        {Regex(R"((^|[^\w*`])\*(\S(?:[^*\n]*\S)?)\*(?![\w*]))"),
         [](const Match& match) { return std::string(match[1]) + quoted("**", match[2]); }},
        {Regex(R"((^|[^\w_])_(\S(?:[^_\n]*\S)?)_(?![\w_]))"),
         [](const Match& match) { return std::string(match[1]) + quoted("*", match[2]); }},
    };
    replaceInOrder(text, rules);
    return text;
}

std::string plainInlineWiki(std::string text) {
    static const Rule emphasis[] = {
        {Regex(R"(\*\*(\S(?:.*?\S)?)\*\*|__(\S(?:.*?\S)?)__)"),
         [](const Match& match) {
             return quoted(std::string_view(&boldMark, 1), match[1].empty() ? match[2] : match[1]);
         }},
        {Regex(R"((^|[^\w*])\*(\S(?:[^*\n]*\S)?)\*(?![\w*]))"),
         [](const Match& match) { return std::string(match[1]) + quoted("_", match[2]); }},
    };
    static const Rule rest[] = {
        {Regex(R"(`([^`\n]+)`)"), [](const Match& match) { return "{{" + std::string(match[1]) + "}}"; }},
        {Regex(R"(\[([^\]\n]+)\]\(([^)\s]+)\))"),
         [](const Match& match) { return "[" + std::string(match[1]) + "|" + std::string(match[2]) + "]"; }},
    };
    replaceInOrder(text, emphasis);
    std::ranges::replace(text, boldMark, '*');
    replaceInOrder(text, rest);
    return text;
}

std::string plainMarkdownLines(std::string_view text) {
    static const Rule rules[] = {
        {Regex(R"(h([1-6])\.\s+(.*))", Regex::Extent::whole),
         [](const Match& match) {
             return std::string(static_cast<size_t>(match[1][0] - '0'), '#') + " " +
                    plainInlineMarkdown(std::string(match[2]));
         }},
        {Regex(R"(([*#-]+)\s+(.*))", Regex::Extent::whole),
         [](const Match& match) {
             return std::string(2 * match[1].size() - 2, ' ') + (match[1].ends_with('#') ? "1. " : "- ") +
                    plainInlineMarkdown(std::string(match[2]));
         }},
        {Regex(R"(bq\.\s+(.*))", Regex::Extent::whole),
         [](const Match& match) { return "> " + plainInlineMarkdown(std::string(match[1])); }},
    };
    return byLine(text, rules, plainInlineMarkdown);
}

std::string plainWikiLines(std::string_view text) {
    static const Rule rules[] = {
        {Regex(R"((#{1,6})\s+(.*))", Regex::Extent::whole),
         [](const Match& match) { return "h" + std::to_string(match[1].size()) + ". " + std::string(match[2]); }},
        {Regex(R"(( *)(?:([-+*])|(\d+\.))\s+(.*))", Regex::Extent::whole),
         [](const Match& match) {
             return std::string(match[1].size() / 2 + 1, match[2].empty() ? '#' : '*') + " " + std::string(match[4]);
         }},
        {Regex(R"(>\s?(.*))", Regex::Extent::whole), [](const Match& match) { return "bq. " + std::string(match[1]); }},
    };
    return byLine(text, rules, [](std::string line) { return line; });
}

}  // namespace

std::optional<std::string> plainMarkdown(std::string_view fromWiki) {
    static const Regex codeBlock(R"((?s)\{(code|noformat)(?::([^}|]*)[^}]*)?\}\n?(.*?)\n?\{\1\})");
    RegexWork work;
    std::string result = aroundBlocks(
        fromWiki, codeBlock,
        [](const Match& match) { return "```" + std::string(match[2]) + "\n" + std::string(match[3]) + "\n```"; },
        plainMarkdownLines);
    return work.searchesGivenUp() == 0 ? std::optional(result) : std::nullopt;
}

std::optional<std::string> plainWiki(std::string_view fromMarkdown) {
    static const Regex codeBlock(R"((?s)```([^\n`]*)\n(.*?)\n?```)");
    RegexWork work;
    std::string result = aroundBlocks(
        fromMarkdown, codeBlock,
        [](const Match& match) {
            std::string opening = match[1].empty() ? "{code}" : "{code:" + std::string(match[1]) + "}";
            return opening + "\n" + std::string(match[2]) + "\n{code}";
        },
        [](std::string_view text) { return plainWikiLines(plainInlineWiki(std::string(text))); });
    return work.searchesGivenUp() == 0 ? std::optional(result) : std::nullopt;
}

std::optional<MarkdownBlock> plainBlock(std::string_view line) {
    static const Regex heading(R"( {0,3}(#{1,6})\s+(.*?)(?:\s+#+)?\s*)", Regex::Extent::whole);
    static const Regex rule(R"( {0,3}([-*_])(?:\s*\1){2,}\s*)", Regex::Extent::whole);
    if (std::optional<Match> match = heading.find(line)) {
        return MarkdownBlock::heading(static_cast<int>((*match)[1].size()), std::string((*match)[2]));
    }
    return rule.matches(line) ? std::optional(MarkdownBlock::rule()) : std::nullopt;
}

}  // namespace marlet
