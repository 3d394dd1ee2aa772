// Addresses and routes that come and go.

#include <sys/socket.h>

#include <variant>

#include <vexonetwork/emitter/network_event_emitter.h>
#include <vexonetwork/hook/gateway_change_hook.h>
#include <vexonetwork/hook/ip_change_event.h>
#include <vexonetwork/hook/ipv6_add_delete_event.h>

#include "emitter/agenda.h"
#include "emitter/event_reader.h"
#include "emitter/hook_presence.h"
#include "emitter/interface_book.h"
#include "emitter/interface_kind.h"

#define VEXO_LOG_SOURCE "network_event_emitter"
#include <vexobase/log.h>

namespace vexonetwork {
namespace {

using std::chrono::steady_clock;

constexpr unsigned kMainTable = 254;

}  // namespace

const std::map<std::string, std::string>& NetworkEventEmitter::IPv4Addresses() const {
    return book->IPv4Addresses();
}

const std::map<std::string, AddressList>& NetworkEventEmitter::IPv6Addresses() const {
    return book->IPv6Addresses();
}

int NetworkEventEmitter::CheckIPChangeEvent(nlmsghdr* message) {
    if (message == nullptr) {
        VEXO_LOG(LOG_ERR, "Null pointer");
        return -1;
    }
    auto event = ReadAddressEvent(*message);
    if (!event) {
        return -1;
    }
    if (event->address.empty()) {
        VEXO_LOG(LOG_ERR, "Failed to inet_ntop() for IP change event.");
        return -1;
    }
    if (event->ifname.empty()) {
        event->ifname = NameOf(event->index);
    }
    Handle(*event);
    return 0;
}

void NetworkEventEmitter::Handle(const AddressEvent& event) {
    if (IsGuest(event.ifname)) {
        agenda->NoteChange(InterfaceOf(event.ifname), kOtherChange, steady_clock::now());
    } else if (event.family == AF_INET) {
        ProcessIPv4Event(event.ifname, event.address, event.prefix, event.isNew);
    } else if (event.family == AF_INET6) {
        ProcessIPv6Event(event.ifname, event.address, event.prefix, event.isNew);
    }
}

std::string NetworkEventEmitter::NameOf(unsigned index) {
    std::string name = KernelName(index);
    if (name.empty()) {
        return IndexToName(index, "if" + std::to_string(index));
    }
    NoteName(index, name, true);
    return name;
}

void NetworkEventEmitter::NoteName(unsigned index, const std::string& ifname, bool isCurrent) {
    for (const InterfaceEvent& event : book->NoteName(index, ifname, isCurrent)) {
        std::visit([this](const auto& one) { Handle(one); }, event);
    }
}

std::string NetworkEventEmitter::IndexToName(unsigned index, std::string fallback) {
    return book->NameOf(index, fallback);
}

void NetworkEventEmitter::ProcessIPv4Event(const std::string& ifname, const std::string& address,
                                           int prefix, bool isNew) {
    const auto change = book->NoteIPv4(ifname, address, isNew);
    if (!change) {
        return;
    }
    agenda->NoteChange(InterfaceOf(ifname), kIPv4Change, steady_clock::now());
    if (!stopping && hooks->IsWorthTelling("ipv4_change")) {
        hook::NetIPChangeEvent(IPTYPE_V4, ifname, change->former, change->current, prefix);
    }
}

void NetworkEventEmitter::ProcessIPv6Event(const std::string& ifname, const std::string& address,
                                           int prefix, bool isNew) {
    using Lists = InterfaceBook::Lists;
    const AddressList::Entry entry{address, prefix};
    const bool isTold = !stopping
                        && (hooks->IsWorthTelling("ipv6_change")
                            || hooks->IsWorthTelling(isNew ? "ipv6_add" : "ipv6_delete"));
    const auto change = book->NoteIPv6(ifname, entry, isNew, isTold ? Lists::kJoin : Lists::kOmit);
    if (!change) {
        // The kernel tells of no address that it still tries, but rules are made for it.
        if (!isNew) {
            agenda->NoteChange(ifname, kOtherChange, steady_clock::now());
        }
        return;
    }
    agenda->NoteChange(ifname, kIPv6Change, steady_clock::now());
    if (isTold) {
        const auto orNone = [this](const std::string& list) { return list.empty() ? none : list; };
        hook::NetIPChangeEvent(IPTYPE_V6, ifname, orNone(change->former), orNone(change->current),
                               prefix);
        hook::IPv6AddDeleteEvent(ifname, change->former, AddressList::ToText(entry),
                                 isNew ? "add" : "delete");
    }
}

int NetworkEventEmitter::CheckRouteChangeEvent(nlmsghdr* message) {
    if (message == nullptr) {
        VEXO_LOG(LOG_ERR, "Null pointer");
        return -1;
    }
    const auto route = ReadRouteEvent(*message);
    if (!route || route->family != AF_INET || route->table != kMainTable) {
        return -1;
    }
    hook::GatewayChangeHook(route->isNew ? "NEW" : "DEL", KernelName(route->oif),
                            route->destination, route->gateway)
        .ExecHook();
    return 0;
}

}  // namespace vexonetwork
