#pragma once

#include <string>
#include <string_view>

namespace marlet {

// Notes that a service keeps as HTML, in Markdown.
struct HTMLMarkdown {
    static std::string markdown(std::string_view html);
};

}  // namespace marlet
