#include "vexonetlink/neighbour.h"

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <utility>

namespace vexonetlink {

bool Neighbour::IsValid() const {
    constexpr unsigned kValid = NUD_PERMANENT | NUD_REACHABLE | NUD_PROBE | NUD_STALE | NUD_DELAY;
    return isNew && (state & kValid) != 0 && !hardwareAddress.empty();
}

std::optional<Neighbour> ReadNeighbour(const Message& message) {
    const auto header = FixedHeader<ndmsg>(message);
    if (!header || (message.type != RTM_NEWNEIGH && message.type != RTM_DELNEIGH)
        || !IsIpFamily(header->ndm_family)) {
        return std::nullopt;
    }
    Neighbour neighbour;
    neighbour.isNew = message.type == RTM_NEWNEIGH;
    neighbour.index = static_cast<unsigned>(header->ndm_ifindex);
    neighbour.state = header->ndm_state;
    neighbour.flags = header->ndm_flags;
    neighbour.type = header->ndm_type;
    for (auto attributes = AttributesBehind<ndmsg>(message);
         const auto attribute = attributes.Next();) {
        if (attribute->type == NDA_DST) {
            neighbour.address = ToAddress(header->ndm_family, attribute->payload);
        } else if (attribute->type == NDA_LLADDR) {
            const auto* const bytes =
                reinterpret_cast<const std::uint8_t*>(attribute->payload.data());
            neighbour.hardwareAddress.assign(bytes, bytes + attribute->payload.size());
        }
    }
    return neighbour.address ? std::optional(std::move(neighbour)) : std::nullopt;
}

Request NeighbourRequest(unsigned index, const IpAddress& address) {
    ndmsg header{};
    header.ndm_family = static_cast<std::uint8_t>(address.family);
    header.ndm_ifindex = static_cast<int>(index);
    Request request(RTM_GETNEIGH, 0, header);
    request.Put(NDA_DST, BytesOf(address));
    return request;
}

}  // namespace vexonetlink
