#include "vexonetlink/link.h"

#include <linux/if.h>
#include <linux/rtnetlink.h>

namespace vexonetlink {
namespace {

void ReadKinds(Bytes nest, Link& link) {
    for (Attributes attributes(nest); const auto attribute = attributes.Next();) {
        if (attribute->type == IFLA_INFO_KIND) {
            link.kind = ToText(attribute->payload);
        } else if (attribute->type == IFLA_INFO_SLAVE_KIND) {
            link.portKind = ToText(attribute->payload);
        }
    }
}

void ReadAttribute(const Attribute& attribute, Link& link) {
    const Bytes payload = attribute.payload;
    switch (attribute.type) {
        case IFLA_IFNAME:
            link.ifname = ToText(payload);
            break;
        case IFLA_MTU:
            link.mtu = ToNumber<std::uint32_t>(payload).value_or(0);
            break;
        case IFLA_OPERSTATE:
            link.operState = ToNumber<std::uint8_t>(payload).value_or(0);
            break;
        case IFLA_ADDRESS: {
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(payload.data());
            link.hardwareAddress.assign(bytes, bytes + payload.size());
            break;
        }
        case IFLA_MASTER:
            link.master = ToNumber<std::uint32_t>(payload).value_or(0);
            break;
        case IFLA_LINKINFO:
            ReadKinds(payload, link);
            break;
        default:
            break;
    }
}

ifinfomsg HeaderOf(unsigned index) {
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(index);
    return header;
}

}  // namespace

std::optional<Link> ReadLink(const Message& message) {
    const auto header = FixedHeader<ifinfomsg>(message);
    if (!header || (message.type != RTM_NEWLINK && message.type != RTM_DELLINK)) {
        return std::nullopt;
    }
    Link link;
    link.isNew = message.type == RTM_NEWLINK;
    link.family = header->ifi_family;
    link.index = static_cast<unsigned>(header->ifi_index);
    link.type = header->ifi_type;
    link.flags = header->ifi_flags;
    for (auto attributes = AttributesBehind<ifinfomsg>(message);
         const auto attribute = attributes.Next();) {
        ReadAttribute(*attribute, link);
    }
    const bool isNamed = !link.ifname.empty() && link.ifname.size() < IFNAMSIZ;
    return isNamed ? std::optional(std::move(link)) : std::nullopt;
}

Request LinksRequest() {
    return {RTM_GETLINK, NLM_F_DUMP, ifinfomsg{}};
}

Request LinkRequest(const std::string& ifname) {
    Request request(RTM_GETLINK, 0, ifinfomsg{});
    request.PutText(IFLA_IFNAME, ifname);
    return request;
}

Request MtuRequest(unsigned index, std::uint32_t mtu) {
    Request request(RTM_NEWLINK, 0, HeaderOf(index));
    request.PutU32(IFLA_MTU, mtu);
    return request;
}

Request FlagsRequest(unsigned index, unsigned flags, unsigned mask) {
    ifinfomsg header = HeaderOf(index);
    header.ifi_flags = flags;
    header.ifi_change = mask;
    return {RTM_NEWLINK, 0, header};
}

}  // namespace vexonetlink
