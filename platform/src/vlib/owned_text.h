#pragma once

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vlib {

/// A NUL-terminated copy on the C heap, or null when memory is short.
inline char* CopyText(std::string_view text) {
    const auto copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

}  // namespace vlib
