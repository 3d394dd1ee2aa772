#include "vexonetwork/network/module/ipv6_module.h"

#include <net/if.h>
#include <netinet/icmp6.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/log_budget.h"
#include "network/advertisements/reset_requests.h"

namespace vexonetwork::network::module {
namespace {

constexpr std::size_t kPacketSize = 1500;
constexpr std::size_t kControlSize = 64;

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
    if (SetOption(fd, IPPROTO_IPV6, IPV6_UNICAST_HOPS, 255) < 0) {
        return "IPV6_UNICAST_HOPS";
    }
    if (SetOption(fd, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, 255) < 0) {
        return "IPV6_MULTICAST_HOPS";
    }
    if (PassRouterMessages(fd) < 0) {
        return "ICMP6_FILTER";
    }
    return SetOption(fd, IPPROTO_IPV6, IPV6_RECVHOPLIMIT, 1) < 0 ? "IPV6_RECVHOPLIMIT" : nullptr;
}

/// The control messages of the last datagram; whoever received it points into them.
unsigned char* ControlBuffer() {
    static auto* const buffer = static_cast<unsigned char*>(std::malloc(kControlSize));
    return buffer;
}

/// As if_indextoname(3), by a socket that is there already.
/// @return "" when there is no such interface, or no longer
std::string InterfaceName(int fd, unsigned index) {
    ifreq request{};
    request.ifr_ifindex = static_cast<int>(index);
    return ::ioctl(fd, SIOCGIFNAME, &request) < 0 ? "" : request.ifr_name;
}

}  // namespace

IPv6Module::IPv6Module()
    : BaseModule(MODULE_IPV6),
      log_budget(std::make_unique<LogBudget>()),
      wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      resets(std::make_unique<ResetRequests>()) {}

IPv6Module::~IPv6Module() {
    IPv6Module::TerminateModule();
    const vexobase::UniqueFd closed(wake);
}

BaseModule* IPv6Module::Create() {
    return new IPv6Module;
}

int IPv6Module::InitialModule() {
    stopping = false;
    if (!open_icmpv6_socket(sock)) {
        VEXO_LOG(LOG_ERR, "Failed to open icmpv6 socket");
        return -1;
    }
    return 0;
}

int IPv6Module::StartModule() {
    published = false;  // what a former daemon knew is no longer true
    try {
        polling = std::thread([this] { Poll(); });
        ::pthread_setname_np(polling.native_handle(), "router-adverts");
    } catch (const std::system_error&) {
        VEXO_LOG(LOG_ERR, "Failed to create ipv6 polling thread");
    }
    return 0;
}

int IPv6Module::TerminateModule() {
    stopping = true;
    ::eventfd_write(wake, 1);
    if (polling.joinable()) {
        polling.join();
    }
    const vexobase::UniqueFd closed(std::exchange(sock, -1));
    return 0;
}

int IPv6Module::ProcessRequest(const Json::Value& in, Json::Value& /*out*/) {
    std::string ifname = utils::GetString(in, "ifname").value_or("");
    // A text that is no name, of megabytes even, has no record.
    if (utils::GetString(in, "method") == "RESET_IPV6_MODULE" && ifname.size() < IF_NAMESIZE) {
        resets->Post(std::move(ifname));
        ::eventfd_write(wake, 1);
    }
    return 0;
}

bool IPv6Module::open_icmpv6_socket(int& fd) {
    vexobase::UniqueFd opened(::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6));
    if (!opened) {
        VEXO_LOG(LOG_ERR, "Failed to create socket(AF_INET6)");
        return false;
    }
    if (const char* option = SetUp(opened.Get())) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt(%s)", option);
        return false;
    }
    fd = opened.Release();
    return true;
}

/// Sleeps until there is something to do.
/// @return false after a log line
bool IPv6Module::Wait() {
    in_burst = false;
    burst_answers.clear();
    burst_neighbours.clear();
    std::array<pollfd, 2> events{{{sock, POLLIN, 0}, {wake, POLLIN, 0}}};
    if (::poll(events.data(), events.size(), MillisecondsToPublication()) < 0 && errno != EINTR) {
        VEXO_LOG(LOG_ERR, "Failed to select socket");
        return false;
    }
    eventfd_t value = 0;
    ::eventfd_read(wake, &value);
    return true;
}

/// As poll(2) takes it: -1 when there is nothing to publish.
int IPv6Module::MillisecondsToPublication() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        next_publication - std::chrono::steady_clock::now());
    return published ? -1 : std::max(0, static_cast<int>(left.count()));
}

int IPv6Module::recv_rs_ra(unsigned char* buf, sockaddr_in6* from, in6_pktinfo** pktinfo) {
    unsigned char* control = ControlBuffer();
    if (control == nullptr) {
        VEXO_LOG(LOG_ERR, "Failed to malloc chdr");
        return -1;
    }
    for (;;) {
        ForgetRequested();
        if (MillisecondsToPublication() == 0) {
            Publish();
        }
        if (stopping) {
            return -1;
        }
        // First, as in a flood there is always one more.
        const ssize_t length = Receive(buf, from, control, pktinfo);
        if (length >= 0 || errno != EAGAIN) {
            in_burst = true;
            return static_cast<int>(length);
        }
        if (!Wait()) {
            return -1;
        }
    }
}

