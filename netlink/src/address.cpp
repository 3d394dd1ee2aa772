#include "vexonetlink/address.h"

#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include <utility>

namespace vexonetlink {
namespace {

void ReadLifetimes(Bytes payload, InterfaceAddress& address) {
    if (const auto lifetimes = ToNumber<ifa_cacheinfo>(payload)) {
        address.preferredFor = lifetimes->ifa_prefered;
        address.validFor = lifetimes->ifa_valid;
    }
}

/// @return whether it is one of the two attributes that hold addresses of the interface
bool ReadAttribute(const Attribute& attribute, InterfaceAddress& address) {
    const Bytes payload = attribute.payload;
    switch (attribute.type) {
        case IFA_LOCAL:
            address.local = ToAddress(address.family, payload);
            return true;
        case IFA_ADDRESS:
            address.peer = ToAddress(address.family, payload);
            return true;
        case IFA_BROADCAST:
            address.broadcast = ToAddress(address.family, payload);
            break;
        case IFA_LABEL:
            address.label = ToText(payload);
            break;
        case IFA_FLAGS:
            address.flags = ToNumber<std::uint32_t>(payload).value_or(address.flags);
            break;
        case IFA_CACHEINFO:
            ReadLifetimes(payload, address);
            break;
        case IFA_PROTO:
            address.protocol = ToNumber<std::uint8_t>(payload).value_or(0);
            break;
        case IFA_RT_PRIORITY:
            address.metric = ToNumber<std::uint32_t>(payload).value_or(0);
            break;
        default:
            break;
    }
    return false;
}

void PutLifetimes(Request& request, const InterfaceAddress& address) {
    if (address.preferredFor != kForever || address.validFor != kForever) {
        const ifa_cacheinfo lifetimes{address.preferredFor, address.validFor, 0, 0};
        request.Put(IFA_CACHEINFO, std::as_bytes(std::span(&lifetimes, 1)));
    }
}

}  // namespace

std::optional<InterfaceAddress> ReadAddress(const Message& message) {
    const auto header = FixedHeader<ifaddrmsg>(message);
    if (!header || (message.type != RTM_NEWADDR && message.type != RTM_DELADDR)
        || !IsIpFamily(header->ifa_family)
        || header->ifa_prefixlen > AddressBits(header->ifa_family)) {
        return std::nullopt;
    }
    InterfaceAddress address;
    address.isNew = message.type == RTM_NEWADDR;
    address.family = header->ifa_family;
    address.index = header->ifa_index;
    address.prefixLength = header->ifa_prefixlen;
    address.scope = header->ifa_scope;
    address.flags = header->ifa_flags;
    bool hasAddress = false;
    bool hasLocal = false;
    for (auto attributes = AttributesBehind<ifaddrmsg>(message);
         const auto attribute = attributes.Next();) {
        hasAddress = ReadAttribute(*attribute, address) || hasAddress;
        hasLocal = hasLocal || attribute->type == IFA_LOCAL;
    }
    // IPv6 has IFA_LOCAL on point-to-point links only, and then IFA_ADDRESS is the other end.
    if (!hasLocal) {
        address.local = std::exchange(address.peer, {});
    } else if (address.peer == address.local) {
        address.peer = {};
    }
    return hasAddress ? std::optional(std::move(address)) : std::nullopt;
}

Request AddressesRequest(int family, unsigned index) {
    ifaddrmsg header{};
    header.ifa_family = static_cast<std::uint8_t>(family);
    header.ifa_index = index;
    return {RTM_GETADDR, NLM_F_DUMP, header};
}

Request AddressRequest(std::uint16_t type, int flags, const InterfaceAddress& address) {
    ifaddrmsg header{};
    header.ifa_family = static_cast<std::uint8_t>(address.family);
    header.ifa_prefixlen = address.prefixLength;
    header.ifa_scope = address.scope;
    header.ifa_index = address.index;
    Request request(type, flags, header);
    request.Put(IFA_LOCAL, BytesOf(address.local));
    request.Put(IFA_ADDRESS, BytesOf(address.peer ? address.peer : address.local));
    if (address.broadcast) {
        request.Put(IFA_BROADCAST, BytesOf(address.broadcast));
    }
    if (!address.label.empty()) {
        request.PutText(IFA_LABEL, address.label);
    }
    if (address.flags != 0) {
        request.PutU32(IFA_FLAGS, address.flags);
    }
    if (address.metric != 0) {
        request.PutU32(IFA_RT_PRIORITY, address.metric);
    }
    if (address.protocol != 0) {
        request.PutU8(IFA_PROTO, address.protocol);
    }
    PutLifetimes(request, address);
    return request;
}

}  // namespace vexonetlink
