#include "MarletBase/Regex.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstring>
#include <mutex>

#include "MarletBase/LocalizedError.h"

namespace marlet {
namespace {

// A linear search backtracks a few times for each byte; what needs far more doesn't end in useful time.
constexpr uint32_t backtrackingBase = 10'000;
constexpr uint32_t backtrackingPerByte = 16;
constexpr uint32_t backtrackingCeiling = 1'000'000'000;
constexpr uint32_t heapLimitInKiB = 64 * 1024;

// The searches of this thread are counted by the innermost.
thread_local RegexWork* currentWork = nullptr;

struct Release {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_compile_context* context) const { pcre2_compile_context_free(context); }
    void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};

using CompiledCode = std::unique_ptr<pcre2_code, Release>;

uint32_t compileOptions(Regex::Extent extent) {
    uint32_t options = PCRE2_UTF | PCRE2_UCP | PCRE2_NEVER_BACKSLASH_C | PCRE2_DOLLAR_ENDONLY;
    switch (extent) {
        case Regex::Extent::anywhere:
            return options;
        case Regex::Extent::prefix:
            return options | PCRE2_ANCHORED;
        case Regex::Extent::whole:
            return options | PCRE2_ANCHORED | PCRE2_ENDANCHORED;
    }
    return options;
}

CompiledCode compiled(const std::string& pattern, uint32_t options) {
    std::unique_ptr<pcre2_compile_context, Release> context(pcre2_compile_context_create(nullptr));
    // The library's own default depends on how it was built.
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_LF);
    int error = 0;
    PCRE2_SIZE position = 0;
    CompiledCode code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), options, &error,
                                    &position, context.get()));
    if (!code) {
        programmingError(("A regular expression doesn't compile: " + pattern).c_str());
    }
    return code;
}

uint32_t info(const CompiledCode& code, uint32_t what) {
    uint32_t value = 0;
    pcre2_pattern_info(code.get(), what, &value);
    return value;
}

// A byte that every match holds; of a letter either case, as the library doesn't tell whether case counts.
class CertainByte {
public:
    explicit CertainByte(char byte) : byte(byte) {
        bool isLetter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
        otherCase = isLetter ? static_cast<char>(byte ^ 0x20) : byte;
    }

    bool isOneOf(std::string_view text) const {
        return text.find(byte) != std::string_view::npos ||
               (otherCase != byte && text.find(otherCase) != std::string_view::npos);
    }

private:
    char byte;
    char otherCase;
};

// `kind` and `unit` are those of the first or of the last such byte.
std::optional<CertainByte> certainByte(const CompiledCode& code, uint32_t kind, uint32_t unit) {
    return info(code, kind) == 1 ? std::optional(CertainByte(static_cast<char>(info(code, unit)))) : std::nullopt;
}

// What the library writes to while it searches. One for each thread, as making it costs more than a short search.
struct Workspace {
    std::unique_ptr<pcre2_match_data, Release> data{pcre2_match_data_create(Regex::Match::groupLimit + 1, nullptr)};
    std::unique_ptr<pcre2_match_context, Release> context{pcre2_match_context_create(nullptr)};

    Workspace() { pcre2_set_heap_limit(context.get(), heapLimitInKiB); }

    static Workspace& ofThread() {
        thread_local Workspace workspace;
        return workspace;
    }

    int match(const pcre2_code* code, std::string_view text, size_t start) {
        size_t bytes =
            std::min<size_t>(text.size() - start, (backtrackingCeiling - backtrackingBase) / backtrackingPerByte);
        pcre2_set_match_limit(context.get(), backtrackingBase + backtrackingPerByte * static_cast<uint32_t>(bytes));
        auto subject = reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
        int result = pcre2_match(code, subject, text.size(), start, PCRE2_NO_UTF_CHECK, data.get(), context.get());
        if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
            // The interpreter keeps its notes on the heap, where there is more room.
            result = pcre2_match(code, subject, text.size(), start, PCRE2_NO_UTF_CHECK | PCRE2_NO_JIT, data.get(),
                                 context.get());
        }
        return result;
    }

    Regex::Match found(std::string_view text, int groupCount) const {
        const PCRE2_SIZE* bounds = pcre2_get_ovector_pointer(data.get());
        Regex::Match match;
        match.start = bounds[0];
        match.end = bounds[1];
        for (size_t group = 0; group < static_cast<size_t>(groupCount); ++group) {
            if (bounds[2 * group] != PCRE2_UNSET) {
                match.groups.at(group) = text.substr(bounds[2 * group], bounds[2 * group + 1] - bounds[2 * group]);
            }
        }
        return match;
    }
};

// Where the search stood when the last item of the pattern was tried.
struct Trace {
    size_t position;
    size_t steps = 0;
};

