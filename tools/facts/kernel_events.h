#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <vexonetlink/address.h>
#include <vexonetlink/link.h>
#include <vexonetlink/route.h>
#include <vexonetlink/socket.h>

#include "facts/event.h"

namespace vexonetctl {

/// What changes in this network namespace: links, addresses and routes. What is told again
/// unchanged is no event, nor are the routes of the table "local", which come with each address.
class KernelEvents {
  public:
    /// Begins to listen; fails with a Failure.
    KernelEvents();

    /// Readable when something has happened.
    int Descriptor() const { return socket.Descriptor(); }

    /// Takes what waits, without waiting.
    std::vector<Event> Read();

  private:
    using Address = std::pair<unsigned, std::string>;  ///< of an interface; with its prefix

    void Learn();
    std::optional<Event> Read(const vexonetlink::Message& message);
    std::optional<Event> OfLink(const vexonetlink::Link& link);
    std::optional<Event> OfAddress(const vexonetlink::InterfaceAddress& address);
    std::optional<Event> OfRoute(const vexonetlink::Route& route);
    std::string NameOf(unsigned index) const;

    vexonetlink::Socket socket;
    std::map<unsigned, vexonetlink::Link> links;  ///< also those that are gone
    std::set<Address> addresses;
};

}  // namespace vexonetctl
