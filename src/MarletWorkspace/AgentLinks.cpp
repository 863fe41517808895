#include "MarletWorkspace/AgentLinks.h"

#include <unicode/brkiter.h>

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "MarletBase/Description.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr std::string_view ellipsis = "\u2026";

// Steps over characters as users see them, which may be many code points each.
class Characters {
public:
    explicit Characters(std::string_view text) {
        UErrorCode status = U_ZERO_ERROR;
        utext_openUTF8(&source, text.data(), static_cast<int64_t>(text.size()), &status);
        iterator.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_SUCCESS(status)) {
            iterator->setText(&source, status);
        }
        if (U_FAILURE(status)) {
            programmingError("The rules of where a character ends are missing.");
        }
    }
    Characters(const Characters&) = delete;
    Characters& operator=(const Characters&) = delete;
    ~Characters() { utext_close(&source); }

    // Where the character `count` further on begins, or the text ends; no value behind its end.
    std::optional<size_t> skip(size_t count) {
        int32_t position = iterator->next(static_cast<int32_t>(count));
        return position == icu::BreakIterator::DONE ? std::nullopt : std::optional(static_cast<size_t>(position));
    }

private:
    UText source = UTEXT_INITIALIZER;
    std::unique_ptr<icu::BreakIterator> iterator;
};

// At most `limit` characters; what was cut ends in an ellipsis.
std::string cut(const std::string& text, size_t limit) {
    // No character is shorter than a byte.
    if (text.size() <= limit) {
        return text;
    }
    Characters characters(text);
    std::optional<size_t> end = characters.skip(limit - 1);
    std::optional<size_t> next = end ? characters.skip(1) : std::nullopt;
    if (!next || *next == text.size()) {
        return text;
    }
    return text.substr(0, *end).append(ellipsis);
}

std::string encodedValue(const std::string& text) {
    return isValidUTF8(text) ? percentEncoded(text, "-._~") : "";
}

URL deepLink(const std::string& text) {
    std::optional<URL> url = URL::parse(text);
    if (!url) {
        programmingError("A deep link isn't a URL.");
    }
    return *url;
}

}  // namespace

URL ClaudeLink::newSession(AgentDestination destination, const std::string& folder, const std::string& prompt) {
    if (app(destination) != AgentApp::claude) {
        programmingError("Claude opens no session of another agent.");
    }
    return deepLink("claude://" + std::string(code(destination)) + "/new?folder=" + encodedValue(folder) +
                    "&q=" + encodedValue(cut(prompt, promptLimit)));
}

URL CopilotLink::newSession(const RepositoryCoordinates& repository, const std::string& prompt, CopilotMode mode,
                            std::optional<int64_t> pullRequest) {
    std::string query = "repo=" + encodedValue(repository.owner + "/" + repository.name);
    if (pullRequest && *pullRequest >= 1) {
        query += "&pr=" + std::to_string(*pullRequest);
    }
    query += "&mode=" + encodedValue(std::string(code(mode)));
    query += "&prompt=" + encodedValue(cut(prompt, promptLimit));
    return deepLink("ghapp://session/new?" + query);
}

}  // namespace marlet
