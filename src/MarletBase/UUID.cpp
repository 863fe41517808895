#include "MarletBase/UUID.h"

#include <cstring>

#include "MarletBase/Random.h"

namespace marlet {
namespace {

constexpr bool isHyphenPosition(size_t byteIndex) {
    return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

std::string textWith(const UUID& uuid, const char* digits) {
    std::string text;
    text.reserve(36);
    for (size_t index = 0; index < uuid.bytes.size(); ++index) {
        if (isHyphenPosition(index)) {
            text += '-';
        }
        text += digits[uuid.bytes[index] >> 4];
        text += digits[uuid.bytes[index] & 15];
    }
    return text;
}

std::optional<uint8_t> digitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<uint8_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<uint8_t>(digit - 'A' + 10);
    }
    return std::nullopt;
}

}  // namespace

UUID UUID::random() {
    UUID uuid;
    fillRandom(uuid.bytes);
    uuid.bytes[6] = static_cast<uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);
    uuid.bytes[8] = static_cast<uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
    return uuid;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    UUID uuid;
    size_t position = 0;
    for (size_t index = 0; index < uuid.bytes.size(); ++index) {
        if (isHyphenPosition(index) && text[position++] != '-') {
            return std::nullopt;
        }
        std::optional<uint8_t> high = digitValue(text[position++]);
        std::optional<uint8_t> low = digitValue(text[position++]);
        if (!high || !low) {
            return std::nullopt;
        }
        uuid.bytes[index] = static_cast<uint8_t>(*high << 4 | *low);
    }
    return uuid;
}

std::string UUID::text() const {
    return textWith(*this, "0123456789ABCDEF");
}

std::string UUID::lowercaseText() const {
    return textWith(*this, "0123456789abcdef");
}

size_t hash_value(const UUID& uuid) {
    // Random values: any eight of the bytes are as good as a hash of all.
    size_t value = 0;
    std::memcpy(&value, uuid.bytes.data() + 8, sizeof value);
    return value;
}

}  // namespace marlet
