#include "MarletClient/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "MarletBase/Text.h"
#include "MarletClient/Terminal.h"

namespace marlet {
namespace {

constexpr std::chrono::milliseconds patience(500);
const char* const wiped = "\r\x1b[K";

// A terminal that has gone needs no progress.
void write(const std::string& bytes) {
    static_cast<void>(std::fputs(bytes.c_str(), stderr));
    static_cast<void>(std::fflush(stderr));
}

}  // namespace

Progress::Progress(bool wanted, std::string words) : isWanted(wanted), working(std::move(words)) {}

Progress::~Progress() {
    if (isShown) {
        write(wiped);
    }
}

void Progress::advance() {
    auto elapsed = std::chrono::steady_clock::now() - start;
    if (!isWanted || elapsed < patience) {
        return;
    }
    isShown = true;
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    std::string line = news.empty() ? fmt::format("{} … {} s", working, seconds) : news;
    // A line that wraps couldn't be wiped.
    write(wiped + fitted(withoutControlCharacters(line), Terminal::of(STDERR_FILENO).width - 1));
}

bool Progress::wantsNews() {
    auto now = std::chrono::steady_clock::now();
    if (!isShown || now - lastAsked < patience) {
        return false;
    }
    lastAsked = now;
    return true;
}

void Progress::setNews(std::string words) {
    news = std::move(words);
}

}  // namespace marlet
