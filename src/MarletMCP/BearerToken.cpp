#include "MarletMCP/BearerToken.h"

#include <sodium.h>

#include <array>
#include <cstdint>

#include "MarletBase/Random.h"

namespace marlet {
namespace {

constexpr int encoding = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

}  // namespace

std::string generateToken() {
    std::array<uint8_t, 32> bytes{};
    fillRandom(bytes);
    std::array<char, sodium_base64_ENCODED_LEN(bytes.size(), encoding)> text{};
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), encoding);
    sodium_memzero(bytes.data(), bytes.size());
    return text.data();
}

bool isSameSecret(std::string_view left, std::string_view right) {
    return left.size() == right.size() && sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace marlet
