#include "MarletClient/Terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace marlet {
namespace {

constexpr size_t usualWidth = 80;

// Moves `index` past the next character.
UChar32 nextCharacter(std::string_view text, size_t& index) {
    UChar32 character = 0;
    auto position = static_cast<int32_t>(index);
    U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), position, static_cast<int32_t>(text.size()), character);
    index = static_cast<size_t>(position);
    return character;
}

size_t width(UChar32 character) {
    if (character < 0) {
        return 1;
    }
    int8_t category = u_charType(character);
    if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR) {
        return 0;
    }
    int32_t eastAsian = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH ? 2 : 1;
}

bool steersTerminals(UChar32 character) {
    return character >= 0 && (u_iscntrl(character) || u_charType(character) == U_FORMAT_CHAR || character == 0x2028 ||
                              character == 0x2029);
}

}  // namespace

Terminal Terminal::of(int descriptor) {
    Terminal terminal;
    terminal.isTerminal = ::isatty(descriptor) == 1;
    if (terminal.isTerminal) {
        winsize size{};
        bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
        terminal.width = isKnown ? size.ws_col : usualWidth;
        const char* kind = std::getenv("TERM");
        terminal.hasColor = !std::getenv("NO_COLOR") && kind && std::strcmp(kind, "dumb") != 0;
    }
    return terminal;
}

size_t displayWidth(std::string_view text) {
    size_t total = 0;
    for (size_t index = 0; index < text.size();) {
        total += width(nextCharacter(text, index));
    }
    return total;
}

std::string fitted(std::string_view text, size_t columns) {
    if (displayWidth(text) <= columns) {
        return std::string(text);
    }
    if (columns == 0) {
        return {};
    }
    size_t used = 0;
    size_t end = 0;
    for (size_t index = 0; index < text.size();) {
        used += width(nextCharacter(text, index));
        if (used > columns - 1) {
            break;
        }
        end = index;
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string harmlessJSON(std::string_view json) {
    std::string result;
    result.reserve(json.size());
    for (size_t index = 0; index < json.size();) {
        size_t start = index;
        UChar32 character = nextCharacter(json, index);
        if (!steersTerminals(character)) {
            result += json.substr(start, index - start);
        } else if (character <= 0xFFFF) {
            result += fmt::format("\\u{:04x}", character);
        } else {
            result += fmt::format("\\u{:04x}\\u{:04x}", static_cast<unsigned>(U16_LEAD(character)),
                                  static_cast<unsigned>(U16_TRAIL(character)));
        }
    }
    return result;
}

}  // namespace marlet
