#pragma once

#include <string>
#include <string_view>

namespace vexobase {

/// A stranger's text as it may stand in a log line: no control characters, which could begin a line
/// of its own, and 128 bytes at most, of whole UTF-8 characters.
inline std::string LogText(std::string_view text) {
    constexpr std::size_t kMaxBytes = 128;
    std::size_t size = text.size();
    if (size > kMaxBytes) {
        size = kMaxBytes;
        while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) {
            --size;
        }
    }
    std::string shown(text.substr(0, size));
    for (char& c : shown) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
            c = '?';
        }
    }
    return size < text.size() ? shown + "..." : shown;
}

}  // namespace vexobase
