#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace conflictd {

using Ipv4Address = std::uint32_t;  ///< host byte order; 0 is none
using MacAddress = std::array<std::uint8_t, 6>;

/// "192.0.2.1"
std::string ToText(Ipv4Address address);

/// "02:00:5e:10:00:01"
std::string ToText(const MacAddress& mac);

/// @return nothing for what is no dotted quad
std::optional<Ipv4Address> ParseIpv4Address(const std::string& text);

/// An ARP packet (RFC 826) of IPv4 on Ethernet.
struct ArpPacket {
    enum Operation : std::uint16_t { kRequest = 1, kReply = 2 };

    std::uint16_t operation = kRequest;
    MacAddress senderMac{};
    Ipv4Address senderIp = 0;
    MacAddress targetMac{};
    Ipv4Address targetIp = 0;

    bool operator==(const ArpPacket&) const = default;
};

/// Bytes of a packet behind the link-layer header.
constexpr std::size_t kArpPacketSize = 28;

/// @param bytes  behind the link-layer header; padding may follow the packet
/// @return nothing for what is too short, is not of IPv4 on Ethernet, or neither asks nor answers
std::optional<ArpPacket> ParseArp(std::span<const std::byte> bytes);

std::array<std::byte, kArpPacketSize> BuildArp(const ArpPacket& packet);

/// Asks who has an address without claiming it (RFC 5227 section 1.1).
ArpPacket ArpProbe(const MacAddress& mac, Ipv4Address address);

/// Claims an address (RFC 5227 section 1.1).
ArpPacket ArpAnnouncement(const MacAddress& mac, Ipv4Address address);

}  // namespace conflictd
