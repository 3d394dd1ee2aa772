#include "support/advertiser.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/icmp6.h>
#include <sched.h>
#include <sys/socket.h>

#include <thread>

namespace vexotest {
namespace {

constexpr unsigned char kPrefix[] = {3,    4,    64,   0x40, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                                     0x20, 0x01, 0x0d, 0xb8, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

/// A socket whose checksums the kernel fills in, and that may send from anybody's address
/// (ipv6(7)).
vexobase::UniqueFd OpenOn(const std::string& ifname) {
    vexobase::UniqueFd fd(::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6));
    const int on = 1;
    const int off = 0;
    ::setsockopt(fd.Get(), IPPROTO_IPV6, IPV6_MULTICAST_LOOP, &off, sizeof off);
    EXPECT_EQ(::setsockopt(fd.Get(), IPPROTO_IPV6, IPV6_TRANSPARENT, &on, sizeof on), 0);
    EXPECT_EQ(::setsockopt(fd.Get(), SOL_SOCKET, SO_BINDTODEVICE, ifname.data(),
                           static_cast<socklen_t>(ifname.size())),
              0);
    return fd;
}

sockaddr_in6 AddressOf(const std::string& text) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    EXPECT_EQ(::inet_pton(AF_INET6, text.c_str(), &address.sin6_addr), 1) << text;
    return address;
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
    const std::vector<unsigned char> message = Message(advertisement);
    const sockaddr_in6 source = AddressOf(advertisement.source);
    const sockaddr_in6 allNodes = AddressOf("ff02::1");
    const int hops = advertisement.hopLimit;
    ::setsockopt(socket.Get(), IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &hops, sizeof hops);
    EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&source), sizeof source), 0);
    return ::sendto(socket.Get(), message.data(), message.size(), 0,
                    reinterpret_cast<const sockaddr*>(&allNodes), sizeof allNodes)
           > 0;
}

}  // namespace vexotest
