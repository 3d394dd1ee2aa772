#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vexonetwork::network {

/// Whether `name` can name a table and stand in a file name: letters, digits, "_", "-" and ".",
/// beginning with a letter, at most 31 bytes.
bool IsTableName(const std::string& name);

/// The number that "/etc/iproute2/rt_tables" gives a table. Those of the kernel's own tables
/// (0 and 253 to 255) are not given: flushing these would take the machine off the network.
std::optional<std::uint32_t> FindTableNumber(const std::string& table);

/// The same, with a free number from 100 to 199 written down for a table that has none.
/// @return nothing when there is no free number or the file cannot be replaced
std::optional<std::uint32_t> AllotTableNumber(const std::string& table);

}  // namespace vexonetwork::network
