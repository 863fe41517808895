#include "MarletClient/Progress.h"

#include <fmt/format.h>

#include <cstdio>

namespace marlet {
namespace {

constexpr std::chrono::milliseconds patience(500);
const char* const wiped = "\r\x1b[K";

}  // namespace

Progress::Progress(bool wanted) : isWanted(wanted) {}

Progress::~Progress() {
    if (isShown) {
        std::fputs(wiped, stderr);
    }
}

void Progress::advance() {
    auto elapsed = std::chrono::steady_clock::now() - start;
    if (!isWanted || elapsed < patience) {
        return;
    }
    isShown = true;
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    std::fputs(fmt::format("{}{} … {} s", wiped, text, seconds).c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace marlet
