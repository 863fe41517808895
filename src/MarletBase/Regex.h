#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlet {

// A regular expression of the Perl kind: look-around, back-references, verbs such as (*SKIP). "\w", "\s" and "\d" mean
// the characters of all scripts, "." is everything but a line feed, and "^" and "$" are the ends of the text.
//
// Compiled once, then safe to use from any thread. Every text must be UTF-8 (isValidUTF8); its length in bytes bounds
// the work of a search, so that no text takes for ever: a search that goes beyond gives up.
class Regex {
public:
    enum class Extent {
        anywhere,  // a match may begin at any place behind the start
        prefix,    // it begins at the start
        whole,     // it begins at the start and takes all the rest
    };

    // Views into the text that was searched.
    struct Match {
        static constexpr size_t groupLimit = 5;

        size_t start = 0;
        size_t end = 0;
        std::array<std::string_view, groupLimit + 1> groups;  // [0] is the match; one that took no part is empty

        std::string_view operator[](size_t group) const { return groups.at(group); }
    };

    // A pattern that doesn't compile, or has more than `groupLimit` groups, is a programming error.
    explicit Regex(std::string pattern, Extent extent = Extent::anywhere);
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;
    ~Regex();

    // The first match at byte `start` or behind it. No value also if the search gave up.
    std::optional<Match> find(std::string_view text, size_t start = 0) const;

    // All matches that don't overlap, from the left. Views into `text`, as with find.
    std::vector<Match> findAll(std::string_view text) const;

    bool matches(std::string_view text) const { return find(text).has_value(); }

    // Appends to `result` what stands in place of one match.
    using Replacement = std::function<void(const Match& match, std::string& result)>;

    // Replaces every match in `text`, from the left; the text between them stays as it is. Where a search gives up, it
    // stays up to the next line, and replacing goes on from there.
    void replaceAll(std::string& text, const Replacement& replacement) const;

private:
    struct Code;
    enum class Outcome { found, none, gaveUp };

    Outcome search(std::string_view text, size_t start, Match& match) const;

    std::unique_ptr<Code> code;
};

// Counts what the searches of this thread take while it lives, so that a test can tell linear work from more: the
// items of the patterns that are tried, and the bytes passed over between two of them. Searches are slower meanwhile.
class RegexWork {
public:
    RegexWork();
    RegexWork(const RegexWork&) = delete;
    RegexWork& operator=(const RegexWork&) = delete;
    ~RegexWork();

    size_t steps() const { return count; }
    size_t searchesGivenUp() const { return givenUp; }

private:
    friend class Regex;

    size_t count = 0;
    size_t givenUp = 0;
    RegexWork* outer;
};

}  // namespace marlet
