#include "MarletClient/TextTable.h"

#include <algorithm>
#include <numeric>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr size_t gap = 2;
constexpr size_t narrowest = 12;
const char* const boldOn = "\x1b[1m";
const char* const boldOff = "\x1b[0m";

}  // namespace

void TextTable::add(std::vector<std::string> cells) {
    for (std::string& cell : cells) {
        cell = withoutControlCharacters(cell);
    }
    rows.push_back(std::move(cells));
}

std::string TextTable::text(const Terminal& terminal) const {
    std::vector<size_t> shown;
    std::vector<size_t> widths(columns.size());
    for (size_t column = 0; column < columns.size(); ++column) {
        bool hasContent = false;
        widths[column] = displayWidth(columns[column].title);
        for (const auto& row : rows) {
            hasContent = hasContent || !row[column].empty();
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
        if (hasContent) {
            shown.push_back(column);
        }
    }
    size_t total = shown.empty() ? 0 : gap * (shown.size() - 1);
    for (size_t column : shown) {
        total += widths[column];
    }
    // What is too much is taken from the flexible columns, the widest first.
    while (terminal.width > 0 && total > terminal.width) {
        size_t widest = columns.size();
        for (size_t column : shown) {
            bool canShrink = columns[column].isFlexible && widths[column] > narrowest;
            if (canShrink && (widest == columns.size() || widths[column] > widths[widest])) {
                widest = column;
            }
        }
        if (widest == columns.size()) {
            break;
        }
        --widths[widest];
        --total;
    }
    auto line = [&](auto cell) {
        std::string result;
        for (size_t column : shown) {
            std::string content = fitted(cell(column), widths[column]);
            bool isLast = column == shown.back();
            size_t padding = isLast ? 0 : widths[column] - displayWidth(content) + gap;
            result += content + std::string(padding, ' ');
        }
        result.erase(result.find_last_not_of(' ') + 1);
        return result;
    };
    // A terminal too narrow even so cuts the line rather than breaking it.
    auto cut = [&](const std::string& content) {
        return terminal.width > 0 ? fitted(content, terminal.width) : content;
    };
    std::string titles = cut(line([&](size_t column) { return columns[column].title; }));
    std::string result = terminal.hasColor ? boldOn + titles + boldOff : titles;
    result += '\n';
    for (const auto& row : rows) {
        result += cut(line([&](size_t column) { return row[column]; })) + '\n';
    }
    return result;
}

}  // namespace marlet
