#include "support/advertiser.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/icmp6.h>
#include <netinet/ip6.h>
#include <sched.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>
#include <thread>

namespace vexotest {
namespace {

constexpr unsigned char kAllNodes[] = {0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr unsigned char kPrefix[] = {3,    4,    64,   0x40, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                                     0x20, 0x01, 0x0d, 0xb8, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

vexobase::UniqueFd OpenOn(const std::string& ifname) {
    vexobase::UniqueFd fd(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_ifindex = static_cast<int>(::if_nametoindex(ifname.c_str()));
    EXPECT_EQ(::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&link), sizeof link), 0) << ifname;
    return fd;
}

void Add(std::uint32_t& sum, const void* bytes, std::size_t size) {
    const auto* each = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < size; ++i) {
        sum += i % 2 == 0 ? std::uint32_t{each[i]} << 8 : each[i];
    }
}

/// RFC 8200 section 8.1, network byte order.
std::uint16_t Checksum(const ip6_hdr& header, const std::vector<unsigned char>& message) {
    std::uint32_t sum = IPPROTO_ICMPV6 + static_cast<std::uint32_t>(message.size());
    Add(sum, &header.ip6_src, 2 * sizeof(in6_addr));
    Add(sum, message.data(), message.size());
    while (sum >> 16 != 0) {
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return htons(static_cast<std::uint16_t>(~sum));
}

std::vector<unsigned char> Message(const Advertiser::Advertisement& advertisement) {
    nd_router_advert header{};
    header.nd_ra_type = ND_ROUTER_ADVERT;
    header.nd_ra_flags_reserved = advertisement.flags;
    header.nd_ra_router_lifetime = htons(1800);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&header);
    std::vector<unsigned char> message(bytes, bytes + sizeof header);
    if (advertisement.options.empty()) {
        message.insert(message.end(), std::begin(kPrefix), std::end(kPrefix));
    } else {
        message.insert(message.end(), advertisement.options.begin(), advertisement.options.end());
    }
    return message;
}

}  // namespace

Advertiser::Advertiser(const std::string& netns, const std::string& ifname) {
    // A thread of its own may be in another network namespace than the rest of the program.
    std::thread([&] {
        const vexobase::UniqueFd space(
            ::open(("/run/netns/" + netns).c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(::setns(space.Get(), CLONE_NEWNET), 0) << netns;
        socket = OpenOn(ifname);
    }).join();
}

bool Advertiser::Send(const Advertisement& advertisement) {
    std::vector<unsigned char> message = Message(advertisement);
    ether_header ethernet{.ether_dhost = {0x33, 0x33, 0, 0, 0, 1},
                          .ether_shost = {2, 0, 0, 0, 0, 9},
                          .ether_type = htons(ETHERTYPE_IPV6)};
    ip6_hdr header{};
    header.ip6_flow = htonl(6U << 28);
    header.ip6_plen = htons(static_cast<std::uint16_t>(message.size()));
    header.ip6_nxt = IPPROTO_ICMPV6;
    header.ip6_hlim = advertisement.hopLimit;
    std::memcpy(&header.ip6_dst, kAllNodes, sizeof kAllNodes);
    EXPECT_EQ(::inet_pton(AF_INET6, advertisement.source.c_str(), &header.ip6_src), 1);
    const std::uint16_t checksum = Checksum(header, message);
    std::memcpy(&message[2], &checksum, sizeof checksum);

    iovec parts[] = {
        {&ethernet, sizeof ethernet}, {&header, sizeof header}, {message.data(), message.size()}};
    msghdr frame{};
    frame.msg_iov = parts;
    frame.msg_iovlen = std::size(parts);
    return ::sendmsg(socket.Get(), &frame, 0) > 0;
}

}  // namespace vexotest
