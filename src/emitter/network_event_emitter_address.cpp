// Addresses and routes that come and go.

#include <net/if.h>
#include <sys/socket.h>

#include <utility>

#include <vexonetwork/emitter/kernel_message.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vexonetwork/hook/gateway_change_hook.h>
#include <vexonetwork/hook/ip_change_event.h>
#include <vexonetwork/hook/ipv6_add_delete_event.h>
#include <vlib/plugin.h>

#include "emitter/interface_kind.h"

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

constexpr unsigned kMainTable = 254;

/// @return "" when there is no such interface, or no longer
std::string KernelName(unsigned index) {
    char name[IF_NAMESIZE] = "";
    return index != 0 && ::if_indextoname(index, name) != nullptr ? name : "";
}

}  // namespace

int NetworkEventEmitter::CheckIPChangeEvent(nlmsghdr* message) {
    if (message == nullptr) {
        VEXO_LOG(LOG_ERR, "Null pointer");
        return -1;
    }
    const auto event = ReadAddressMessage(message);
    if (!event) {
        return -1;
    }
    if (event->address.empty()) {
        VEXO_LOG(LOG_ERR, "Failed to inet_ntop() for IP change event.");
        return -1;
    }
    const std::string ifname = event->label.empty() ? NameOf(event->index) : event->label;
    if (IsDocker(ifname) || IsTap(ifname)) {
        PutOffElection(ifname, kOtherChange);
        return 0;
    }
    if (event->family == AF_INET) {
        ProcessIPv4Event(ifname, event->address, event->prefix, event->isNew);
    } else if (event->family == AF_INET6) {
        ProcessIPv6Event(ifname, event->address, event->prefix, event->isNew);
    }
    return 0;
}

std::string NetworkEventEmitter::NameOf(unsigned index) {
    std::string name = KernelName(index);
    if (name.empty()) {
        return IndexToName(index, "if" + std::to_string(index));
    }
    names[index] = name;
    return name;
}

std::string NetworkEventEmitter::IndexToName(unsigned index, std::string fallback) {
    return names.try_emplace(index, std::move(fallback)).first->second;
}

void NetworkEventEmitter::ProcessIPv4Event(const std::string& ifname, const std::string& address,
                                           int prefix, bool isNew) {
    std::string& current = ipv4.try_emplace(ifname, none).first->second;
    if (isNew && current == address) {
        return;
    }
    const std::string former = std::exchange(current, isNew ? address : none);
    if (IsHeard("ipv4_change")) {
        hook::NetIPChangeEvent(IPTYPE_V4, ifname, former, current, prefix);
    }
    PutOffElection(ifname, kIPv4Change);
}

void NetworkEventEmitter::ProcessIPv6Event(const std::string& ifname, const std::string& address,
                                           int prefix, bool isNew) {
    AddressList& addresses = ipv6[ifname];
    const AddressList::Entry entry{address, prefix};
    if (addresses.Contains(entry) == isNew) {
        return;
    }
    // Joining the addresses costs more than everything else when an interface has thousands.
    const bool heard = IsHeard("ipv6_change") || IsHeard(isNew ? "ipv6_add" : "ipv6_delete");
    const std::string former = heard ? addresses.Join() : "";
    isNew ? addresses.Add(entry) : addresses.Remove(entry);
    if (heard) {
        const std::string current = addresses.Join();
        hook::NetIPChangeEvent(IPTYPE_V6, ifname, former.empty() ? none : former,
                               current.empty() ? none : current, prefix);
        hook::IPv6AddDeleteEvent(ifname, former, AddressList::ToText(entry),
                                 isNew ? "add" : "delete");
    }
    PutOffElection(ifname, kIPv6Change);
}

bool NetworkEventEmitter::IsHeard(const char* event) {
    if (stopping) {
        return false;  // hooks may take long, and whoever stops us waits
    }
    const auto [place, isNew] = hooks.try_emplace(event, false);
    if (isNew) {
        place->second = VLIBPluginIsHeard("net", event) == 1;
    }
    return place->second;
}

int NetworkEventEmitter::CheckRouteChangeEvent(nlmsghdr* message) {
    if (message == nullptr) {
        VEXO_LOG(LOG_ERR, "Null pointer");
        return -1;
    }
    const auto route = ReadRouteMessage(message);
    if (!route || route->family != AF_INET || route->table != kMainTable) {
        return -1;
    }
    hook::GatewayChangeHook(route->isNew ? "NEW" : "DEL", KernelName(route->oif),
                            route->destination, route->gateway)
        .ExecHook();
    return 0;
}

}  // namespace vexonetwork
