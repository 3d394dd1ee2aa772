#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

/// Bytes as a copy whose memory ends where they end, for the address sanitizer.
inline std::vector<std::byte> Copy(const uint8_t* bytes, std::size_t size) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes);
    return {first, first + size};
}

/// What must hold whatever the input is.
inline void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}
