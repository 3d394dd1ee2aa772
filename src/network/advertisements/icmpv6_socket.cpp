#include "network/advertisements/icmpv6_socket.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/icmp6.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#define VEXO_LOG_SOURCE "ipv6_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

constexpr std::size_t kControlSize = 64;
constexpr int kMaxHops = 255;  // who receives fewer knows that it was forwarded, and drops it

int SetOption(int fd, int level, int option, int value) {
    return ::setsockopt(fd, level, option, &value, sizeof value);
}

int PassRouterMessages(int fd) {
    icmp6_filter filter{};
    ICMP6_FILTER_SETBLOCKALL(&filter);
    ICMP6_FILTER_SETPASS(ND_ROUTER_SOLICIT, &filter);
    ICMP6_FILTER_SETPASS(ND_ROUTER_ADVERT, &filter);
    return ::setsockopt(fd, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter);
}

/// What a socket is set to, in order; null when all was taken.
const char* SetUp(int fd) {
    if (SetOption(fd, IPPROTO_IPV6, IPV6_RECVPKTINFO, 1) < 0) {
        return "IPV6_RECVPKTINFO";
    }
    if (SetOption(fd, IPPROTO_IPV6, IPV6_UNICAST_HOPS, kMaxHops) < 0) {
        return "IPV6_UNICAST_HOPS";
    }
    if (SetOption(fd, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, kMaxHops) < 0) {
        return "IPV6_MULTICAST_HOPS";
    }
    if (PassRouterMessages(fd) < 0) {
        return "ICMP6_FILTER";
    }
    return SetOption(fd, IPPROTO_IPV6, IPV6_RECVHOPLIMIT, 1) < 0 ? "IPV6_RECVHOPLIMIT" : nullptr;
}

/// The control messages of the last datagram; whoever received it points into them. An allocation
/// that failed is tried again with the next datagram.
unsigned char* ControlBuffer() {
    static unsigned char* buffer = nullptr;
    if (buffer == nullptr) {
        buffer = static_cast<unsigned char*>(std::malloc(kControlSize));
    }
    return buffer;
}

struct Solicitation {
    nd_router_solicit header;
    nd_opt_hdr option;
    unsigned char source[6];
};

/// Says where we are, so that a router need not ask before it can answer to us alone. That fails
/// where a stranger has filled our table of neighbours.
/// @return the size of the message; an interface that is no Ethernet leaves the option out
std::size_t PutSource(int fd, const std::string& ifname, Solicitation& message) {
    ifreq request{};
    ifname.copy(request.ifr_name, sizeof request.ifr_name - 1);
    if (::ioctl(fd, SIOCGIFHWADDR, &request) < 0 || request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        return sizeof message.header;
    }
    message.option = {.nd_opt_type = ND_OPT_SOURCE_LINKADDR, .nd_opt_len = 1};
    std::memcpy(message.source, request.ifr_hwaddr.sa_data, sizeof message.source);
    return sizeof message;
}

}  // namespace

vexobase::UniqueFd Icmpv6Socket::Create() {
    vexobase::UniqueFd opened(::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6));
    if (!opened) {
        VEXO_LOG(LOG_ERR, "Failed to create socket(AF_INET6)");
        return opened;
    }
    if (const char* option = SetUp(opened.Get())) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt(%s)", option);
        opened.Reset();
    }
    return opened;
}

bool Icmpv6Socket::Open() {
    if (!fd) {
        fd = Create();
    }
    return static_cast<bool>(fd);
}

std::optional<int> Icmpv6Socket::Receive(unsigned char* buf, sockaddr_in6* from,
                                         in6_pktinfo** pktinfo) {
    unsigned char* control = ControlBuffer();
    if (control == nullptr) {
        VEXO_LOG(LOG_ERR, "Failed to malloc chdr");
        return -1;
    }
    iovec part{buf, kIcmpv6PacketSize};
    msghdr message{};
    message.msg_name = from;
    message.msg_namelen = sizeof *from;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = kControlSize;
    const ssize_t length = ::recvmsg(fd.Get(), &message, MSG_DONTWAIT);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return std::nullopt;
    }
    if (length < 0) {
        VEXO_LOG(LOG_ERR, "Failed to receive message");
        return -1;
    }
    return TakeControl(message, pktinfo) ? static_cast<int>(length) : -1;
}

/// @return false, after a log line, when the kernel does not know where the datagram came in
bool Icmpv6Socket::TakeControl(const msghdr& message, in6_pktinfo** pktinfo) {
    hopLimit = -1;
    auto* all = const_cast<msghdr*>(&message);
    for (cmsghdr* each = CMSG_FIRSTHDR(all); each != nullptr; each = CMSG_NXTHDR(all, each)) {
        if (each->cmsg_level != IPPROTO_IPV6) {
            continue;
        }
        if (each->cmsg_type == IPV6_HOPLIMIT && each->cmsg_len == CMSG_LEN(sizeof hopLimit)) {
            std::memcpy(&hopLimit, CMSG_DATA(each), sizeof hopLimit);
        }
        if (each->cmsg_type != IPV6_PKTINFO) {
            continue;
        }
        auto* info = reinterpret_cast<in6_pktinfo*>(CMSG_DATA(each));
        const bool whole = each->cmsg_len == CMSG_LEN(sizeof *info);
        if (!whole || info->ipi6_ifindex == 0) {
            VEXO_LOG(LOG_ERR, "received a bogus IPV6_PKTINFO from the kernel! len=%d, index=%u\n",
                     static_cast<int>(each->cmsg_len), whole ? info->ipi6_ifindex : 0);
            return false;
        }
        *pktinfo = info;
    }
    return true;
}

std::string Icmpv6Socket::InterfaceName(unsigned index) const {
    ifreq request{};
    request.ifr_ifindex = static_cast<int>(index);
    return ::ioctl(fd.Get(), SIOCGIFNAME, &request) < 0 ? "" : request.ifr_name;
}

int Icmpv6Socket::Solicit(unsigned index) const {
    sockaddr_in6 allRouters{};
    allRouters.sin6_family = AF_INET6;
    allRouters.sin6_addr = {{{0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x02}}};
    allRouters.sin6_scope_id = index;
    Solicitation solicitation{};
    solicitation.header.nd_rs_type = ND_ROUTER_SOLICIT;
    const std::size_t size = PutSource(fd.Get(), InterfaceName(index), solicitation);
    const auto sent = ::sendto(fd.Get(), &solicitation, size, MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&allRouters), sizeof allRouters);
    if (sent < 0) {
        VEXO_LOG(LOG_DEBUG, "Failed to solicit routers on interface %u: %s", index,
                 std::strerror(errno));
    }
    return sent < 0 ? -1 : 0;
}

}  // namespace vexonetwork::network::module
