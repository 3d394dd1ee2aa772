#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vexonetwork::utils {

/// Takes the first character (RFC 3629) off a text.
/// @return nothing, the text unchanged, when it begins with none
std::optional<std::uint32_t> TakeCharacter(std::string_view& text);

/// U+0000 to U+001F and U+007F to U+009F.
inline bool IsControl(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

}  // namespace vexonetwork::utils
