#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <string.h>

#include <array>
#include <string_view>

#include <vexonetwork/emitter/kernel_message.h>
#include <vexonetwork/emitter/parse_rtattr.h>

namespace vexonetwork {
namespace {

template <typename Header>
const Header* FixedHeader(const nlmsghdr* message) {
    return message->nlmsg_len < NLMSG_LENGTH(sizeof(Header))
               ? nullptr
               : static_cast<const Header*>(NLMSG_DATA(message));
}

/// The attributes behind the fixed header of a message, by type up to `Max`.
template <typename Header, int Max>
class Attributes {
  public:
    explicit Attributes(const nlmsghdr* message) {
        constexpr std::size_t kOffset = NLMSG_SPACE(sizeof(Header));
        const std::size_t length = message->nlmsg_len;
        auto* first = reinterpret_cast<rtattr*>(
            reinterpret_cast<char*>(const_cast<nlmsghdr*>(message)) + kOffset);
        utils::parse_rtattr(table.data(), Max, first,
                            length > kOffset ? static_cast<int>(length - kOffset) : 0);
    }

    bool Has(int type) const { return At(type) != nullptr; }

    /// The payload; empty for an attribute that is not there.
    std::string_view Bytes(int type) const {
        const rtattr* attribute = At(type);
        return attribute == nullptr
                   ? std::string_view()
                   : std::string_view(static_cast<const char*>(RTA_DATA(attribute)),
                                      RTA_PAYLOAD(attribute));
    }

    /// Text to its terminating zero, or to the attribute's end where that is missing.
    std::string Text(int type) const {
        const std::string_view bytes = Bytes(type);
        return std::string(bytes.substr(0, bytes.find('\0')));
    }

    /// 0 for one that is not there or has another size.
    unsigned U32(int type) const {
        unsigned value = 0;
        if (const auto bytes = Bytes(type); bytes.size() == sizeof value) {
            ::memcpy(&value, bytes.data(), sizeof value);
        }
        return value;
    }

    /// "" for one that is not there or is no address of the family.
    std::string Address(int family, int type) const {
        const std::string_view bytes = Bytes(type);
        const std::size_t size = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
        char text[INET6_ADDRSTRLEN] = "";
        // Copied: the payload is aligned for words only.
        std::array<char, sizeof(in6_addr)> address{};
        if (bytes.copy(address.data(), address.size()) < size) {
            return "";
        }
        return ::inet_ntop(family, address.data(), text, sizeof text) == nullptr ? "" : text;
    }

  private:
    const rtattr* At(int type) const { return table[static_cast<std::size_t>(type)]; }

    std::array<rtattr*, Max + 1> table;
};

bool IsOneOf(const nlmsghdr* message, int one, int other) {
    return message->nlmsg_type == one || message->nlmsg_type == other;
}

}  // namespace

std::optional<LinkMessage> ReadLinkMessage(const nlmsghdr* message) {
    const auto* header = FixedHeader<ifinfomsg>(message);
    if (header == nullptr || !IsOneOf(message, RTM_NEWLINK, RTM_DELLINK)) {
        return std::nullopt;
    }
    const Attributes<ifinfomsg, IFLA_IFNAME> attributes(message);
    std::string ifname = attributes.Text(IFLA_IFNAME);
    if (ifname.empty()) {
        return std::nullopt;
    }
    return LinkMessage{.isNew = message->nlmsg_type == RTM_NEWLINK,
                       .index = static_cast<unsigned>(header->ifi_index),
                       .flags = header->ifi_flags,
                       .ifname = std::move(ifname),
                       .family = header->ifi_family,
                       .type = header->ifi_type,
                       .hardwareAddress = std::string(attributes.Bytes(IFLA_ADDRESS))};
}

std::optional<AddressMessage> ReadAddressMessage(const nlmsghdr* message) {
    const auto* header = FixedHeader<ifaddrmsg>(message);
    if (header == nullptr || !IsOneOf(message, RTM_NEWADDR, RTM_DELADDR)) {
        return std::nullopt;
    }
    const Attributes<ifaddrmsg, IFA_FLAGS> attributes(message);
    const int type = attributes.Has(IFA_LOCAL) ? IFA_LOCAL : IFA_ADDRESS;
    if (!attributes.Has(type)) {
        return std::nullopt;
    }
    return AddressMessage{.isNew = message->nlmsg_type == RTM_NEWADDR,
                          .family = header->ifa_family,
                          .index = header->ifa_index,
                          .prefix = header->ifa_prefixlen,
                          .address = attributes.Address(header->ifa_family, type),
                          .label = attributes.Text(IFA_LABEL)};
}

std::optional<RouteMessage> ReadRouteMessage(const nlmsghdr* message) {
    const auto* header = FixedHeader<rtmsg>(message);
    if (header == nullptr || !IsOneOf(message, RTM_NEWROUTE, RTM_DELROUTE)
        || (header->rtm_family != AF_INET && header->rtm_family != AF_INET6)) {
        return std::nullopt;
    }
    const Attributes<rtmsg, RTA_TABLE> attributes(message);
    // Tables beyond 255 have their number in an attribute.
    const unsigned table = attributes.U32(RTA_TABLE);
    return RouteMessage{.isNew = message->nlmsg_type == RTM_NEWROUTE,
                        .family = header->rtm_family,
                        .table = table != 0 ? table : header->rtm_table,
                        .prefix = header->rtm_dst_len,
                        .oif = attributes.U32(RTA_OIF),
                        .destination = attributes.Address(header->rtm_family, RTA_DST),
                        .gateway = attributes.Address(header->rtm_family, RTA_GATEWAY)};
}

}  // namespace vexonetwork
