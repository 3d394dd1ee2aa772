#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vexonetwork::network {

/// What a root device said of itself by SSDP (UPnP Device Architecture 1.1, sections 1.2 and 1.3).
struct SsdpMessage {
    enum class Kind {
        kAnswer,    ///< to a search
        kHere,      ///< "ssdp:alive"
        kUpdate,    ///< "ssdp:update": it will call itself by another boot number
        kFarewell,  ///< "ssdp:byebye"
    };

    Kind kind = Kind::kAnswer;
    std::string usn;       ///< "uuid:...::upnp:rootdevice", at most 256 bytes
    std::string location;  ///< of its description, at most 1,024 bytes; "" in a farewell
    std::chrono::seconds lifetime{1800};  ///< from a minute to a day
    /// The boot number from now on and the number of its configuration; UPnP 1.0 has neither.
    std::optional<std::uint32_t> bootId;
    std::optional<std::uint32_t> configId;

    bool operator==(const SsdpMessage&) const = default;
};

/// Longer datagrams are none of SSDP's.
constexpr std::size_t kMaxSsdpBytes = 2048;

/// Reads a datagram. Texts in the result are printable ASCII without blanks.
/// @return nothing for searches, for what is said of services and embedded devices, and for what
///         is malformed: a NUL, a member missing or too long, or given twice
std::optional<SsdpMessage> ParseSsdp(std::string_view datagram);

/// Whether a datagram that ParseSsdp reads nothing in should tell of a root device.
bool IsMalformedSsdp(std::string_view datagram);

/// Whether a location is "http://ADDRESS[:PORT]/..." with the address of this host: nothing is
/// fetched from where an announcement did not come from.
bool IsServedBy(std::string_view location, in_addr host);

}  // namespace vexonetwork::network
