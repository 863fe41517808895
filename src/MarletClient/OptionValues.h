// Reading the values that options take. What can't be read throws UsageError, with a text that names the option.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/Description.h"

namespace marlet {

int64_t portValue(const std::string& text);
int64_t limitValue(const std::string& text);
double estimateValue(const std::string& text);
// YYYY-MM-DD, at midnight in the computer's time zone, or an RFC 3339 date-time.
Date dateValue(const std::string& option, const std::string& text);

std::string joinedWords(const std::vector<std::string>& words, const std::string& separator,
                        const std::string& lastSeparator);
[[noreturn]] void refuseChoice(const std::string& what, const std::string& text, const std::string& choices);

// The enumeration's codes in the order of declaration.
template <DescribedEnumeration Choice>
std::string joinedCodes(const std::string& separator, const std::string& lastSeparator) {
    std::vector<std::string> codes;
    for (Choice choice : allCases<Choice>()) {
        codes.emplace_back(code(choice));
    }
    return joinedWords(codes, separator, lastSeparator);
}

// One of the enumeration's codes, a `what` in the words of the error.
template <DescribedEnumeration Choice>
Choice choiceValue(const std::string& what, const std::string& text) {
    std::optional<Choice> choice = fromCode<Choice>(text);
    if (!choice) {
        refuseChoice(what, text, joinedCodes<Choice>(", ", " or "));
    }
    return *choice;
}

// The folder's full path, without "." and "..": whoever carries the command out may have another current folder, and
// another home. It need not be there.
std::string folderValue(const std::string& option, const std::string& text);
// "-" stands for standard input, read to its end, without the line end that closes it.
std::string notesValue(const std::string& text);

}  // namespace marlet
