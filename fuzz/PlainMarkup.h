// The conversions once more, by the plainest patterns that say what they do and one replacement after the other. They
// take quadratic time and worse on the wrong text; what they find is what the quick ones must find. Lines end with
// "\n".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "MarletCore/MarkdownBlock.h"

namespace marlet {

// No value when the text is too much for a plain pattern.
std::optional<std::string> plainMarkdown(std::string_view fromWiki);
std::optional<std::string> plainWiki(std::string_view fromMarkdown);

// The heading or the rule that a line is.
std::optional<MarkdownBlock> plainBlock(std::string_view line);

}  // namespace marlet
