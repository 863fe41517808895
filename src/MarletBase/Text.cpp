#include "MarletBase/Text.h"

#include <unicode/coll.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <memory>

namespace marlet {
namespace {

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
    std::string result;
    return text.toUTF8String(result);
}

UChar32 next(std::string_view text, int32_t& position) {
    UChar32 character = 0;
    const char* bytes = text.data();
    U8_NEXT(bytes, position, static_cast<int32_t>(text.size()), character);
    return character;
}

// Looks at all bytes without a branch, which the compiler turns into a few wide steps.
bool isASCII(std::string_view text) {
    unsigned char seen = 0;
    for (char character : text) {
        seen |= static_cast<unsigned char>(character);
    }
    return seen < 0x80;
}

bool isValidPiece(std::string_view text) {
    if (isASCII(text)) {
        return true;
    }
    int32_t position = 0;
    while (position < static_cast<int32_t>(text.size())) {
        if (next(text, position) < 0) {
            return false;
        }
    }
    return true;
}

// Collators are costly to open and not to be shared between threads while they compare.
const icu::Collator* standardCollator() {
    thread_local std::unique_ptr<icu::Collator> collator = [] {
        UErrorCode status = U_ZERO_ERROR;
        // The POSIX locale sorts by code points, which is no order for people.
        icu::Locale locale = icu::Locale::getDefault();
        bool isPOSIX = std::string_view(locale.getVariant()) == "POSIX";
        std::unique_ptr<icu::Collator> opened(
            icu::Collator::createInstance(isPOSIX ? icu::Locale::getRoot() : locale, status));
        if (U_SUCCESS(status)) {
            opened->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
        }
        return U_SUCCESS(status) ? std::move(opened) : nullptr;
    }();
    return collator.get();
}

bool isDirectionControl(UChar32 character) {
    return (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069) ||
           character == 0x200E || character == 0x200F || character == 0x061C;
}

}  // namespace

std::string trimmed(std::string_view text) {
    int32_t start = 0;
    auto size = static_cast<int32_t>(text.size());
    while (start < size) {
        int32_t position = start;
        UChar32 character = next(text, position);
        if (character < 0 || !u_isUWhiteSpace(character)) {
            break;
        }
        start = position;
    }
    int32_t end = size;
    while (end > start) {
        int32_t position = end;
        UChar32 character = 0;
        const char* bytes = text.data();
        U8_PREV(bytes, start, position, character);
        if (character < 0 || !u_isUWhiteSpace(character)) {
            break;
        }
        end = position;
    }
    return std::string(text.substr(static_cast<size_t>(start), static_cast<size_t>(end - start)));
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return unicode(left).caseCompare(unicode(right), U_FOLD_CASE_DEFAULT) == 0;
}

std::string lowercasedASCII(std::string_view text) {
    std::string result(text);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return result;
}

std::string lowercased(std::string_view text) {
    return utf8(unicode(text).toLower(icu::Locale::getRoot()));
}

std::u32string codePoints(std::string_view text) {
    constexpr UChar32 replacement = 0xFFFD;
    std::u32string result;
    int32_t position = 0;
    while (position < static_cast<int32_t>(text.size())) {
        UChar32 character = next(text, position);
        result += static_cast<char32_t>(character < 0 ? replacement : character);
    }
    return result;
}

std::vector<std::string_view> pieces(std::string_view text, char separator) {
    std::vector<std::string_view> result;
    while (!text.empty()) {
        size_t length = std::min(text.find(separator), text.size());
        if (length > 0) {
            result.push_back(text.substr(0, length));
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return result;
}

std::weak_ordering localizedStandardCompare(std::string_view left, std::string_view right) {
    const icu::Collator* collator = standardCollator();
    if (!collator) {
        return left <=> right;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCollationResult order =
        collator->compareUTF8(icu::StringPiece(left.data(), static_cast<int32_t>(left.size())),
                              icu::StringPiece(right.data(), static_cast<int32_t>(right.size())), status);
    if (order == UCOL_EQUAL) {
        return std::weak_ordering::equivalent;
    }
    return order == UCOL_LESS ? std::weak_ordering::less : std::weak_ordering::greater;
}

std::string foldedForSearch(std::string_view text) {
    if (isASCII(text)) {
        std::string folded(text);
        for (char& character : folded) {
            if (character >= 'A' && character <= 'Z') {
                character = static_cast<char>(character - 'A' + 'a');
            }
        }
        return folded;
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* decompose = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString source = unicode(text);
    source.foldCase();
    icu::UnicodeString decomposed = U_SUCCESS(status) ? decompose->normalize(source, status) : source;
    icu::UnicodeString folded;
    for (int32_t index = 0; index < decomposed.length(); index = decomposed.moveIndex32(index, 1)) {
        UChar32 character = decomposed.char32At(index);
        if (u_charType(character) != U_NON_SPACING_MARK) {
            folded.append(character);
        }
    }
    return utf8(folded);
}

bool localizedStandardContains(std::string_view text, std::string_view searched) {
    return foldedForSearch(text).find(foldedForSearch(searched)) != std::string::npos;
}

bool isAllNumbers(std::string_view text) {
    int32_t position = 0;
    while (position < static_cast<int32_t>(text.size())) {
        UChar32 character = next(text, position);
        if (character < 0 || (U_GET_GC_MASK(character) & U_GC_N_MASK) == 0) {
            return false;
        }
    }
    return true;
}

std::optional<int> decimalNumber(std::string_view text) {
    int number = 0;
    int32_t position = 0;
    while (position < static_cast<int32_t>(text.size())) {
        UChar32 character = next(text, position);
        int digit = character < 0 ? -1 : u_charDigitValue(character);
        if (digit < 0 || __builtin_mul_overflow(number, 10, &number) ||
            __builtin_add_overflow(number, digit, &number)) {
            return std::nullopt;
        }
    }
    return text.empty() ? std::nullopt : std::optional(number);
}

bool isValidUTF8(std::string_view text) {
    // Piece by piece: the library counts in 32 bits, and most pieces of a long text are ASCII.
    constexpr size_t pieceLength = 4096;
    while (!text.empty()) {
        size_t length = std::min(text.size(), pieceLength);
        for (int step = 0; step < 3 && length < text.size() && U8_IS_TRAIL(text[length]); ++step) {
            --length;
        }
        if (!isValidPiece(text.substr(0, length))) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string repairedUTF8(std::string_view text) {
    return isValidUTF8(text) ? std::string(text) : utf8(unicode(text));
}

std::string replacingAll(std::string_view text, std::string_view searched, std::string_view replacement) {
    std::string result;
    result.reserve(text.size());
    size_t copied = 0;
    for (size_t found = text.find(searched); found != std::string_view::npos; found = text.find(searched, copied)) {
        result.append(text, copied, found - copied).append(replacement);
        copied = found + searched.size();
    }
    return result.append(text, copied);
}

std::string withoutControlCharacters(std::string_view text) {
    icu::UnicodeString source = unicode(text);
    icu::UnicodeString result;
    for (int32_t index = 0; index < source.length(); index = source.moveIndex32(index, 1)) {
        UChar32 character = source.char32At(index);
        if (u_iscntrl(character) || isDirectionControl(character) || character == 0x2028 || character == 0x2029) {
            bool isSpace = character == '\n' || character == '\t' || character == '\r';
            result.append(static_cast<UChar32>(isSpace ? ' ' : 0xFFFD));
        } else {
            result.append(character);
        }
    }
    return utf8(result);
}

}  // namespace marlet
