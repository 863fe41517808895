#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace marlet {

// A 128-bit identity. Its text is the hyphenated form in upper case.
struct UUID {
    std::array<uint8_t, 16> bytes{};

    // A new version 4 value.
    static UUID random();

    // Takes the hyphenated form in any case; no value for anything else.
    static std::optional<UUID> parse(std::string_view text);

    std::string text() const;
    std::string lowercaseText() const;

    auto operator<=>(const UUID&) const = default;
};

size_t hash_value(const UUID& uuid);

}  // namespace marlet

template <>
struct std::hash<marlet::UUID> {
    size_t operator()(const marlet::UUID& uuid) const { return hash_value(uuid); }
};
