// One line of JSON text out, one line back, over a Unix socket of the user's own.
#pragma once

#include <cstddef>

namespace marlet {

// The longest line that either side takes, its line end not counted.
inline constexpr size_t maximumLineLength = size_t{16} << 20;

}  // namespace marlet
