#include "network/routing/route_message.h"

#include <linux/if_addr.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace vexonetwork::network {
namespace {

constexpr std::uint16_t kMostAttribute = 32;
constexpr std::uint32_t kNotSuppressed = 0xffffffff;

/// The attributes of a message by type; each was seen to lie inside the message.
class Attributes {
  public:
    Attributes(const nlmsghdr& message, std::size_t headerSize) {
        ForEachAttribute(message, headerSize, [this](const nlattr& attribute) {
            if (const auto type = mnl_attr_get_type(&attribute); type < kMostAttribute) {
                found[type] = &attribute;
            }
        });
    }

    bool Has(std::uint16_t type) const { return found[type] != nullptr; }

    std::optional<std::uint32_t> U32(std::uint16_t type) const {
        return Has(type) && mnl_attr_validate(found[type], MNL_TYPE_U32) == 0
                   ? std::optional(mnl_attr_get_u32(found[type]))
                   : std::nullopt;
    }
    std::optional<std::uint8_t> U8(std::uint16_t type) const {
        return Has(type) && mnl_attr_validate(found[type], MNL_TYPE_U8) == 0
                   ? std::optional(mnl_attr_get_u8(found[type]))
                   : std::nullopt;
    }

    /// None when there is no such attribute, or one of another size.
    Address GetAddress(std::uint16_t type, int family) const {
        Address address{family, {}};
        if (!Has(type) || mnl_attr_get_payload_len(found[type]) != AddressSize(family)) {
            return {};
        }
        std::memcpy(address.bytes.data(), mnl_attr_get_payload(found[type]), AddressSize(family));
        return address;
    }

  private:
    std::array<const nlattr*, kMostAttribute> found{};
};

template <typename Header>
const Header* FixedHeader(const nlmsghdr& message) {
    return mnl_nlmsg_get_payload_len(&message) < sizeof(Header)
               ? nullptr
               : static_cast<const Header*>(mnl_nlmsg_get_payload(&message));
}

template <typename Header>
Header& PutHeader(nlmsghdr& message) {
    return *static_cast<Header*>(mnl_nlmsg_put_extra_header(&message, sizeof(Header)));
}

bool IsFamily(int family) {
    return family == AF_INET || family == AF_INET6;
}

Prefix GetPrefix(const Attributes& attributes, std::uint16_t type, int family, std::uint8_t bits) {
    const Address address = attributes.GetAddress(type, family);
    return {address ? address : Address{family, {}}, bits};
}

void PutAddress(nlmsghdr& message, std::uint16_t type, const Address& address) {
    mnl_attr_put(&message, type, AddressSize(address.family), address.bytes.data());
}

}  // namespace

std::optional<Route> ReadRoute(const nlmsghdr& message) {
    const auto* header = FixedHeader<rtmsg>(message);
    if (message.nlmsg_type != RTM_NEWROUTE || header == nullptr || !IsFamily(header->rtm_family)
        || header->rtm_type != RTN_UNICAST || (header->rtm_flags & RTM_F_CLONED) != 0) {
        return std::nullopt;
    }
    const Attributes attributes(message, sizeof *header);
    Route route;
    route.table = attributes.U32(RTA_TABLE).value_or(header->rtm_table);
    route.destination = GetPrefix(attributes, RTA_DST, header->rtm_family, header->rtm_dst_len);
    route.metric = attributes.U32(RTA_PRIORITY).value_or(0);
    route.gateway = attributes.GetAddress(RTA_GATEWAY, header->rtm_family);
    route.oif = attributes.U32(RTA_OIF).value_or(0);
    route.protocol = header->rtm_protocol;
    return route;
}

