#pragma once

#include <linux/filter.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include <vexobase/unique_fd.h>
#include <vexonetlink/message.h>

namespace vexonetlink {

/// What came of one attempt to receive.
enum class Arrival {
    kMessages,   ///< a datagram of the kernel
    kTruncated,  ///< one that was longer than the buffer: the messages that are whole, others lost
    kOverrun,    ///< the kernel has dropped messages for which the socket had no room
    kEmpty,      ///< nothing came in time
    kFailed      ///< errno says why
};

struct Datagram {
    Arrival arrival = Arrival::kEmpty;
    Messages messages;  ///< in the buffer: gone with the next attempt to receive
};

struct SocketOptions {
    unsigned groups = 0;                       ///< RTMGRP_… to listen to
    int receiveBuffer = 0;                     ///< bytes; 0 for the system's usual size
    std::span<const sock_filter> filter{};     ///< of what is told; see socket(7)
    std::chrono::milliseconds deadline{5000};  ///< the longest wait of Receive(); 0 for no end
};

/// A socket of NETLINK_ROUTE. Only the kernel is believed: what others send to it is dropped. For
/// one thread.
class Socket {
  public:
    /// A larger buffer than the system's limit is for who may; others get as much as the limit.
    /// @return nothing, with errno, when the kernel refuses the socket or its filter
    static std::optional<Socket> Open(const SocketOptions& options = {});

    /// For a socket of NETLINK_ROUTE that the caller has opened and bound.
    explicit Socket(vexobase::UniqueFd socket);

    int Descriptor() const { return fd.Get(); }

    /// The port that the kernel answers to.
    std::uint32_t Port() const { return port; }

    /// A number for the next request that no earlier one of this socket has had.
    std::uint32_t NextSequence() { return ++sequence; }

    /// Sends messages to the kernel. @return 0, or -1 with errno
    [[nodiscard]] int Send(Bytes messages) const;

    /// Takes one datagram, waiting for it no longer than the deadline.
    Datagram Receive() { return Take(0); }

    /// Takes one datagram that is there already.
    Datagram Poll();

    /// Drops what is there. After a loss it is older than what is asked for next, and while it
    /// waits the kernel drops more without a word.
    void Drain();

  private:
    Datagram Take(int flags);

    vexobase::UniqueFd fd;
    std::unique_ptr<std::byte[]> buffer;
    std::uint32_t port = 0;
    std::uint32_t sequence = 0;
};

}  // namespace vexonetlink
