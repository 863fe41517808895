// For holding an output against its input: what a reader would miss.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace marlet {

// How often each letter occurs: those of ASCII that aren't in `ignored`, and the bytes that begin a Latin letter
// beyond ASCII.
class LetterCount {
public:
    explicit LetterCount(std::string_view text, std::string_view ignored = "") { add(text, ignored); }

    void add(std::string_view text, std::string_view ignored = "") {
        for (char character : text) {
            auto byte = static_cast<unsigned char>(character);
            bool isASCIILetter = (byte | 0x20U) >= 'a' && (byte | 0x20U) <= 'z' && byte < 0x80;
            if ((isASCIILetter && ignored.find(character) == std::string_view::npos) ||
                (byte >= 0xC4 && byte <= 0xC9)) {
                ++counts.at(byte);
            }
        }
    }

    bool holds(const LetterCount& other) const {
        for (size_t byte = 0; byte < counts.size(); ++byte) {
            if (counts.at(byte) < other.counts.at(byte)) {
                return false;
            }
        }
        return true;
    }

private:
    std::array<size_t, 256> counts{};
};

// The same text with "\r\n" for each "\n".
inline std::string withCarriageReturns(std::string_view text) {
    std::string result;
    for (char character : text) {
        result.append(character == '\n' ? "\r" : "").append(1, character);
    }
    return result;
}

}  // namespace marlet
