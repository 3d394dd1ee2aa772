#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include <vexonetlink/socket.h>

namespace vexonetwork::network {

/// Who uses tables need not give them names: what others than we have in the kernel. What cannot be
/// read counts as used.
class TableUsage {
  public:
    /// Reads the rules.
    TableUsage();

    /// Whether a rule names the table, whatever else it says, or the table has a route of any type.
    bool IsUsed(std::uint32_t table);

  private:
    bool HasRoutes(int family, std::uint32_t table);

    std::optional<vexonetlink::Socket> socket;
    std::optional<std::set<std::uint32_t>> ruled;  ///< nothing when it is not known
};

}  // namespace vexonetwork::network
