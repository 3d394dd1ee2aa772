#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexonetwork::network {

/// Names of routing tables with their numbers, in the order of their lines.
using TableNumbers = std::vector<std::pair<std::string, std::uint32_t>>;

/// The lines "NUMBER NAME" of a file of table numbers, decimal or hexadecimal with "0x"; all others
/// are passed over. Of a name's several lines the first counts.
TableNumbers ParseTableNumbers(const std::string& text);

/// Whether `name` can name a table and stand in a file name: letters, digits, "_", "-" and ".",
/// beginning with one of the first two, at most 31 bytes. A number is no name: ip(8) would mean
/// the one and the other by it.
bool IsTableName(const std::string& name);

/// The number that "/etc/iproute2/rt_tables", or a file of "rt_tables.d", gives a table. Those of
/// the kernel's own tables (0 and 253 to 255) are not given: flushing these would take the machine
/// off the network.
std::optional<std::uint32_t> FindTableNumber(const std::string& table);

/// Whether the numbers can be read; else it is not known who has which.
bool AreTableNumbersKnown();

/// The names of a number.
std::vector<std::string> TableNames(std::uint32_t number);

/// The number of a table, or why it has none.
struct AllottedNumber {
    std::optional<std::uint32_t> number;
    std::string fault = "";  ///< "" also when its line gives a number of the kernel's own tables
    bool isPending = false;  ///< somebody else is changing the numbers: it is to be asked for again
};

/// The same as FindTableNumber(), with a free number from 100 to 199 written down for a table that
/// has none: one that no line names, that no rule of others names and that has no route of others,
/// of whatever type. Waits for other writers half a second at most (BriefLock).
/// @return no number when there is none, when not all of that is known, or when the file cannot be
///         locked or replaced
AllottedNumber AllotTableNumber(const std::string& table);

}  // namespace vexonetwork::network
