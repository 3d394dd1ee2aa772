#pragma once

#include <netinet/in.h>

#include <optional>
#include <span>
#include <vector>

namespace vexonetwork::network::module {

/// Router advertisements (RFC 4861 section 4.2) as values. Nothing outside of the bytes is read,
/// whatever they say.
using PacketBytes = std::span<const unsigned char>;

struct Advertisement {
    bool managed = false;   ///< addresses by DHCPv6 (flag M)
    bool other = false;     ///< the rest by DHCPv6 (flag O)
    unsigned lifetime = 0;  ///< seconds for which the sender is a default router; 0: it is none
};

/// The header of an ICMPv6 message that is an advertisement.
/// @return nothing for another type, a code other than 0, or fewer than 16 bytes
std::optional<Advertisement> ReadAdvertisement(PacketBytes message);

/// How the walk over the options ended.
enum class OptionsEnd {
    kWhole,       ///< behind the last one
    kZeroLength,  ///< at an option without a length
    kOverlong     ///< at one that is longer than what is left
};

struct AdvertisedOptions {
    /// Prefixes for stateless autoconfiguration (section 4.6.2, flag A), from before the end.
    std::vector<in6_addr> autonomousPrefixes;
    OptionsEnd end = OptionsEnd::kWhole;
    // Of the option that the walk ended at:
    int type = 0;
    int length = 0;  ///< bytes
    int left = 0;    ///< bytes of the message from the option on
};

/// Walks the options behind the header.
AdvertisedOptions ReadOptions(PacketBytes message);

}  // namespace vexonetwork::network::module
