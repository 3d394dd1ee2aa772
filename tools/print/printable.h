#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vexonetctl {

/// The texts come from others, and a terminal obeys some of them: what is not UTF-8 (RFC 3629), a
/// control character or without a width of its own, such as what turns the direction of writing,
/// is shown as '?'. The rest is shown as it is, whatever the user's locale.
std::string Printable(const std::string& text);

/// The columns that a printable text takes on a terminal.
std::size_t WidthOf(std::string_view printable);

/// The bytes at the front of a printable text that fit into so many columns: whole characters, and
/// one at least.
std::size_t LengthWithin(std::string_view printable, std::size_t columns);

}  // namespace vexonetctl
