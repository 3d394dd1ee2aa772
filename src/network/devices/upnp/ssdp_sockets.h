#pragma once

#include <netinet/in.h>
#include <poll.h>

#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "network/devices/bridges.h"
#include "network/devices/lan_socket.h"

namespace vexonetwork::network {

/// The sockets of SSDP (UPnP Device Architecture 1.1, section 1) for all bridges: one that asks and
/// is answered, and as few as can be members of the group on so many interfaces, as the kernel
/// allows a socket a number of memberships (igmp_max_memberships, 20 mostly). They need no
/// multicast route, and leave to a UPnP server on the appliance whatever is meant for it.
class SsdpSockets {
  public:
    /// Opens the one that asks; a failure is logged.
    SsdpSockets();

    /// Begins or ends to listen on a bridge. Failures are logged.
    void Join(const Bridge& bridge);
    void Leave(const Bridge& bridge);

    /// Has answers dropped that come by others than these.
    void HearOnly(const Bridges& bridges) const;

    /// Asks all root devices on a bridge to answer within two seconds; a failure is logged.
    void Search(const Bridge& bridge) const;

    /// Asks one host alone, for which the kernel finds out who has its address.
    void SearchAt(const Bridge& bridge, const BridgeNetwork& network, in_addr host) const;

    /// Appends an event to wait for of each socket.
    void AppendTo(std::vector<pollfd>& events) const;

    /// @param isAnswer  whether it was sent to us alone, as only an answer to a search is
    using Take = std::function<void(unsigned index, in_addr sender, bool isAnswer,
                                    std::string_view datagram)>;

    /// Hands on what has come. @param events  what AppendTo appended, sockets being the same
    void Receive(std::span<const pollfd> events, const Take& take) const;

  private:
    struct Group {
        LanSocket socket;
        std::vector<unsigned> members;  ///< indices of interfaces
    };

    bool JoinSome(unsigned index);

    LanSocket answers;
    std::vector<Group> groups;
};

}  // namespace vexonetwork::network
