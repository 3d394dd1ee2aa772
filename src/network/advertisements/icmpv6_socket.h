#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network::module {

/// Room for one datagram.
inline constexpr std::size_t kIcmpv6PacketSize = 1500;

/// The raw ICMPv6 socket (RFC 3542) that router solicitations and advertisements come in by. Every
/// failure is logged where it occurs. For one thread.
class Icmpv6Socket {
  public:
    /// @return nothing after a log line
    static vexobase::UniqueFd Create();

    /// Opens the socket; one that is open stays. @return whether it is open
    bool Open();
    void Close() { fd.Reset(); }
    explicit operator bool() const { return static_cast<bool>(fd); }
    int Descriptor() const { return fd.Get(); }

    /// Takes a datagram that is there already.
    /// @param buf      kIcmpv6PacketSize bytes
    /// @param pktinfo  where it came in, in a buffer that all sockets of the process share;
    ///                 unchanged when the kernel does not tell
    /// @return its length; -1 after a log line; nothing when there is no datagram
    std::optional<int> Receive(unsigned char* buf, sockaddr_in6* from, in6_pktinfo** pktinfo);

    /// The hop limit of the datagram received last; -1 when the kernel did not tell.
    int HopLimit() const { return hopLimit; }

    /// As if_indextoname(3). @return "" when there is no such interface, or no longer
    std::string InterfaceName(unsigned index) const;

    /// Asks the routers of a link to advertise themselves now (RFC 4861 section 6.3.7).
    /// @return 0, or -1 after a log line
    int Solicit(unsigned index) const;

  private:
    bool TakeControl(const msghdr& message, in6_pktinfo** pktinfo);

    vexobase::UniqueFd fd;
    int hopLimit = -1;
};

}  // namespace vexonetwork::network::module