int countStep(pcre2_callout_block* block, void* data) {
    auto* trace = static_cast<Trace*>(data);
    size_t position = block->current_position;
    trace->steps += 1 + (position > trace->position ? position - trace->position : trace->position - position);
    trace->position = position;
    return 0;
}

size_t nextCharacter(std::string_view text, size_t position) {
    do {
        ++position;
    } while (position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80);
    return position;
}

}  // namespace

struct Regex::Code {
    std::string pattern;
    Extent extent;
    CompiledCode code;
    std::optional<CertainByte> first;  // that a match begins with
    std::optional<CertainByte> inner;  // that a match holds somewhere

    // The same pattern with a stop before each of its items, for RegexWork.
    CompiledCode traced;
    std::once_flag tracedOnce;

    const pcre2_code* tracedCode() {
        std::call_once(tracedOnce, [this] { traced = compiled(pattern, compileOptions(extent) | PCRE2_AUTO_CALLOUT); });
        return traced.get();
    }

    // Spares the call where a byte that every match holds is missing.
    bool canMatch(std::string_view text, size_t start) const {
        if (extent != Extent::anywhere) {
            return !first || first->isOneOf(text.substr(start, 1));
        }
        std::optional<CertainByte> certain = inner ? inner : first;
        // Asked once for a text, as asking again behind each match would read the rest over and over.
        return start > 0 || !certain || certain->isOneOf(text);
    }
};

Regex::Regex(std::string pattern, Extent extent) {
    CompiledCode compiledCode = compiled(pattern, compileOptions(extent));
    if (info(compiledCode, PCRE2_INFO_CAPTURECOUNT) > Match::groupLimit) {
        programmingError("A regular expression has more groups than a match can tell.");
    }
    // Where this machine has no code generator the interpreter finds the same.
    pcre2_jit_compile(compiledCode.get(), PCRE2_JIT_COMPLETE);
    std::optional<CertainByte> first = certainByte(compiledCode, PCRE2_INFO_FIRSTCODETYPE, PCRE2_INFO_FIRSTCODEUNIT);
    std::optional<CertainByte> inner = certainByte(compiledCode, PCRE2_INFO_LASTCODETYPE, PCRE2_INFO_LASTCODEUNIT);
    code.reset(new Code{std::move(pattern), extent, std::move(compiledCode), first, inner, nullptr, {}});
}

Regex::~Regex() = default;

Regex::Outcome Regex::search(std::string_view text, size_t start, Match& match) const {
    if (start > text.size() || !code->canMatch(text, start)) {
        return Outcome::none;
    }
    Workspace& workspace = Workspace::ofThread();
    int result = 0;
    if (currentWork) {
        Trace trace{start};
        pcre2_set_callout(workspace.context.get(), countStep, &trace);
        result = workspace.match(code->tracedCode(), text, start);
        pcre2_set_callout(workspace.context.get(), nullptr, nullptr);
        currentWork->count += trace.steps;
    } else {
        result = workspace.match(code->code.get(), text, start);
    }
    if (result > 0) {
        match = workspace.found(text, result);
        return Outcome::found;
    }
    if (result == PCRE2_ERROR_NOMATCH) {
        return Outcome::none;
    }
    if (currentWork) {
        ++currentWork->givenUp;
    }
    return Outcome::gaveUp;
}

std::optional<Regex::Match> Regex::find(std::string_view text, size_t start) const {
    Match match;
    return search(text, start, match) == Outcome::found ? std::optional(match) : std::nullopt;
}

std::vector<Regex::Match> Regex::findAll(std::string_view text) const {
    std::vector<Match> matches;
    size_t position = 0;
    Match match;
    for (;;) {
        Outcome outcome = search(text, position, match);
        if (outcome == Outcome::none) {
            return matches;
        }
        if (outcome == Outcome::gaveUp) {
            size_t lineEnd = text.find('\n', position);
            if (lineEnd == std::string_view::npos) {
                return matches;
            }
            position = lineEnd + 1;
            continue;
        }
        // An empty match would be found at the same place for ever.
        position = match.start < match.end ? match.end : nextCharacter(text, match.end);
        matches.push_back(match);
    }
}

void Regex::replaceAll(std::string& text, const Replacement& replacement) const {
    std::vector<Match> matches = findAll(text);
    if (matches.empty()) {
        return;
    }
    std::string result;
    result.reserve(text.size());
    size_t copied = 0;
    for (const Match& match : matches) {
        result.append(text, copied, match.start - copied);
        replacement(match, result);
        copied = match.end;
    }
    result.append(text, copied);
    text = std::move(result);
}

RegexWork::RegexWork() : outer(currentWork) {
    currentWork = this;
}

RegexWork::~RegexWork() {
    currentWork = outer;
}

}  // namespace marlet
