#include "MarletClient/OptionValues.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/DataFolder.h"
#include "MarletWorkspace/ResolvedPath.h"

namespace marlet {
namespace {

template <class Number>
std::optional<Number> number(const std::string& text) {
    Number value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(value) : std::nullopt;
}

}  // namespace

std::string joinedWords(const std::vector<std::string>& words, const std::string& separator,
                        const std::string& lastSeparator) {
    std::string result;
    for (size_t index = 0; index < words.size(); ++index) {
        result += index == 0 ? "" : index + 1 == words.size() ? lastSeparator : separator;
        result += words[index];
    }
    return result;
}

void refuseChoice(const std::string& what, const std::string& text, const std::string& choices) {
    throw UsageError(fmt::format("Unknown {} \"{}\". Use {}.", what, text, choices));
}

int64_t portValue(const std::string& text) {
    std::optional<int64_t> port = number<int64_t>(text);
    if (!port || *port < 0 || *port > 65535) {
        throw UsageError(fmt::format("--port \"{}\" must be a number from 0 to 65535.", text));
    }
    return *port;
}

int64_t limitValue(const std::string& text) {
    std::optional<int64_t> limit = number<int64_t>(text);
    if (!limit || *limit < 1) {
        throw UsageError(fmt::format("--limit \"{}\" must be a whole number of at least 1.", text));
    }
    return *limit;
}

double estimateValue(const std::string& text) {
    std::optional<double> estimate = number<double>(text);
    if (!estimate || !std::isfinite(*estimate) || *estimate < 0) {
        throw UsageError(fmt::format("--estimate \"{}\" must be a number of at least 0.", text));
    }
    return *estimate;
}

Date dateValue(const std::string& option, const std::string& text) {
    std::optional<Date> date = parseISO8601(text);
    if (!date) {
        date = parseLocalDay(text);
    }
    if (!date) {
        throw UsageError(fmt::format("{} \"{}\" must be YYYY-MM-DD or an RFC 3339 date-time.", option, text));
    }
    return *date;
}

std::string folderValue(const std::string& option, const std::string& text) {
    if (text.empty()) {
        throw UsageError(fmt::format("{} must name a folder.", option));
    }
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(expandingTilde(text, homeFolder().string()), error);
    if (error || !isValidUTF8(path.string())) {
        throw UsageError(fmt::format("{} \"{}\" can't be used: give the folder's full path.", option, text));
    }
    return path.lexically_normal().string();
}

std::string notesValue(const std::string& text) {
    if (text != "-") {
        return text;
    }
    std::string notes{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    if (!isValidUTF8(notes)) {
        throw UsageError("What standard input brings isn't UTF-8 text.");
    }
    if (notes.ends_with('\n')) {
        notes.pop_back();
    }
    if (notes.ends_with('\r')) {
        notes.pop_back();
    }
    return notes;
}

}  // namespace marlet
