#include "network/advertisements/advertisement.h"

#include <netinet/icmp6.h>

#include <cstring>

namespace vexonetwork::network::module {
namespace {

constexpr std::size_t kHeaderSize = sizeof(nd_router_advert);
constexpr std::size_t kPrefixOffset = 16;
constexpr std::size_t kOptionUnit = 8;  // RFC 4861 section 4.6: lengths count units of 8 bytes

/// The prefix of a prefix information option with flag A; a short one has none.
std::optional<in6_addr> AutonomousPrefix(PacketBytes option) {
    in6_addr prefix;
    if (option[0] != ND_OPT_PREFIX_INFORMATION || option.size() < kPrefixOffset + sizeof prefix
        || (option[3] & ND_OPT_PI_FLAG_AUTO) == 0) {
        return std::nullopt;
    }
    std::memcpy(&prefix, &option[kPrefixOffset], sizeof prefix);
    return prefix;
}

/// In bytes; a lone byte has no length.
std::size_t LengthOf(PacketBytes option) {
    return option.size() == 1 ? 0 : option[1] * kOptionUnit;
}

}  // namespace

std::optional<Advertisement> ReadAdvertisement(PacketBytes message) {
    if (message.size() < kHeaderSize || message[0] != ND_ROUTER_ADVERT || message[1] != 0) {
        return std::nullopt;
    }
    return Advertisement{.managed = (message[5] & ND_RA_FLAG_MANAGED) != 0,
                         .other = (message[5] & ND_RA_FLAG_OTHER) != 0,
                         .lifetime = message[6] * 256U + message[7]};
}

AdvertisedOptions ReadOptions(PacketBytes message) {
    AdvertisedOptions result;
    PacketBytes left = message.size() > kHeaderSize ? message.subspan(kHeaderSize) : PacketBytes();
    while (!left.empty()) {
        const std::size_t length = LengthOf(left);
        if (length == 0 || length > left.size()) {
            result.end = length == 0 ? OptionsEnd::kZeroLength : OptionsEnd::kOverlong;
            result.type = left[0];
            result.length = static_cast<int>(length);
            result.left = static_cast<int>(left.size());
            break;
        }
        if (const auto prefix = AutonomousPrefix(left.first(length))) {
            result.autonomousPrefixes.push_back(*prefix);
        }
        left = left.subspan(length);
    }
    return result;
}

}  // namespace vexonetwork::network::module
