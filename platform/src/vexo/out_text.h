#pragma once

#include <cstring>
#include <string_view>

#include "vlib/error.h"

namespace vexoplatform {

/// Hands a text with its NUL to a caller's buffer, whole or not at all.
/// @return 0, or -1 with the platform's error when there is no room for it
inline int PutOut(std::string_view text, char* buffer, int size) {
    if (buffer == nullptr || size <= 0 || text.size() >= static_cast<std::size_t>(size)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return 0;
}

}  // namespace vexoplatform
