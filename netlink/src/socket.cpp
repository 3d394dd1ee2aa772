#include "vexonetlink/socket.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <utility>

namespace vexonetlink {
namespace {

using std::chrono::milliseconds;

/// The kernel sizes dumps by the largest buffer seen, at most 32 KiB.
constexpr std::size_t kBufferSize = 32768;

/// Datagrams of others that are dropped in one go.
constexpr int kMaxForeign = 64;

template <typename Value>
bool Set(int fd, int level, int option, const Value& value) {
    return ::setsockopt(fd, level, option, &value, sizeof value) == 0;
}

void SetReceiveBuffer(int fd, int size) {
    if (size != 0 && !Set(fd, SOL_SOCKET, SO_RCVBUFFORCE, size)) {
        Set(fd, SOL_SOCKET, SO_RCVBUF, size);
    }
}

void SetDeadline(int fd, milliseconds deadline) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(deadline);
    const std::chrono::microseconds rest = deadline - seconds;
    Set(fd, SOL_SOCKET, SO_RCVTIMEO, timeval{seconds.count(), rest.count()});
}

bool SetFilter(int fd, std::span<const sock_filter> filter) {
    const sock_fprog program{static_cast<unsigned short>(filter.size()),
                             const_cast<sock_filter*>(filter.data())};
    return filter.empty() || Set(fd, SOL_SOCKET, SO_ATTACH_FILTER, program);
}

/// Kernels that lack one of these dump more than was asked for, or say less of errors.
void SetManners(int fd) {
    for (const int option : {NETLINK_GET_STRICT_CHK, NETLINK_CAP_ACK, NETLINK_EXT_ACK}) {
        Set(fd, SOL_NETLINK, option, 1);
    }
}

bool Bind(int fd, unsigned groups) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::uint32_t PortOf(int fd) {
    sockaddr_nl address{};
    socklen_t size = sizeof address;
    return ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? address.nl_pid
                                                                                : 0;
}

Arrival ArrivalOf(int error) {
    return error == ENOBUFS                          ? Arrival::kOverrun
           : error == EAGAIN || error == EWOULDBLOCK ? Arrival::kEmpty
                                                     : Arrival::kFailed;
}

}  // namespace

std::optional<Socket> Socket::Open(const SocketOptions& options) {
    vexobase::UniqueFd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!socket || !SetFilter(socket.Get(), options.filter)) {
        return std::nullopt;
    }
    SetReceiveBuffer(socket.Get(), options.receiveBuffer);
    SetDeadline(socket.Get(), options.deadline);
    SetManners(socket.Get());
    if (!Bind(socket.Get(), options.groups)) {
        return std::nullopt;
    }
    return Socket(std::move(socket));
}

Socket::Socket(vexobase::UniqueFd socket)
    : fd(std::move(socket)),
      buffer(std::make_unique_for_overwrite<std::byte[]>(kBufferSize)),
      port(PortOf(fd.Get())) {}

int Socket::Send(Bytes messages) const {
    if (messages.empty()) {
        errno = EMSGSIZE;
        return -1;
    }
    return ::send(fd.Get(), messages.data(), messages.size(), 0) < 0 ? -1 : 0;
}

Datagram Socket::Poll() {
    return Take(MSG_DONTWAIT);
}

void Socket::Drain() {
    for (Arrival last = Arrival::kMessages; last != Arrival::kEmpty && last != Arrival::kFailed;) {
        last = Poll().arrival;
    }
}

Datagram Socket::Take(int flags) {
    // Who floods us holds up nobody for good.
    for (int attempt = 0; attempt < kMaxForeign; ++attempt) {
        sockaddr_nl sender{};
        iovec part{buffer.get(), kBufferSize};
        msghdr message{};
        message.msg_name = &sender;
        message.msg_namelen = sizeof sender;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        const ssize_t length = ::recvmsg(fd.Get(), &message, flags);
        if (length < 0 && errno != EINTR) {
            return {ArrivalOf(errno), {}};
        }
        if (length < 0 || sender.nl_pid != 0) {
            continue;
        }
        return {(message.msg_flags & MSG_TRUNC) != 0 ? Arrival::kTruncated : Arrival::kMessages,
                Messages(Bytes(buffer.get(), static_cast<std::size_t>(length)))};
    }
    return {};
}

}  // namespace vexonetlink
