#include "MarletClient/Steps.h"

#include <fmt/format.h>

#include <utility>

namespace marlet {

std::string Steps::text() const {
    if (entries.empty()) {
        return {};
    }
    const Entry& latest = entries.back();
    auto elapsed = std::chrono::steady_clock::now() - latest.start;
    return fmt::format("{} … {} s", latest.words, std::chrono::duration_cast<std::chrono::seconds>(elapsed).count());
}

Step::Step(Steps& steps, std::string words)
    : owner(steps), place(steps.entries.insert(steps.entries.end(), {.words = std::move(words)})) {}

Step::~Step() {
    owner.entries.erase(place);
}

}  // namespace marlet
