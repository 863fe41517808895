// Text as users know it. All strings are UTF-8; bytes that aren't are treated as replacement characters.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlet {

// Without the white space and line ends of any script at both ends.
std::string trimmed(std::string_view text);

// Equal when case is ignored, by full Unicode case folding.
bool equalIgnoringCase(std::string_view left, std::string_view right);

// With A to Z in lower case, for names that machines give.
std::string lowercasedASCII(std::string_view text);

// In lower case by Unicode's own rules, whatever the user's language: names that people give, as they compare them.
std::string lowercased(std::string_view text);

// The code points, with U+FFFD for every sequence that isn't UTF-8.
std::u32string codePoints(std::string_view text);

// The parts between the separators, without empty ones. They point into the text.
std::vector<std::string_view> pieces(std::string_view text, char separator);

// The order in which the user's locale lists names: "Task 2" before "Task 10", case of little weight.
std::weak_ordering localizedStandardCompare(std::string_view left, std::string_view right);

// The form in which two texts are alike to a search that ignores case and diacritics. A text contains another to such
// a search when its folded form contains the other's folded form.
std::string foldedForSearch(std::string_view text);

bool localizedStandardContains(std::string_view text, std::string_view searched);

// True when every character is a number in the sense of Unicode (categories Nd, Nl and No). True for no characters.
bool isAllNumbers(std::string_view text);

// The value of the decimal digits of any script. No value for anything else, and for more than fits.
std::optional<int> decimalNumber(std::string_view text);

bool isValidUTF8(std::string_view text);

// Every sequence that isn't UTF-8 replaced by U+FFFD.
std::string repairedUTF8(std::string_view text);

// With `replacement` in place of every `searched`, which isn't empty, from the left.
std::string replacingAll(std::string_view text, std::string_view searched, std::string_view replacement);

// Safe to print: control characters, also those of C1 and the ones that turn the writing direction, are replaced.
std::string withoutControlCharacters(std::string_view text);

}  // namespace marlet