std::optional<Rule> ReadRule(const nlmsghdr& message) {
    const auto* header = FixedHeader<fib_rule_hdr>(message);
    if (message.nlmsg_type != RTM_NEWRULE || header == nullptr || !IsFamily(header->family)
        || header->action != FR_ACT_TO_TBL || header->dst_len != 0) {
        return std::nullopt;
    }
    const Attributes attributes(message, sizeof *header);
    for (const auto other : {FRA_IIFNAME, FRA_OIFNAME, FRA_FWMARK}) {
        if (attributes.Has(other)) {
            return std::nullopt;
        }
    }
    Rule rule;
    rule.priority = attributes.U32(FRA_PRIORITY).value_or(0);
    rule.source = GetPrefix(attributes, FRA_SRC, header->family, header->src_len);
    rule.table = attributes.U32(FRA_TABLE).value_or(header->table);
    rule.suppressDefault =
        attributes.U32(FRA_SUPPRESS_PREFIXLEN).value_or(kNotSuppressed) != kNotSuppressed;
    rule.protocol = attributes.U8(FRA_PROTOCOL).value_or(RTPROT_UNSPEC);
    return rule;
}

std::optional<InterfaceAddress> ReadAddress(const nlmsghdr& message) {
    const auto* header = FixedHeader<ifaddrmsg>(message);
    if (message.nlmsg_type != RTM_NEWADDR || header == nullptr || !IsFamily(header->ifa_family)) {
        return std::nullopt;
    }
    const Attributes attributes(message, sizeof *header);
    // IFA_ADDRESS is the peer on a point-to-point link; IPv6 has no IFA_LOCAL on the others.
    const Address peer = attributes.GetAddress(IFA_ADDRESS, header->ifa_family);
    const Address local = attributes.GetAddress(IFA_LOCAL, header->ifa_family);
    if (!peer && !local) {
        return std::nullopt;
    }
    const std::uint32_t flags = attributes.U32(IFA_FLAGS).value_or(header->ifa_flags);
    return InterfaceAddress{header->ifa_index,
                            {local ? local : peer, header->ifa_prefixlen},
                            NetworkOf({peer ? peer : local, header->ifa_prefixlen}),
                            (flags & IFA_F_NOPREFIXROUTE) == 0};
}

void PutRoute(nlmsghdr& message, const Route& route) {
    auto& header = PutHeader<rtmsg>(message);
    header.rtm_family = static_cast<unsigned char>(route.destination.address.family);
    header.rtm_dst_len = route.destination.length;
    header.rtm_table = RT_TABLE_UNSPEC;
    header.rtm_protocol = route.protocol;
    header.rtm_scope = route.gateway ? RT_SCOPE_UNIVERSE : RT_SCOPE_LINK;
    header.rtm_type = RTN_UNICAST;
    mnl_attr_put_u32(&message, RTA_TABLE, route.table);
    PutAddress(message, RTA_DST, route.destination.address);
    if (route.gateway) {
        PutAddress(message, RTA_GATEWAY, route.gateway);
    }
    if (route.oif != 0) {
        mnl_attr_put_u32(&message, RTA_OIF, route.oif);
    }
    if (route.metric != 0) {
        mnl_attr_put_u32(&message, RTA_PRIORITY, route.metric);
    }
}

void PutRule(nlmsghdr& message, const Rule& rule) {
    auto& header = PutHeader<fib_rule_hdr>(message);
    header.family = static_cast<std::uint8_t>(rule.source.address.family);
    header.src_len = rule.source.length;
    header.action = FR_ACT_TO_TBL;
    mnl_attr_put_u32(&message, FRA_PRIORITY, rule.priority);
    mnl_attr_put_u32(&message, FRA_TABLE, rule.table);
    mnl_attr_put_u8(&message, FRA_PROTOCOL, rule.protocol);
    if (rule.source.length != 0) {
        PutAddress(message, FRA_SRC, rule.source.address);
    }
    if (rule.suppressDefault) {
        mnl_attr_put_u32(&message, FRA_SUPPRESS_PREFIXLEN, 0);
    }
}

}  // namespace vexonetwork::network
