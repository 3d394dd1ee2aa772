#include "utils/utf8.h"

namespace vexonetwork::utils {

namespace {

/// The number of bytes that follow the first one of a character; -1 when it begins none.
int FollowingBytes(unsigned char first) {
    return first < 0x80                    ? 0
           : first >= 0xc2 && first < 0xe0 ? 1
           : first >= 0xe0 && first < 0xf0 ? 2
           : first >= 0xf0 && first < 0xf5 ? 3
                                           : -1;
}

}  // namespace

std::optional<std::uint32_t> TakeCharacter(std::string_view& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    const auto first = static_cast<unsigned char>(text.front());
    const int following = FollowingBytes(first);
    if (following < 0 || text.size() <= static_cast<std::size_t>(following)) {
        return std::nullopt;
    }
    std::uint32_t code = following == 0 ? first : first & (0x3fU >> following);
    for (int i = 1; i <= following; ++i) {
        const auto byte = static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
        if (byte >> 6 != 2) {
            return std::nullopt;
        }
        code = code << 6 | (byte & 0x3fU);
    }
    const bool isLongerThanNeeded =
        (following == 2 && code < 0x800) || (following == 3 && code < 0x10000);
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    if (isLongerThanNeeded || isSurrogate || code > 0x10ffff) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(following) + 1);
    return code;
}

}  // namespace vexonetwork::utils
