#include "vexonetwork/emitter/network_event_emitter.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

#include "emitter/gateway_refresh.h"

namespace vexonetwork {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kReceiveBuffer = 1 << 20;
constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR;
constexpr milliseconds kPollTimeout = std::chrono::seconds(6);

/// Addresses come in flocks: an election because of them waits for a pause that long.
constexpr milliseconds kPause(5);

/// How long messages that keep coming may hold up an election.
constexpr milliseconds kLongestDelay(100);

/// Each address has routes of its own in the local table, which nobody here looks at: the kernel
/// need not tell of them. What is not about routes passes. Nothing breaks when it cannot be set.
int LeaveOutForeignTables(int fd) {
    constexpr unsigned kType = offsetof(nlmsghdr, nlmsg_type);
    constexpr unsigned kTable = NLMSG_HDRLEN + offsetof(rtmsg, rtm_table);
    // Filters read in network order, messages are in that of the host.
    std::array<sock_filter, 7> program{{
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, kType),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_NEWROUTE), 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_DELROUTE), 0, 2),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, kTable),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, RT_TABLE_MAIN, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xffffffff),
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return ::setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter);
}

int SetOption(int fd, int option, int value) {
    return ::setsockopt(fd, SOL_SOCKET, option, &value, sizeof value);
}

}  // namespace

NetworkEventEmitter::NetworkEventEmitter() : wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

NetworkEventEmitter::~NetworkEventEmitter() {
    Terminate();
    const vexobase::UniqueFd closed(wake);
}

void NetworkEventEmitter::Initialize() {
    if (fd >= 0) {
        return;
    }
    fd = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (fd < 0) {
        VEXO_LOG(LOG_ERR, "NetlinkFd::Init socket(AF_NETLINK) fail.\n");
        throw std::runtime_error("Failed to create netlink socket.");
    }
    try {
        Subscribe();
    } catch (...) {
        Terminate();
        throw;
    }
}

void NetworkEventEmitter::Subscribe() {
    if (SetOption(fd, SO_REUSEADDR, 1) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt[SO_REUSEADDR] with err=[%d][%s]", errno,
                 ::strerror(errno));
        throw std::runtime_error("Failed to setsockopt.");
    }
    if (SetOption(fd, SO_RCVBUFFORCE, kReceiveBuffer) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt[SO_RCVBUFFORCE] with err=[%d][%s], skipped it.",
                 errno, ::strerror(errno));
    }
    LeaveOutForeignTables(fd);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kGroups;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        VEXO_LOG(LOG_ERR, "NetlinkFd::Init bind fail with err=[%d][%s]", errno, ::strerror(errno));
        throw std::runtime_error("Failed to bind.");
    }
}

int NetworkEventEmitter::Start() {
    Initialize();
    try {
        InitInterface();
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Failed to look at all interfaces: %.200s", error.what());
    }
    stockTaken = true;  // nobody told what changed before Subscribe(), or went meanwhile
    return StartPolling();
}

void NetworkEventEmitter::Terminate() {
    const vexobase::UniqueFd closed(std::exchange(fd, -1));
}

void NetworkEventEmitter::Stop() {
    stopping = true;
    // It can only fail when it is set already.
    ::eventfd_write(wake, 1);
}

int NetworkEventEmitter::StartPolling() {
    if (fd < 0) {
        VEXO_LOG(LOG_ERR, "Bad RTNETLINK fd [%d]", fd);
        return 0;
    }
    while (fd >= 0 && !stopping) {
        try {
            PollOnce(kPollTimeout);
        } catch (const std::exception& error) {
            VEXO_LOG(LOG_ERR, "Failed to handle an event: %.200s", error.what());
        }
    }
    return 0;
}

bool NetworkEventEmitter::PollOnce(milliseconds timeout) {
    if (IsElectionDue()) {
        Elect();
        return true;
    }
    const bool waiting = stockDue || !changes.empty();
    std::array<pollfd, 2> events{{{fd, POLLIN, 0}, {wake, POLLIN, 0}}};
    const milliseconds wait = waiting ? Patience() : timeout;
    const int ready = ::poll(events.data(), events.size(), static_cast<int>(wait.count()));
    if (ready > 0 && events[0].revents != 0) {
        AnalysisNetlinkMessage();
        return true;
    }
    // Only now: a message from before the loss would undo what was found.
    if (std::exchange(stockDue, false)) {
        TakeStock();
        stockTaken = true;
    }
    Elect();
    return waiting;
}

