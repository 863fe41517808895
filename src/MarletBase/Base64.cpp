#include "MarletBase/Base64.h"

#include <sodium.h>

namespace marlet {

std::string base64(std::string_view bytes) {
    constexpr int variant = sodium_base64_VARIANT_ORIGINAL;
    std::string text(sodium_base64_encoded_len(bytes.size(), variant), '\0');
    sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      variant);
    text.pop_back();  // the zero at its end
    return text;
}

}  // namespace marlet
