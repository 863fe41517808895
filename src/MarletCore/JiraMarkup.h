#pragma once

#include <string>
#include <string_view>

namespace marlet {

// Between Jira's wiki markup and Markdown: headings, lists, quotes, code blocks, bold, italics, code, links. All else
// (tables, panels, colours, mentions) passes through as text, so that notes can be edited and sent back.
//
// The same text always gives the same result. Line ends stay as they are, "\n" or "\r\n". A text that isn't UTF-8
// comes back unconverted. Safe from any thread; the time grows with the length of the text and no faster.
namespace JiraMarkup {

std::string markdown(std::string_view fromWiki);
std::string wiki(std::string_view fromMarkdown);

}  // namespace JiraMarkup
}  // namespace marlet
