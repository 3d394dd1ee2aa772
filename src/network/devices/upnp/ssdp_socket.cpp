#include "network/devices/upnp/ssdp_socket.h"

#include <net/if.h>
#include <string.h>
#include <sys/socket.h>

#include <cerrno>

#include "network/devices/upnp/ssdp_message.h"

#define VEXO_LOG_SOURCE "upnpscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

using vexobase::UniqueFd;

constexpr in_addr_t kGroup = 0xEFFFFFFA;  // 239.255.255.250
constexpr in_port_t kPort = 1900;
constexpr int kHops = 2;
constexpr int kMaxAtOnce = 64;

constexpr std::string_view kSearch =
    "M-SEARCH * HTTP/1.1\r\n"
    "HOST: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: 2\r\n"
    "ST: upnp:rootdevice\r\n"
    "\r\n";

sockaddr_in AddressOf(in_addr host, in_port_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr = host;
    address.sin_port = htons(port);
    return address;
}

in_addr Group() {
    return {htonl(kGroup)};
}

template <typename Value>
bool Set(int fd, int level, int option, const Value& value) {
    return ::setsockopt(fd, level, option, &value, sizeof value) == 0;
}

bool Bind(int fd, const std::string& ifname, const sockaddr_in& address) {
    return ::setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, ifname.data(),
                        static_cast<socklen_t>(ifname.size()))
               == 0
           && ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

UniqueFd OpenUdp() {
    return UniqueFd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Bound to the group's address: what is sent to the appliance alone is not for us.
UniqueFd OpenAnnouncements(const Bridge& bridge) {
    UniqueFd fd = OpenUdp();
    const ip_mreqn membership = {Group(), {}, static_cast<int>(bridge.index)};
    const bool isOpen = fd && Set(fd.Get(), SOL_SOCKET, SO_REUSEADDR, 1)
                        && Set(fd.Get(), SOL_SOCKET, SO_REUSEPORT, 1)
                        && Bind(fd.Get(), bridge.ifname, AddressOf(Group(), kPort))
                        && Set(fd.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, membership);
    return isOpen ? std::move(fd) : UniqueFd();
}

UniqueFd OpenAnswers(const Bridge& bridge) {
    UniqueFd fd = OpenUdp();
    const bool isOpen = fd && Bind(fd.Get(), bridge.ifname, AddressOf({INADDR_ANY}, 0))
                        && Set(fd.Get(), IPPROTO_IP, IP_MULTICAST_TTL, kHops)
                        && Set(fd.Get(), IPPROTO_IP, IP_MULTICAST_LOOP, 0);
    return isOpen ? std::move(fd) : UniqueFd();
}

}  // namespace

SsdpSocket::SsdpSocket(const Bridge& ofBridge) : bridge(ofBridge) {
    announcements = OpenAnnouncements(bridge);
    if (announcements) {
        answers = OpenAnswers(bridge);
    }
    if (!answers) {
        VEXO_LOG(LOG_ERR, "Failed to listen for UPnP devices on [%s]: %s", bridge.ifname.c_str(),
                 ::strerror(errno));
        announcements.Reset();
    }
}

void SsdpSocket::Search() const {
    if (!answers) {
        return;
    }
    const sockaddr_in address = AddressOf(Group(), kPort);
    const auto* to = reinterpret_cast<const sockaddr*>(&address);
    // A device without a gateway can answer its own network alone.
    for (const BridgeNetwork& network : bridge.networks) {
        const ip_mreqn sender = {Group(), {network.address}, static_cast<int>(bridge.index)};
        if (!Set(answers.Get(), IPPROTO_IP, IP_MULTICAST_IF, sender)
            || ::sendto(answers.Get(), kSearch.data(), kSearch.size(), 0, to, sizeof address) < 0) {
            VEXO_LOG(LOG_ERR, "Failed to search for UPnP devices on [%s]: %s",
                     bridge.ifname.c_str(), ::strerror(errno));
        }
    }
}

void SsdpSocket::Receive(int fd, const Take& take) {
    for (int i = 0; i < kMaxAtOnce; ++i) {
        char datagram[kMaxSsdpBytes + 1];  // tells what is longer
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        const ssize_t size = ::recvfrom(fd, datagram, sizeof datagram, 0,
                                        reinterpret_cast<sockaddr*>(&sender), &length);
        if (size < 0) {
            return;
        }
        take({datagram, static_cast<std::size_t>(size)}, sender.sin_addr);
    }
}

}  // namespace vexonetwork::network
