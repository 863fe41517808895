#pragma once

#include <string>
#include <string_view>

namespace marlet {

// The standard alphabet, with "=" at the end.
std::string base64(std::string_view bytes);

}  // namespace marlet