/// @return the length; -1 with EAGAIN when there is no datagram, else after a log line
ssize_t IPv6Module::Receive(unsigned char* buf, sockaddr_in6* from, unsigned char* control,
                            in6_pktinfo** pktinfo) {
    iovec part{buf, kPacketSize};
    msghdr message{};
    message.msg_name = from;
    message.msg_namelen = sizeof *from;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = kControlSize;
    const ssize_t length = ::recvmsg(sock, &message, MSG_DONTWAIT);
    if (length >= 0 && !TakeControl(message, pktinfo)) {
        errno = EBADMSG;
        return -1;
    }
    if (length < 0 && errno != EAGAIN) {
        VEXO_LOG(LOG_ERR, "Failed to receive message");
    }
    return length;
}

/// @return false, after a log line, when the kernel does not know where the datagram came in
bool IPv6Module::TakeControl(const msghdr& message, in6_pktinfo** pktinfo) {
    hop_limit = -1;
    auto* all = const_cast<msghdr*>(&message);
    for (cmsghdr* each = CMSG_FIRSTHDR(all); each != nullptr; each = CMSG_NXTHDR(all, each)) {
        if (each->cmsg_level != IPPROTO_IPV6) {
            continue;
        }
        if (each->cmsg_type == IPV6_HOPLIMIT && each->cmsg_len == CMSG_LEN(sizeof hop_limit)) {
            std::memcpy(&hop_limit, CMSG_DATA(each), sizeof hop_limit);
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

void IPv6Module::Poll() {
    std::array<unsigned char, kPacketSize> packet;
    while (!stopping) {
        try {
            PollOnce(packet.data());
        } catch (const std::exception& error) {
            VEXO_LOG(LOG_ERR, "Failed to handle an advertisement: %.200s", error.what());
        }
    }
}

void IPv6Module::PollOnce(unsigned char* packet) {
    sockaddr_in6 from{};
    in6_pktinfo* pktinfo = nullptr;
    const int length = recv_rs_ra(packet, &from, &pktinfo);
    if (stopping) {
        return;
    }
    if (length <= 0) {
        VEXO_LOG(LOG_ERR, "%s", length == 0 ? "received zero lenght packet" : "recv_rs_ra error");
        return;
    }
    // Without an index there is no telling whose router it is.
    const std::string ifname = pktinfo ? InterfaceName(sock, pktinfo->ipi6_ifindex) : "";
    HandlePacket(packet, length, from.sin6_addr, hop_limit, ifname);
}

void IPv6Module::HandlePacket(unsigned char* packet, int len, const in6_addr& sender, int hopLimit,
                              const std::string& ifname) {
    const unsigned messageType = packet[0];
    if (messageType != ND_ROUTER_SOLICIT && messageType != ND_ROUTER_ADVERT) {
        VEXO_LOG(LOG_ERR, "icmpv6 filter failed");
        return;
    }
    constexpr int kNeverForwarded = 255;
    const bool isForHosts = len >= static_cast<int>(sizeof(nd_router_advert)) && packet[1] == 0
                            && hopLimit == kNeverForwarded && IN6_IS_ADDR_LINKLOCAL(&sender);
    // The interface may have gone in the meantime.
    if (messageType == ND_ROUTER_SOLICIT || !isForHosts || ifname.empty()) {
        return;
    }
    // Whoever is no default router (RFC 4861 section 4.2) cannot be the gateway.
    const bool hasLifetime = packet[6] != 0 || packet[7] != 0;
    if (!hasLifetime) {
        return;
    }
    ForgetRequested();
    char text[INET6_ADDRSTRLEN];
    const std::string router = print_addr(&sender, text);
    const bool managed = (packet[5] & ND_RA_FLAG_MANAGED) != 0;
    const bool other = (packet[5] & ND_RA_FLAG_OTHER) != 0;
    if (!IsHasty(router, ifname, managed, other)) {
        ProcessRA(router, ifname, packet, len, managed, other);
    }
}

/// Each change takes the default route away for a moment, and anyone on the link can ask for one
/// with every packet. A router does not advertise to all more often than every three seconds (RFC
/// 4861 section 10, MIN_DELAY_BETWEEN_RAS), so a change that soon after another waits for the next
/// advertisement.
bool IPv6Module::IsHasty(const std::string& router, const std::string& ifname, bool managed,
                         bool other) {
    constexpr auto kBetweenChanges = std::chrono::seconds(3);
    const auto last = last_changes.find(ifname);
    const bool isSoon = last != last_changes.end()
                        && std::chrono::steady_clock::now() - last->second < kBetweenChanges;
    return isSoon && polling.joinable()
           && (ra_records[ifname].gateway != router || IsRaStateChange(ifname, managed, other));
}

void IPv6Module::ForgetRequested() {
    resets->Take([this](const std::string& ifname) {
        if (ra_records.erase(ifname) != 0) {
            published = false;
            last_changes.erase(ifname);
        }
    });
}

}  // namespace vexonetwork::network::module
