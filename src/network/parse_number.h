#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vexonetwork::network {

/// A text that is an unsigned 32-bit number and nothing else.
inline std::optional<std::uint32_t> ParseNumber(std::string_view text, int base = 10) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

}  // namespace vexonetwork::network
