#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <span>

#include <vexobase/unique_fd.h>

namespace vexonetwork {

/// The routing socket that links, addresses and IPv4 routes are heard on (rtnetlink(7)).
class EventSocket {
  public:
    /// What came of one attempt to receive.
    struct Received {
        ssize_t length = -1;  ///< of the datagram, or less than 1
        int error = 0;        ///< errno when the length is less than 1
        bool isTruncated = false;
        bool isFromKernel = true;  ///< else whoever may send to the socket claims it
    };

    /// Opens and subscribes. Throws std::runtime_error, closed again, when that fails.
    void Open();
    void Close() { socket.Reset(); }

    /// -1 when it is closed.
    int Descriptor() const { return socket.Get(); }

    /// Waits for one datagram; with MSG_DONTWAIT takes one that is there, else fails with EAGAIN.
    /// Logs other failures, of those that repeat themselves one in ten seconds.
    Received Receive(std::span<std::byte> buffer, int flags);

    /// Whether the last attempt failed, and not because the socket had no room for what came.
    bool IsBroken() const { return isBroken; }

  private:
    void Subscribe() const;
    void LogFailure(const Received& failure);

    vexobase::UniqueFd socket;
    bool isBroken = false;
    int loggedError = 0;
    std::chrono::steady_clock::time_point loggedAt;
};

}  // namespace vexonetwork
