#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace marlet {

// What the output goes to.
struct Terminal {
    bool isTerminal = false;
    size_t width = 0;  // in columns; 0 when lines may be of any length
    bool hasColor = false;

    // The file behind the descriptor, and what the environment says about it.
    static Terminal of(int descriptor);
};

// The columns that the text takes: wide characters count twice, combining ones not at all.
size_t displayWidth(std::string_view text);

// The text in at most `width` columns, cut off with "…" where it is longer.
std::string fitted(std::string_view text, size_t width);

// JSON text in which characters that could steer a terminal are escaped; it means the same.
std::string harmlessJSON(std::string_view json);

}  // namespace marlet
