#pragma once

namespace marlet {

// The version that this program was built as.
inline constexpr const char* versionText = MARLET_VERSION;

}  // namespace marlet
