#include "arp_packet.h"

#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if_arp.h>

#include <cstdio>
#include <cstring>

namespace conflictd {
namespace {

/// The packet as it is on the wire, in network byte order.
struct __attribute__((packed)) Wire {
    std::uint16_t hardwareType;
    std::uint16_t protocolType;
    std::uint8_t hardwareLength;
    std::uint8_t protocolLength;
    std::uint16_t operation;
    MacAddress senderMac;
    std::uint32_t senderIp;
    MacAddress targetMac;
    std::uint32_t targetIp;
};
static_assert(sizeof(Wire) == kArpPacketSize);

bool IsIpv4OnEthernet(const Wire& wire) {
    return wire.hardwareType == htons(ARPHRD_ETHER) && wire.protocolType == htons(ETHERTYPE_IP)
           && wire.hardwareLength == sizeof wire.senderMac
           && wire.protocolLength == sizeof wire.senderIp;
}

}  // namespace

std::string ToText(Ipv4Address address) {
    const in_addr bytes{htonl(address)};
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &bytes, text, sizeof text);
    return text;
}

std::string ToText(const MacAddress& mac) {
    char text[sizeof "00:00:00:00:00:00"];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

std::optional<Ipv4Address> ParseIpv4Address(const std::string& text) {
    in_addr bytes{};
    if (::inet_pton(AF_INET, text.c_str(), &bytes) != 1) {
        return std::nullopt;
    }
    return ntohl(bytes.s_addr);
}

std::optional<ArpPacket> ParseArp(std::span<const std::byte> bytes) {
    Wire wire;
    if (bytes.size() < sizeof wire) {
        return std::nullopt;
    }
    std::memcpy(&wire, bytes.data(), sizeof wire);
    const std::uint16_t operation = ntohs(wire.operation);
    if (!IsIpv4OnEthernet(wire)
        || (operation != ArpPacket::kRequest && operation != ArpPacket::kReply)) {
        return std::nullopt;
    }
    return ArpPacket{.operation = operation,
                     .senderMac = wire.senderMac,
                     .senderIp = ntohl(wire.senderIp),
                     .targetMac = wire.targetMac,
                     .targetIp = ntohl(wire.targetIp)};
}

std::array<std::byte, kArpPacketSize> BuildArp(const ArpPacket& packet) {
    const Wire wire{.hardwareType = htons(ARPHRD_ETHER),
                    .protocolType = htons(ETHERTYPE_IP),
                    .hardwareLength = sizeof wire.senderMac,
                    .protocolLength = sizeof wire.senderIp,
                    .operation = htons(packet.operation),
                    .senderMac = packet.senderMac,
                    .senderIp = htonl(packet.senderIp),
                    .targetMac = packet.targetMac,
                    .targetIp = htonl(packet.targetIp)};
    std::array<std::byte, kArpPacketSize> bytes;
    std::memcpy(bytes.data(), &wire, sizeof wire);
    return bytes;
}

ArpPacket ArpProbe(const MacAddress& mac, Ipv4Address address) {
    return {.senderMac = mac, .targetIp = address};
}

ArpPacket ArpAnnouncement(const MacAddress& mac, Ipv4Address address) {
    return {.senderMac = mac, .senderIp = address, .targetIp = address};
}

}  // namespace conflictd
