#pragma once

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vlib {

/// Puts a NUL-terminated copy of `text` where `room` points.
/// @return the place behind it
inline char* PutText(char* room, std::string_view text) {
    std::memcpy(room, text.data(), text.size());
    room[text.size()] = '\0';
    return room + text.size() + 1;
}

/// A NUL-terminated copy on the C heap, or null when memory is short.
inline char* CopyText(std::string_view text) {
    const auto copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        PutText(copy, text);
    }
    return copy;
}

}  // namespace vlib