int NetworkEventEmitter::AnalysisNetlinkMessage() {
    alignas(nlmsghdr) std::array<std::byte, 4096> buffer;
    sockaddr_nl source{};
    iovec part{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    const ssize_t length = ::recvmsg(fd, &message, 0);
    if (length < 1) {
        const int error = errno;
        // The kernel tells it again for as long as a burst lasts.
        if (error != ENOBUFS || !stockDue) {
            VEXO_LOG(LOG_ERR, "recvmsg ret: [%zd] from fd [%d].", length, fd);
        }
        if (error == ENOBUFS) {
            Overrun("the kernel has dropped events");
        }
        return -1;
    }
    if ((message.msg_flags & MSG_TRUNC) != 0) {
        Overrun("an event was too long");
    }
    HandleDatagram(std::span(buffer).first(static_cast<std::size_t>(length)));
    return 0;
}

void NetworkEventEmitter::HandleDatagram(std::span<std::byte> datagram) {
    while (datagram.size() >= sizeof(nlmsghdr)) {
        auto* message = reinterpret_cast<nlmsghdr*>(datagram.data());
        if (message->nlmsg_len < sizeof *message || message->nlmsg_len > datagram.size()) {
            return;
        }
        const std::size_t step = NLMSG_ALIGN(message->nlmsg_len);
        Handle(message);
        datagram = datagram.subspan(std::min(step, datagram.size()));
    }
}

void NetworkEventEmitter::Handle(nlmsghdr* message) {
    switch (message->nlmsg_type) {
        case RTM_NEWADDR:
        case RTM_DELADDR:
            CheckIPChangeEvent(message);
            break;
        case RTM_NEWLINK:
            CheckNewLinkEvent(message);
            break;
        case RTM_NEWROUTE:
        case RTM_DELROUTE:
            CheckRouteChangeEvent(message);
            break;
        default:
            break;
    }
}

void NetworkEventEmitter::Overrun(const char* what) {
    if (!std::exchange(stockDue, true)) {
        VEXO_LOG(LOG_ERR, "Taking stock of all interfaces when the burst is over: %s", what);
    }
}

void NetworkEventEmitter::PutOffElection(const std::string& ifname, Change change) {
    if (changes.empty()) {
        firstChange = steady_clock::now();
    }
    // The label of an address begins with the name of its interface.
    changes[ifname.substr(0, ifname.find(':'))] |= change;
}

milliseconds NetworkEventEmitter::Patience() const {
    const auto isLink = [](const auto& entry) { return (entry.second & kLinkChange) != 0; };
    return stockDue || std::ranges::any_of(changes, isLink) ? milliseconds(0) : kPause;
}

bool NetworkEventEmitter::IsElectionDue() const {
    return !changes.empty() && steady_clock::now() - firstChange >= kLongestDelay;
}

/// The routes of uplinks and static ones first: they are quicker in their place than an election.
void NetworkEventEmitter::Follow(const std::map<std::string, unsigned>& changed) {
    const bool anyMayDiffer = std::exchange(stockTaken, false);
    std::vector<std::string> ifnames;
    if (!anyMayDiffer) {
        std::ranges::transform(changed, std::back_inserter(ifnames),
                               [](const auto& entry) { return entry.first; });
    }
    if (anyMayDiffer || !ifnames.empty()) {
        FollowNetwork(ifnames);
    }
}

/// An election takes the default route away for a moment, so only the interfaces that are in a
/// gateway list cause one, and all of a burst together one.
void NetworkEventEmitter::Elect() {
    const auto changed = std::exchange(changes, {});
    hooks.clear();
    Follow(changed);
    const auto concerns = [&changed](Change change, GatewayType type) {
        return std::ranges::any_of(changed, [change, type](const auto& entry) {
            return (entry.second & change) != 0 && IsGatewayInterface(type, entry.first);
        });
    };
    if (concerns(kLinkChange, "ALL")) {
        RefreshGateway("ALL");
        return;
    }
    if (concerns(kIPv4Change, "GTYPE_V4")) {
        RefreshGateway("GTYPE_V4");
    }
    if (concerns(kIPv6Change, "GTYPE_V6")) {
        RefreshGateway("GTYPE_V6");
    }
}

}  // namespace vexonetwork
