#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <vexonetlink/ip.h>
#include <vexonetlink/message.h>
#include <vexonetlink/request.h>

namespace vexonetlink {

/// Who has an address on a link, as RTM_NEWNEIGH and RTM_DELNEIGH tell it.
struct Neighbour {
    bool isNew = true;   ///< false when it is told to be gone
    unsigned index = 0;  ///< of the interface
    IpAddress address = {};
    std::vector<std::uint8_t> hardwareAddress = {};  ///< empty while it is not known
    std::uint16_t state = 0;                         ///< NUD_…
    std::uint8_t flags = 0;                          ///< NTF_…
    std::uint8_t type = 0;                           ///< RTN_…

    /// Whether the kernel sends to the hardware address, as it knows no better one.
    bool IsValid() const;

    bool operator==(const Neighbour&) const = default;
};

/// @return nothing for a message of another type or family (that of a bridge's ports too), or
///         without an address
std::optional<Neighbour> ReadNeighbour(const Message& message);

/// Asks for one (Linux 5.0).
Request NeighbourRequest(unsigned index, const IpAddress& address);

}  // namespace vexonetlink
