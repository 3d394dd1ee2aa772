#pragma once

#include <net/if.h>

#include <algorithm>
#include <string_view>

namespace vexobase {

/// Whether the kernel could have an interface of this name (dev_valid_name), and the sectioned
/// files can name a section after it: those have no room for control characters and "]".
inline bool IsInterfaceName(std::string_view name) {
    constexpr char kDelete = 0x7f;
    constexpr char kNoBreakSpace = '\xa0';  // a blank to the kernel, also inside UTF-8
    const auto refused = [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '/' || c == ':' || c == ']'
               || c == kDelete || c == kNoBreakSpace;
    };
    return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".."
           && std::none_of(name.begin(), name.end(), refused);
}

}  // namespace vexobase
