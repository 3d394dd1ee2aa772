#include "emitter/event_reader.h"

#include <linux/rtnetlink.h>

#include <array>

#include <vexonetlink/ip.h>
#include <vexonetlink/message.h>
#include <vexonetwork/emitter/parse_rtattr.h>

namespace vexonetwork {
namespace {

using vexonetlink::Bytes;

template <typename Header>
std::optional<Header> HeaderOf(const nlmsghdr& message) {
    const auto whole = vexonetlink::MessageAt(message);
    return whole ? vexonetlink::FixedHeader<Header>(*whole) : std::nullopt;
}

/// The attributes behind the fixed header of a message, by type up to `Max`.
template <typename Header, std::size_t Max>
class Attributes {
  public:
    explicit Attributes(const nlmsghdr& message) {
        constexpr std::size_t kOffset = NLMSG_SPACE(sizeof(Header));
        const std::size_t length = message.nlmsg_len;
        auto* first = reinterpret_cast<rtattr*>(
            reinterpret_cast<char*>(const_cast<nlmsghdr*>(&message)) + kOffset);
        utils::parse_rtattr(table.data(), Max, first,
                            length > kOffset ? static_cast<int>(length - kOffset) : 0);
    }

    bool Has(std::size_t type) const { return table[type] != nullptr; }

    /// "" for one that is not there.
    std::string Text(std::size_t type) const { return vexonetlink::ToText(At(type)); }

    /// "" for one that is not there or is no address of the family.
    std::string Address(int family, std::size_t type) const {
        return vexonetlink::IsIpFamily(family) ? ToText(vexonetlink::ToAddress(family, At(type)))
                                               : "";
    }

    /// 0 for one that is not there or has another size.
    unsigned Number(std::size_t type) const {
        return vexonetlink::ToNumber<unsigned>(At(type)).value_or(0);
    }

  private:
    Bytes At(std::size_t type) const {
        const rtattr* attribute = table[type];
        return attribute == nullptr ? Bytes()
                                    : Bytes(static_cast<const std::byte*>(RTA_DATA(attribute)),
                                            RTA_PAYLOAD(attribute));
    }

    std::array<rtattr*, Max + 1> table;
};

}  // namespace

std::optional<LinkEvent> ReadLinkEvent(const nlmsghdr& message) {
    const auto header = HeaderOf<ifinfomsg>(message);
    if (!header) {
        return std::nullopt;
    }
    LinkEvent event{.index = static_cast<unsigned>(header->ifi_index),
                    .ifname = Attributes<ifinfomsg, IFLA_IFNAME>(message).Text(IFLA_IFNAME),
                    .flags = header->ifi_flags};
    return event.ifname.empty() ? std::nullopt : std::optional(std::move(event));
}

std::optional<AddressEvent> ReadAddressEvent(const nlmsghdr& message) {
    const auto header = HeaderOf<ifaddrmsg>(message);
    if (!header) {
        return std::nullopt;
    }
    const Attributes<ifaddrmsg, IFA_FLAGS> attributes(message);
    const auto type = attributes.Has(IFA_LOCAL) ? IFA_LOCAL : IFA_ADDRESS;
    if (!attributes.Has(type)) {
        return std::nullopt;
    }
    return AddressEvent{.index = header->ifa_index,
                        .family = header->ifa_family,
                        .ifname = attributes.Text(IFA_LABEL),
                        .address = attributes.Address(header->ifa_family, type),
                        .prefix = header->ifa_prefixlen,
                        .isNew = message.nlmsg_type == RTM_NEWADDR};
}

std::optional<RouteEvent> ReadRouteEvent(const nlmsghdr& message) {
    const auto header = HeaderOf<rtmsg>(message);
    if (!header) {
        return std::nullopt;
    }
    const Attributes<rtmsg, RTA_TABLE> attributes(message);
    // Tables beyond 255 have their number in an attribute.
    const unsigned table = attributes.Number(RTA_TABLE);
    return RouteEvent{.isNew = message.nlmsg_type == RTM_NEWROUTE,
                      .family = header->rtm_family,
                      .table = table != 0 ? table : header->rtm_table,
                      .oif = attributes.Number(RTA_OIF),
                      .destination = attributes.Address(header->rtm_family, RTA_DST),
                      .gateway = attributes.Address(header->rtm_family, RTA_GATEWAY)};
}

}  // namespace vexonetwork
