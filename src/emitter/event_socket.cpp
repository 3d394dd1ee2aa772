#include "emitter/event_socket.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/rtnetlink.h>
#include <string.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

constexpr int kReceiveBuffer = 1 << 20;
constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR;
constexpr std::chrono::seconds kQuietAfterFailure(10);

/// Each address has routes of its own in the local table, which nobody here looks at: the kernel
/// need not tell of them. What is not about routes passes. Nothing breaks when it cannot be set.
int LeaveOutOtherTables(int fd) {
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

void EventSocket::Open() {
    socket.Reset(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!socket) {
        VEXO_LOG(LOG_ERR, "NetlinkFd::Init socket(AF_NETLINK) fail.\n");
        throw std::runtime_error("Failed to create netlink socket.");
    }
    try {
        Subscribe();
    } catch (...) {
        Close();
        throw;
    }
}

void EventSocket::Subscribe() const {
    const int fd = socket.Get();
    if (SetOption(fd, SO_REUSEADDR, 1) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt[SO_REUSEADDR] with err=[%d][%s]", errno,
                 ::strerror(errno));
        throw std::runtime_error("Failed to setsockopt.");
    }
    if (SetOption(fd, SO_RCVBUFFORCE, kReceiveBuffer) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to setsockopt[SO_RCVBUFFORCE] with err=[%d][%s], skipped it.",
                 errno, ::strerror(errno));
    }
    LeaveOutOtherTables(fd);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kGroups;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        VEXO_LOG(LOG_ERR, "NetlinkFd::Init bind fail with err=[%d][%s]", errno, ::strerror(errno));
        throw std::runtime_error("Failed to bind.");
    }
}

EventSocket::Received EventSocket::Receive(std::span<std::byte> buffer, int flags) {
    sockaddr_nl source{};
    iovec part{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    Received received;
    isBroken = false;
    received.length = ::recvmsg(socket.Get(), &message, flags);
    if (received.length < 1) {
        received.error = received.length < 0 ? errno : 0;
        if (received.error == EAGAIN) {
            return received;
        }
        isBroken = received.error != ENOBUFS;
        LogFailure(received);
    }
    received.isTruncated = (message.msg_flags & MSG_TRUNC) != 0;
    received.isFromKernel = source.nl_pid == 0;
    return received;
}

void EventSocket::LogFailure(const Received& failure) {
    const auto now = std::chrono::steady_clock::now();
    if (failure.error == loggedError && now < loggedAt + kQuietAfterFailure) {
        return;
    }
    loggedError = failure.error;
    loggedAt = now;
    VEXO_LOG(LOG_ERR, "recvmsg ret: [%zd] from fd [%d].", failure.length, socket.Get());
}

}  // namespace vexonetwork
