#include "kernel_events.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>

#include "failure.h"

namespace vexonetctl {
namespace {

using vexobase::UniqueFd;
using vexonetwork::AddressMessage;
using vexonetwork::LinkMessage;
using vexonetwork::RouteMessage;

constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

/// Of a link's flags, those that are told.
constexpr unsigned kToldFlags = IFF_UP | IFF_RUNNING | IFF_SLAVE;

constexpr int kReceiveBuffer = 1 << 20;

/// No message of the kernel is larger.
struct alignas(nlmsghdr) Buffer : std::array<char, 32768> {};

UniqueFd Open(unsigned groups) {
    UniqueFd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (!socket
        || ::bind(socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw Failure(kRefused,
                      std::string("cannot listen to the kernel: ") + std::strerror(errno));
    }
    return socket;
}

/// @return the length, 0 for what did not come from the kernel, -1 with errno
ssize_t Receive(int fd, Buffer& buffer, int flags) {
    sockaddr_nl sender{};
    socklen_t size = sizeof sender;
    const ssize_t length = ::recvfrom(fd, buffer.data(), buffer.size(), flags,
                                      reinterpret_cast<sockaddr*>(&sender), &size);
    return length > 0 && sender.nl_pid != 0 ? 0 : length;
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

void ForEachMessage(const Buffer& buffer, ssize_t length,
                    const std::function<void(const nlmsghdr*)>& visit) {
    std::size_t left = length < 0 ? 0 : std::size_t(length);
    const char* place = buffer.data();
    while (left >= sizeof(nlmsghdr)) {
        const auto* message = reinterpret_cast<const nlmsghdr*>(place);
        if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > left) {
            return;
        }
        visit(message);
        const std::size_t step = std::min(left, std::size_t(NLMSG_ALIGN(message->nlmsg_len)));
        place += step;
        left -= step;
    }
}

bool IsEnd(const nlmsghdr& message) {
    return message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR;
}

}  // namespace

KernelEvents::KernelEvents() : socket(Open(kGroups)) {
    // Beyond the system's limit only for who may; with less, more gets lost.
    if (::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer,
                     sizeof kReceiveBuffer)
        != 0) {
        ::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
    Learn();
}

/// What is there already is no event when it is told again.
void KernelEvents::Learn() {
    addresses.clear();
    Learn(RTM_GETLINK);
    Learn(RTM_GETADDR);
}

void KernelEvents::Learn(std::uint16_t request) {
    struct {
        nlmsghdr header;
        rtgenmsg family;
    } dump{};
    dump.header.nlmsg_len = sizeof dump;
    dump.header.nlmsg_type = request;
    dump.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    const UniqueFd asking = Open(0);
    if (::send(asking.Get(), &dump, sizeof dump, 0) < 0) {
        return;
    }
    Buffer buffer;
    for (bool ended = false; !ended;) {
        const ssize_t length = Receive(asking.Get(), buffer, 0);
        ended = length < 0 && errno != EINTR;
        ForEachMessage(buffer, length, [&](const nlmsghdr* message) {
            Read(message);
            ended = ended || IsEnd(*message);
        });
    }
}

std::vector<Event> KernelEvents::Read() {
    Buffer buffer;
    const ssize_t length = Receive(socket.Get(), buffer, MSG_DONTWAIT);
    if (length < 0 && errno == ENOBUFS) {
        Learn();
        return {LostEvent("kernel")};
    }
    if (length < 0 && errno != EAGAIN && errno != EINTR) {
        throw Failure(kRefused, std::string("cannot hear the kernel: ") + std::strerror(errno));
    }
    std::vector<Event> events;
    ForEachMessage(buffer, length, [&](const nlmsghdr* message) {
        if (auto event = Read(message)) {
            events.push_back(std::move(*event));
        }
    });
    return events;
}

std::optional<Event> KernelEvents::Read(const nlmsghdr* message) {
    if (const auto link = vexonetwork::ReadLinkMessage(message)) {
        // A bridge tells of its ports by messages of the same types.
        const auto* header = static_cast<const ifinfomsg*>(NLMSG_DATA(message));
        return header->ifi_family == AF_UNSPEC ? OfLink(*link) : std::nullopt;
    }
    if (const auto address = vexonetwork::ReadAddressMessage(message)) {
        return OfAddress(*address);
    }
    const auto route = vexonetwork::ReadRouteMessage(message);
    return route ? OfRoute(*route) : std::nullopt;
}

std::optional<Event> KernelEvents::OfLink(const LinkMessage& link) {
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

std::optional<Event> KernelEvents::OfAddress(const AddressMessage& address) {
    const std::string text = address.address + "/" + std::to_string(address.prefix);
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
    event.details["address"] = address.address;
    event.details["prefix"] = address.prefix;
    return event;
}

std::optional<Event> KernelEvents::OfRoute(const RouteMessage& route) {
    if (route.table == RT_TABLE_LOCAL) {
        return std::nullopt;
    }
    const std::string ifname = route.oif == 0 ? "" : NameOf(route.oif);
    const std::string destination = route.destination.empty()
                                        ? "default"
                                        : route.destination + "/" + std::to_string(route.prefix);
    Event event{"route", destination, {}};
    event.text += route.gateway.empty() ? "" : " via " + route.gateway;
    event.text += ifname.empty() ? "" : " dev " + ifname;
    event.text += route.table == RT_TABLE_MAIN ? "" : " table " + std::to_string(route.table);
    // Both families write their default route alike.
    event.text += route.family == AF_INET ? "" : " (IPv6)";
    event.text += std::string(" ") + AddedOrRemoved(route.isNew);
    event.details["action"] = AddedOrRemoved(route.isNew);
    event.details["family"] = FamilyKey(route.family);
    event.details["table"] = route.table;
    event.details["destination"] = destination;
    event.details["gateway"] = route.gateway;
    event.details["ifname"] = ifname;
    return event;
}

std::string KernelEvents::NameOf(unsigned index) const {
    const auto known = links.find(index);
    return known == links.end() ? "interface " + std::to_string(index) : known->second.ifname;
}

}  // namespace vexonetctl
