#include "MarletWorkspace/HTMLMarkdown.h"

#include <algorithm>
#include <utility>

#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

using Match = Regex::Match;

// The work stays linear, also for a text that is made to take for ever.
struct Patterns {
    // Where one block has no end, no later one has: (*COMMIT) then ends the search, so that the rest isn't read again
    // for each of them.
    Regex preformatted{R"((?is)<pre(*COMMIT)[^>]*>(?:\s*<code[^>]*>)?(.*?)(?:</code>\s*)?</pre>)"};
    // In a text that ends with "</a>". A tag without an address is passed over as a whole, and so is the last one,
    // behind which no end can follow.
    Regex link{R"re((?is)<a\s(?:(?=[^>]*>.)[^>]*href="([^"]*)"[^>]*>(.*?)</a>|[^>]*(*SKIP)(*F)))re"};
    Regex heading{R"((?i)<h([1-6])[^>]*>)"};
    Regex strong{R"((?i)</?(strong|b)>)"};
    Regex emphasis{R"((?i)</?(em|i)>)"};
    Regex code{R"((?i)</?code>)"};
    Regex listItem{R"((?i)<li[^>]*>)"};
    Regex lineBreak{R"((?i)<br\s*/?>)"};
    Regex blockEnd{R"((?i)</(p|div|h[1-6]|blockquote|ul|ol)>)"};
    Regex otherTag{R"(<[^>]+>)"};
    Regex blanksAtLineEnd{R"((?<![ \t])[ \t]++\n)"};
    Regex emptyLines{R"(\n{3,})"};
};

const Patterns& patterns() {
    static const Patterns instance;
    return instance;
}

void replace(std::string& text, const Regex& pattern, std::string_view replacement) {
    pattern.replaceAll(text, [replacement](const Match&, std::string& result) { result += replacement; });
}

// The length of the text up to the last end of a link; 0 when there is none.
size_t endOfLastLink(std::string_view text) {
    constexpr std::string_view ending = "</a>";
    auto isAlike = [](char character, char expected) {
        return character == expected || (expected == 'a' && character == 'A');
    };
    auto last = std::find_end(text.begin(), text.end(), ending.begin(), ending.end(), isAlike);
    return last == text.end() ? 0 : static_cast<size_t>(last - text.begin()) + ending.size();
}

void replaceLinks(std::string& text) {
    std::string head = text.substr(0, endOfLastLink(text));
    std::string tail = text.substr(head.size());
    patterns().link.replaceAll(head, [](const Match& match, std::string& result) {
        result.append("[").append(match[2]).append("](").append(match[1]).append(")");
    });
    text = std::move(head) + tail;
}

void replaceTags(std::string& text) {
    patterns().preformatted.replaceAll(text, [](const Match& match, std::string& result) {
        result.append("\n```\n").append(match[1]).append("\n```\n");
    });
    replaceLinks(text);
    patterns().heading.replaceAll(text, [](const Match& match, std::string& result) {
        result.append("\n").append(static_cast<size_t>(match[1].front() - '0'), '#').append(" ");
    });
    replace(text, patterns().strong, "**");
    replace(text, patterns().emphasis, "*");
    replace(text, patterns().code, "`");
    replace(text, patterns().listItem, "\n- ");
    replace(text, patterns().lineBreak, "\n");
    replace(text, patterns().blockEnd, "\n\n");
    replace(text, patterns().otherTag, "");
}

// The ampersand comes last, so that an escaped entity isn't unescaped twice.
void replaceEntities(std::string& text) {
    constexpr std::pair<std::string_view, std::string_view> entities[] = {
        {"&nbsp;", " "}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"},
    };
    for (const auto& [entity, character] : entities) {
        text = replacingAll(text, entity, character);
    }
}

}  // namespace

std::string HTMLMarkdown::markdown(std::string_view html) {
    std::string text = repairedUTF8(html);
    replaceTags(text);
    replaceEntities(text);
    replace(text, patterns().blanksAtLineEnd, "\n");
    replace(text, patterns().emptyLines, "\n\n");
    return trimmed(text);
}

}  // namespace marlet
