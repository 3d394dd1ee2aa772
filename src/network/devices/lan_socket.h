#pragma once

#include <netinet/in.h>

#include <functional>
#include <string_view>

#include <vexobase/unique_fd.h>

#include "network/devices/bridges.h"

namespace vexonetwork::network {

/// UDP over IPv4 on all bridges by one descriptor: it tells by which interface a datagram came, and
/// sends by the one that it is told.
class LanSocket {
  public:
    /// Datagrams that are longer are cut to a byte more.
    static constexpr std::size_t kMaxBytes = 2048;

    enum class Port { kOwn, kShared };  ///< who shares a port is given the answers to unicast

    /// One that is not open.
    LanSocket() = default;

    /// @param own  the address and port to bind to
    /// @return one that is not open, with errno, when that fails
    static LanSocket Open(const sockaddr_in& own, Port port);

    explicit operator bool() const { return static_cast<bool>(fd); }
    int Descriptor() const { return fd.Get(); }

    /// Sets an option of IPPROTO_IP or SOL_SOCKET. @return 0, or -1 with errno
    int Set(int level, int option, int value) const;

    /// Has the kernel drop what comes by others: they would fill the buffer.
    /// @return 0, or -1 with errno
    int HearOnly(const Bridges& bridges) const;

    /// @param index, source  the interface to send by, and the address to send from
    /// @return 0, or -1 with errno
    int Send(unsigned index, in_addr source, const sockaddr_in& to,
             std::string_view datagram) const;

    using Take =
        std::function<void(unsigned index, const sockaddr_in& sender, std::string_view datagram)>;

    /// Hands on what has come, some dozens of datagrams at most: what else is polled gets its turn
    /// in a flood.
    void Receive(const Take& take) const;

  private:
    vexobase::UniqueFd fd;
};

/// The IPv4 address and port, both in host order.
sockaddr_in PlaceOf(in_addr_t host, in_port_t port);

}  // namespace vexonetwork::network
