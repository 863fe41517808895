#include "MarletClient/Progress.h"

#include <fmt/format.h>

#include <cstdio>

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

Progress::Progress(bool wanted) : isWanted(wanted) {}

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
    write(fmt::format("{}{} … {} s", wiped, text, seconds));
}

}  // namespace marlet
