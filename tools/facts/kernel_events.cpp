#include "facts/kernel_events.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include <vexonetlink/route.h>
#include <vexonetlink/snapshot.h>

#include "failure.h"

namespace vexonetctl {
namespace {

using vexonetlink::Arrival;
using vexonetlink::InterfaceAddress;
using vexonetlink::Link;
using vexonetlink::Route;

constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

/// Of a link's flags, those that are told.
constexpr unsigned kToldFlags = IFF_UP | IFF_RUNNING | IFF_SLAVE;

constexpr int kReceiveBuffer = 1 << 20;

vexonetlink::Socket Listen() {
    auto socket = vexonetlink::Socket::Open({.groups = kGroups, .receiveBuffer = kReceiveBuffer});
    if (!socket) {
        throw Failure(kRefused,
                      std::string("cannot listen to the kernel: ") + std::strerror(errno));
    }
    return std::move(*socket);
}

std::string StateOf(unsigned flags) {
    std::string state = "down";
    if ((flags & IFF_UP) != 0) {
        state = (flags & IFF_RUNNING) != 0 ? "up, with link" : "up, no link";
    }
    return (flags & IFF_SLAVE) != 0 ? state + ", slave" : state;
}

const char* FamilyKey(int family) {
    return family == AF_INET ? "ipv4" : "ipv6";
}

const char* AddedOrRemoved(bool isNew) {
    return isNew ? "added" : "removed";
}

}  // namespace

KernelEvents::KernelEvents() : socket(Listen()) {
    Learn();
}

/// What is there already is no event when it is told again.
void KernelEvents::Learn() {
    const auto snapshot = vexonetlink::TakeSnapshot();
    if (!snapshot) {
        return;
    }
    addresses.clear();
    for (const Link& link : snapshot->links) {
        OfLink(link);
    }
    for (const InterfaceAddress& address : snapshot->addresses) {
        OfAddress(address);
    }
}

std::vector<Event> KernelEvents::Read() {
    vexonetlink::Datagram datagram = socket.Poll();
    if (datagram.arrival == Arrival::kFailed) {
        throw Failure(kRefused, std::string("cannot hear the kernel: ") + std::strerror(errno));
    }
    if (datagram.arrival == Arrival::kOverrun || datagram.arrival == Arrival::kTruncated) {
        socket.Drain();
        Learn();
        return {LostEvent("kernel")};
    }
    std::vector<Event> events;
    while (const auto message = datagram.messages.Next()) {
        if (auto event = Read(*message)) {
            events.push_back(std::move(*event));
        }
    }
    return events;
}

std::optional<Event> KernelEvents::Read(const vexonetlink::Message& message) {
    if (const auto link = ReadLink(message)) {
        // A bridge tells of its ports by messages of the same types.
        return link->family == AF_UNSPEC ? OfLink(*link) : std::nullopt;
    }
    if (const auto address = ReadAddress(message)) {
        return OfAddress(*address);
    }
    const auto route = ReadRoute(message);
    return route ? OfRoute(*route) : std::nullopt;
}

std::optional<Event> KernelEvents::OfLink(const Link& link) {
    const auto known = links.find(link.index);
    const bool isTold = known != links.end() && known->second.isNew == link.isNew
                        && known->second.ifname == link.ifname
                        && ((known->second.flags ^ link.flags) & kToldFlags) == 0;
    links[link.index] = link;
    if (isTold) {
        return std::nullopt;
    }
    Event event{"link", link.ifname + " " + (link.isNew ? StateOf(link.flags) : "removed"), {}};
    event.details["ifname"] = link.ifname;
    event.details["index"] = link.index;
    event.details["exists"] = link.isNew;
    event.details["up"] = link.isNew && (link.flags & IFF_UP) != 0;
    event.details["link"] = link.isNew && (link.flags & IFF_RUNNING) != 0;
    event.details["slave"] = (link.flags & IFF_SLAVE) != 0;
    return event;
}

std::optional<Event> KernelEvents::OfAddress(const InterfaceAddress& address) {
    const std::string local = ToText(address.local);
    const std::string text = local + "/" + std::to_string(address.prefixLength);
    const bool isChange = address.isNew ? addresses.emplace(address.index, text).second
                                        : addresses.erase({address.index, text}) > 0;
    if (!isChange) {
        return std::nullopt;
    }
    const std::string ifname = NameOf(address.index);
    Event event{"address", ifname + " " + text + " " + AddedOrRemoved(address.isNew), {}};
    event.details["action"] = AddedOrRemoved(address.isNew);
    event.details["family"] = FamilyKey(address.family);
    event.details["ifname"] = ifname;
    event.details["address"] = local;
    event.details["prefix"] = address.prefixLength;
    return event;
}

std::optional<Event> KernelEvents::OfRoute(const Route& route) {
    if (route.table == RT_TABLE_LOCAL) {
        return std::nullopt;
    }
    const std::string ifname = route.oif == 0 ? "" : NameOf(route.oif);
    const std::string gateway = ToText(route.gateway);
    const std::string destination = ToRouteText(route.destination);
    Event event{"route", destination, {}};
    event.text += gateway.empty() ? "" : " via " + gateway;
    event.text += ifname.empty() ? "" : " dev " + ifname;
    event.text += route.table == RT_TABLE_MAIN ? "" : " table " + std::to_string(route.table);
    // Both families write their default route alike.
    event.text += route.Family() == AF_INET ? "" : " (IPv6)";
    event.text += std::string(" ") + AddedOrRemoved(route.isNew);
    event.details["action"] = AddedOrRemoved(route.isNew);
    event.details["family"] = FamilyKey(route.Family());
    event.details["table"] = route.table;
    event.details["destination"] = destination;
    event.details["gateway"] = gateway;
    event.details["ifname"] = ifname;
    return event;
}

std::string KernelEvents::NameOf(unsigned index) const {
    const auto known = links.find(index);
    return known == links.end() ? "interface " + std::to_string(index) : known->second.ifname;
}

}  // namespace vexonetctl
