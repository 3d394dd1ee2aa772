#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <string_view>

namespace vlib {

/// A decimal number up to `most`, without sign, blanks or leading zeros, which others take for
/// octal.
std::optional<int> ParseDecimal(std::string_view text, int most);

/// Four decimal octets.
std::optional<in_addr> ParseIpv4(const std::string& text);

/// The netmask of a prefix length from 0 to 32.
in_addr Netmask(int prefix);

/// @return the prefix length, or nothing when the ones are not contiguous
std::optional<int> PrefixOf(in_addr netmask);

/// The length of a prefix from 0 to 32 that is given as a number or as a contiguous netmask.
std::optional<int> ParsePrefix(const std::string& text);

std::string ToText(in_addr address);

/// The network that an address with a prefix length from 0 to 32 is in, as "NETWORK/PREFIX".
std::string NetworkText(in_addr address, int prefix);

}  // namespace vlib
