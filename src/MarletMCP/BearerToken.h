// The secret that agents show with every request.
#pragma once

#include <string>
#include <string_view>

namespace marlet {

// 32 random bytes as 43 characters that need no escaping in a URL or a header.
std::string generateToken();

// The time it takes tells nothing about how many bytes agree.
bool isSameSecret(std::string_view left, std::string_view right);

}  // namespace marlet
