#include "MarletCore/JiraMarkup.h"

#include "FuzzEntries.h"
#include "LetterCount.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/Regex.h"
#include "MarletBase/Text.h"
#include "PlainMarkup.h"

namespace marlet {
namespace {

// The plain patterns take too long for more.
constexpr size_t plainLimit = 600;
// Some twenty patterns pass over each byte, a few times each.
constexpr size_t stepsPerByte = 200;
constexpr size_t stepsForAnyText = 2'000;

using Conversion = std::string (*)(std::string_view);
using PlainConversion = std::optional<std::string> (*)(std::string_view);

std::string convertedInLinearWork(std::string_view bytes, Conversion convert) {
    RegexWork work;
    std::string result = convert(bytes);
    if (work.searchesGivenUp() > 0 || work.steps() > stepsForAnyText + stepsPerByte * (bytes.size() + result.size())) {
        programmingError("A conversion takes more than linear work.");
    }
    return result;
}

void holdAgainstItsInput(std::string_view bytes, Conversion convert, PlainConversion plain) {
    std::string result = convertedInLinearWork(bytes, convert);
    if (!isValidUTF8(bytes)) {
        if (result != bytes) {
            programmingError("Bytes that aren't text come back changed.");
        }
        return;
    }
    if (!isValidUTF8(result) || convert(bytes) != result) {
        programmingError("A conversion gives no text, or another one the second time.");
    }
    if (bytes.find('\r') != std::string_view::npos) {
        return;
    }
    bool hasLineEnds = bytes.find('\n') != std::string_view::npos;
    if (hasLineEnds && convert(withCarriageReturns(bytes)) != withCarriageReturns(result)) {
        programmingError("The line ends of a text change more than line ends.");
    }
    // A mark of the text's own is what the plain patterns mistake for theirs.
    if (bytes.size() <= plainLimit && bytes.find('\x01') == std::string_view::npos) {
        std::optional<std::string> expected = plain(bytes);
        if (expected && result != *expected) {
            programmingError("A conversion differs from the plain patterns.");
        }
    }
}

}  // namespace

void fuzzWikiToMarkdown(std::string_view bytes) {
    holdAgainstItsInput(bytes, JiraMarkup::markdown, plainMarkdown);
    // Behind a bar the parameters of a code block have no place in Markdown.
    bool hasParameters =
        bytes.find("{code:") != std::string_view::npos || bytes.find("{noformat:") != std::string_view::npos;
    std::string_view ofMarkers = "hbqcodenoformat";
    if (!hasParameters && !LetterCount(JiraMarkup::markdown(bytes)).holds(LetterCount(bytes, ofMarkers))) {
        programmingError("Letters got lost.");
    }
}

void fuzzMarkdownToWiki(std::string_view bytes) {
    holdAgainstItsInput(bytes, JiraMarkup::wiki, plainWiki);
    if (!LetterCount(JiraMarkup::wiki(bytes)).holds(LetterCount(bytes))) {
        programmingError("Letters got lost.");
    }
}

}  // namespace marlet
