#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/LocalizedError.h"

namespace marlet {

class HelperUsageError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

inline constexpr const char* helperUsage = "usage: MarletHelper [--socket PATH] [--until-input-ends]";

struct HelperOptions {
    std::optional<std::filesystem::path> socket;  // absolute
    bool untilInputEnds = false;
    bool wantsUsage = false;

    bool operator==(const HelperOptions&) const = default;

    // Throws HelperUsageError.
    static HelperOptions parse(const std::vector<std::string>& arguments);
};

// Where the session's helper listens. Throws LineServerError where there is no session.
std::filesystem::path defaultHelperSocket();

}  // namespace marlet
