#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vexonetwork::nftables {

/// What nftables says against something, in one line; nothing when it is done.
using Complaint = std::optional<std::string>;

/// A table of ours, `inet vexonet_NAME`. No other table is ever touched. The kernel alone keeps
/// what stands in it, and whether that was written by this class: any process may ask or write
/// again. Calls are safe from several threads.
class OwnTable {
  public:
    /// @param name  letters, digits and '_'
    explicit OwnTable(std::string_view name) : table("vexonet_" + std::string(name)) {}

    /// Replaces the whole table in one transaction: a packet meets the former rules or these.
    /// @param content  what nft(8) takes between the braces of a table; lines end with '\n'. Names
    ///     of strangers go in by Quoted().
    Complaint Write(std::string_view content) const;

    /// Whether the table is there and exactly what Write(content) makes of it. Counters do not
    /// matter; sets that packets fill would. False also when the kernel does not tell.
    bool Holds(std::string_view content) const;

    /// Takes the table away; one that is not there, or not told of, is no fault.
    Complaint Delete() const;

  private:
    std::string List() const;

    std::string table;
};

/// An interface name as a text of nft(8): in quotes, so that no word of the language is met.
/// @return nothing for a name that nft would take for a pattern or cannot read
std::optional<std::string> Quoted(std::string_view ifname);

}  // namespace vexonetwork::nftables
