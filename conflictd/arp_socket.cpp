#include "arp_socket.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace conflictd {
namespace {

/// Some hundred packets: in a storm, older ones are worth nothing.
constexpr int kReceiveBuffer = 1 << 18;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_ll LinkAddress(unsigned index) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ARP);
    address.sll_ifindex = static_cast<int>(index);
    return address;
}

}  // namespace

// Of no protocol, it hears nothing before it has its filter.
ArpSocket::ArpSocket(unsigned interfaceIndex)
    : index(interfaceIndex), fd(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (!fd) {
        Fail("cannot open a packet socket");
    }
    // It can stay at the default.
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
}

void ArpSocket::Bind() {
    const sockaddr_ll address = LinkAddress(index);
    if (::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        Fail("cannot listen");
    }
    isBound = true;
}

void ArpSocket::Listen(std::vector<sock_filter> program) {
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::setsockopt(fd.Get(), SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0) {
        Fail("cannot filter");
    }
    if (!isBound) {
        Bind();
    }
}

std::optional<ArpPacket> ArpSocket::Receive() {
    std::array<std::byte, kArpPacketSize> buffer;
    for (;;) {
        const ssize_t length = ::recv(fd.Get(), buffer.data(), buffer.size(), 0);
        if (length < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (length > 0) {
            if (auto packet = ParseArp(std::span(buffer).first(static_cast<std::size_t>(length)))) {
                return packet;
            }
        }
    }
}

bool ArpSocket::Broadcast(const ArpPacket& packet) {
    const auto bytes = BuildArp(packet);
    sockaddr_ll target = LinkAddress(index);
    target.sll_halen = ETH_ALEN;
    std::fill_n(target.sll_addr, ETH_ALEN, 0xff);
    return ::sendto(fd.Get(), bytes.data(), bytes.size(), 0,
                    reinterpret_cast<const sockaddr*>(&target), sizeof target)
           == static_cast<ssize_t>(bytes.size());
}

}  // namespace conflictd
