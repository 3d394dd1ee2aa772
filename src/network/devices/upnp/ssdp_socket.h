#pragma once

#include <netinet/in.h>

#include <functional>
#include <string_view>

#include <vexobase/unique_fd.h>

#include "network/devices/bridges.h"

namespace vexonetwork::network {

/// The two sockets of SSDP (UPnP Device Architecture 1.1, section 1) on a bridge. They need no
/// multicast route, and leave to a UPnP server on the appliance whatever is meant for it.
class SsdpSocket {
  public:
    /// Opens both; what fails is logged, and neither is open then.
    explicit SsdpSocket(const Bridge& ofBridge);

    const Bridge& GetBridge() const { return bridge; }

    /// To be polled for reading; -1 when not open.
    int Announcements() const { return announcements.Get(); }
    int Answers() const { return answers.Get(); }

    /// Asks all root devices to answer within two seconds; a failure is logged.
    void Search() const;

    using Take = std::function<void(std::string_view datagram, in_addr sender)>;

    /// Hands on what has come to one of the two descriptors, some dozens of datagrams at most: what
    /// else is polled gets its turn in a flood. Of what is too long comes one byte too much.
    static void Receive(int fd, const Take& take);

  private:
    Bridge bridge;
    vexobase::UniqueFd announcements;  ///< sent to all
    vexobase::UniqueFd answers;        ///< to our searches
};

}  // namespace vexonetwork::network
