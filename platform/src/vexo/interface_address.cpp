#include "vexo/interface_address.h"

#include <cerrno>
#include <cstdint>

#include "vexo/netlink.h"
#include "vlib/ipv4.h"

namespace vexoplatform {

namespace {

/// Ours among the numbers of IFA_PROTO; the kernel's own are 1 to 3.
constexpr std::uint8_t kConfigured = 0x76;

std::optional<InterfaceAddress> ParseAddress(const nlmsghdr& message) {
    const auto* header = FixedHeader<ifaddrmsg>(message);
    if (message.nlmsg_type != RTM_NEWADDR || header == nullptr || header->ifa_family != AF_INET) {
        return std::nullopt;
    }
    const NetlinkAttributes attributes(message, sizeof *header);
    const auto local = attributes.U32(IFA_LOCAL);
    if (!local) {
        return std::nullopt;
    }
    return InterfaceAddress{
        .address = {in_addr{*local}, header->ifa_prefixlen},
        .permanent = (header->ifa_flags & IFA_F_PERMANENT) != 0,
        .configured = attributes.U8(IFA_PROTO) == kConfigured,
        .header = *header,
        .attributes = attributes.Copy(),
    };
}

void PutAddressHeader(NetlinkRequest& request, int index, const LinkAddress& address) {
    auto& header = request.PutHeader<ifaddrmsg>();
    header.ifa_family = AF_INET;
    header.ifa_prefixlen = static_cast<std::uint8_t>(address.prefix);
    header.ifa_index = static_cast<unsigned int>(index);
    request.PutU32(IFA_LOCAL, address.address.s_addr);
    request.PutU32(IFA_ADDRESS, address.address.s_addr);
}

}  // namespace

std::optional<std::vector<InterfaceAddress>> ListInterfaceAddresses(int index) {
    NetlinkRequest request(RTM_GETADDR, NLM_F_DUMP);
    auto& header = request.PutHeader<ifaddrmsg>();
    header.ifa_family = AF_INET;
    header.ifa_index = static_cast<unsigned int>(index);
    auto addresses = NetlinkDump<InterfaceAddress>(request, ParseAddress);
    if (addresses) {
        std::erase_if(*addresses, [&](const InterfaceAddress& each) {
            return each.header.ifa_index != static_cast<unsigned int>(index);
        });
    }
    return addresses;
}

int PutAddress(int index, const LinkAddress& address) {
    NetlinkRequest request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE);
    PutAddressHeader(request, index, address);
    // RFC 3021: a subnet of two addresses has no broadcast address.
    constexpr int kLongestWithBroadcast = 30;
    if (address.prefix <= kLongestWithBroadcast) {
        request.PutU32(IFA_BROADCAST,
                       address.address.s_addr | ~vlib::Netmask(address.prefix).s_addr);
    }
    request.Put(IFA_PROTO, std::as_bytes(std::span(&kConfigured, 1)));
    return NetlinkExchange(request);
}

int RemoveAddress(int index, const LinkAddress& address) {
    NetlinkRequest request(RTM_DELADDR, 0);
    PutAddressHeader(request, index, address);
    return NetlinkExchange(request) == 0 || errno == EADDRNOTAVAIL ? 0 : -1;
}

int PutBackAddress(const InterfaceAddress& address) {
    NetlinkRequest request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL);
    request.PutHeader<ifaddrmsg>() = address.header;
    request.PutAll(NetlinkAttributes(address.attributes));
    return NetlinkExchange(request) == 0 || errno == EEXIST ? 0 : -1;
}

}  // namespace vexoplatform
