#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network/routing/ip_prefix.h"
#include "network/routing/section_file.h"

namespace vexonetwork::network {

/// The gateways that are stored for interfaces, as any process can read them: those of the ordered
/// lists, and for interfaces that are in none the last ones known.
class StoredGateways {
  public:
    /// Reads the files. One that cannot be read counts as empty.
    StoredGateways();

    /// Whether all could be read.
    bool AreKnown() const { return known; }

    /// The interface's gateway; unspecified is a route by the device alone.
    std::optional<Address> Find(int family, const std::string& ifname) const;

    /// The interfaces of the lists, each once, in their order.
    std::vector<std::string> Interfaces() const;

    static const std::vector<std::string>& Files();

  private:
    SectionFile listV4;
    SectionFile listV6;
    SectionFile database;
    bool known = true;
};

}  // namespace vexonetwork::network
