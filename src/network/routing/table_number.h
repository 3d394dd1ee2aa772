#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vexonetwork::network {

/// Numbers of routing tables by their names.
using TableNumbers = std::map<std::string, std::uint32_t>;

/// The lines "NUMBER NAME" of a file of table numbers, decimal or hexadecimal with "0x"; of a
/// name's several lines the first counts, all others are passed over.
TableNumbers ParseTableNumbers(const std::string& text);

/// Whether `name` can name a table and stand in a file name: letters, digits, "_", "-" and ".",
/// beginning with a letter, at most 31 bytes.
bool IsTableName(const std::string& name);

/// The number that "/etc/iproute2/rt_tables" gives a table. Those of the kernel's own tables
/// (0 and 253 to 255) are not given: flushing these would take the machine off the network.
std::optional<std::uint32_t> FindTableNumber(const std::string& table);

/// Whether the numbers can be read; else it is not known who has which.
bool AreTableNumbersKnown();

/// The names of a number.
std::vector<std::string> TableNames(std::uint32_t number);

/// The same as FindTableNumber(), with a free number from 100 to 199 written down for a table that
/// has none: one that neither has a name nor is used by others.
/// @return nothing, after a log line, when there is none or the file cannot be replaced
std::optional<std::uint32_t> AllotTableNumber(const std::string& table);

}  // namespace vexonetwork::network
