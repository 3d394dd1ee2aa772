#pragma once

#include <linux/filter.h>

#include <optional>
#include <vector>

#include <vexobase/unique_fd.h>

#include "arp_packet.h"

namespace conflictd {

/// Sends and hears ARP on one interface (packet(7)).
class ArpSocket {
  public:
    /// Hears nothing yet. Throws std::system_error.
    explicit ArpSocket(unsigned interfaceIndex);

    /// Hears from now on what the program passes. Throws std::system_error.
    void Listen(std::vector<sock_filter> program);

    int Descriptor() const { return fd.Get(); }

    /// Takes a packet that waits; what is no ARP packet is passed over.
    /// @return nothing, with errno, when none waits (EAGAIN) or the interface went down or away
    std::optional<ArpPacket> Receive();

    /// Sends to all hosts on the link. @return whether it was sent, else errno says why not
    bool Broadcast(const ArpPacket& packet);

  private:
    void Bind();

    unsigned index;
    bool isBound = false;
    vexobase::UniqueFd fd;
};

}  // namespace conflictd
