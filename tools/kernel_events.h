#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <vexobase/unique_fd.h>
#include <vexonetwork/emitter/kernel_message.h>

#include "event.h"

namespace vexonetctl {

/// What changes in this network namespace: links, addresses and routes. What is told again
/// unchanged is no event, nor are the routes of the table "local", which come with each address.
class KernelEvents {
  public:
    /// Begins to listen; fails with a Failure.
    KernelEvents();

    /// Readable when something has happened.
    int Descriptor() const { return socket.Get(); }

    /// Takes what waits, without waiting.
    std::vector<Event> Read();

  private:
    using Address = std::pair<unsigned, std::string>;  ///< of an interface; with its prefix

    void Learn();
    void Learn(std::uint16_t request);
    std::optional<Event> Read(const nlmsghdr* message);
    std::optional<Event> OfLink(const vexonetwork::LinkMessage& link);
    std::optional<Event> OfAddress(const vexonetwork::AddressMessage& address);
    std::optional<Event> OfRoute(const vexonetwork::RouteMessage& route);
    std::string NameOf(unsigned index) const;

    vexobase::UniqueFd socket;
    std::map<unsigned, vexonetwork::LinkMessage> links;  ///< also those that are gone
    std::set<Address> addresses;
};

}  // namespace vexonetctl
