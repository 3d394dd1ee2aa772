#include "emitter/interface_book.h"

#include <linux/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "emitter/interface_kind.h"

namespace vexonetwork {
namespace {

constexpr char kNone[] = "none";

using Events = std::vector<InterfaceEvent>;
using Addresses = std::map<std::string, AddressList>;

Addresses AddressesOf(const InterfaceSnapshot& snapshot, int family) {
    Addresses addresses;
    for (const AddressEvent& one : snapshot.addresses) {
        if (one.family == family) {
            addresses[one.ifname].Add({one.address, one.prefix});
        }
    }
    return addresses;
}

const AddressList& Find(const Addresses& addresses, const std::string& ifname) {
    static const AddressList kEmpty;
    const auto found = addresses.find(ifname);
    return found == addresses.end() ? kEmpty : found->second;
}

bool HasAddress(const AddressList& list, const std::string& address) {
    return std::ranges::any_of(
        list.Entries(), [&](const AddressList::Entry& entry) { return entry.first == address; });
}

AddressEvent Event(int family, const std::string& ifname, const AddressList::Entry& entry,
                   bool isNew) {
    return {0, family, ifname, entry.first, entry.second, isNew};
}

void Append(Events& events, Events more) {
    events.insert(events.end(), std::make_move_iterator(more.begin()),
                  std::make_move_iterator(more.end()));
}

/// Of the addresses of a label the last one is known, so it is the one that is told.
void TellIPv4(const std::map<std::string, std::string>& known, const Addresses& wanted,
              Events& events) {
    for (const auto& [label, address] : known) {
        if (address != kNone && !wanted.contains(label)) {
            events.emplace_back(Event(AF_INET, label, {address, 0}, false));
        }
    }
    for (const auto& [label, list] : wanted) {
        const auto found = known.find(label);
        if (found == known.end() || !HasAddress(list, found->second)) {
            events.emplace_back(Event(AF_INET, label, list.Entries().back(), true));
        }
    }
}

void TellIPv6(const Addresses& known, const Addresses& wanted, Events& events) {
    const auto tell = [&events](const Addresses& these, const Addresses& others, bool isNew) {
        for (const auto& [ifname, list] : these) {
            for (const AddressList::Entry& entry : list.Entries()) {
                if (!Find(others, ifname).Contains(entry)) {
                    events.emplace_back(Event(AF_INET6, ifname, entry, isNew));
                }
            }
        }
    };
    tell(known, wanted, false);
    tell(wanted, known, true);
}

}  // namespace

std::string InterfaceOf(const std::string& label) {
    return label.substr(0, label.find(':'));
}

bool InterfaceBook::Holds(unsigned index, const std::string& ifname) const {
    const auto holder = holders.find(ifname);
    return holder != holders.end() && holder->second == index;
}

/// Whether the name that an index was told with before is nobody's now. One that the kernel never
/// confirmed is given up only for one that it does.
bool InterfaceBook::HasLeft(unsigned index, const std::string& former, bool isCurrent) const {
    return Holds(index, former) || (isCurrent && !holders.contains(former));
}

Events InterfaceBook::NoteName(unsigned index, const std::string& ifname, bool isCurrent) {
    if (Holds(index, ifname)) {
        return {};
    }
    Events events;
    if (isCurrent && holders.contains(ifname)) {
        events = EventsOfLeaving(ifname);
    }
    const std::string former = std::exchange(names[index], ifname);
    if (!former.empty() && former != ifname && HasLeft(index, former, isCurrent)) {
        Append(events, EventsOfLeaving(former));
        // The kernel tells the IPv4 addresses of a renamed interface again, those of IPv6 not.
        for (const AddressList::Entry& entry : Find(ipv6, former).Entries()) {
            events.emplace_back(Event(AF_INET6, ifname, entry, true));
        }
        holders.erase(former);
    }
    if (isCurrent) {
        holders[ifname] = index;
    }
    return events;
}

Events InterfaceBook::EventsOfLeaving(const std::string& ifname) const {
    Events events;
    if (const auto link = linkUp.find(ifname); link != linkUp.end() && link->second) {
        events.emplace_back(LinkEvent{.ifname = ifname});
    }
    for (auto label = ipv4.lower_bound(ifname);
         label != ipv4.end() && label->first.starts_with(ifname); ++label) {
        if (InterfaceOf(label->first) == ifname && label->second != kNone) {
            events.emplace_back(Event(AF_INET, label->first, {label->second, 0}, false));
        }
    }
    for (const AddressList::Entry& entry : Find(ipv6, ifname).Entries()) {
        events.emplace_back(Event(AF_INET6, ifname, entry, false));
    }
    return events;
}

std::string InterfaceBook::NameOf(unsigned index, const std::string& fallback) {
    return names.try_emplace(index, fallback).first->second;
}

InterfaceBook::FlagChange InterfaceBook::NoteFlags(const std::string& ifname, unsigned flags) {
    const auto [known, isNew] = flagsOf.try_emplace(ifname, flags);
    const unsigned former = std::exchange(known->second, flags);
    if (IsTransition(flags)) {
        return FlagChange::kNone;
    }
    return IsTransition(former)               ? FlagChange::kLink
           : ((former ^ flags) & IFF_UP) != 0 ? FlagChange::kRoutes
                                              : FlagChange::kNone;
}

bool InterfaceBook::NoteLink(const std::string& ifname, bool running) {
    const auto [known, isNew] = linkUp.try_emplace(ifname, running);
    return std::exchange(known->second, running) != running || isNew;
}

std::optional<InterfaceBook::IPv4Change> InterfaceBook::NoteIPv4(const std::string& label,
                                                                 const std::string& address,
                                                                 bool isNew) {
    std::string& current = ipv4.try_emplace(label, kNone).first->second;
    if (isNew && current == address) {
        return std::nullopt;
    }
    std::string former = std::exchange(current, isNew ? address : kNone);
    return IPv4Change{std::move(former), current};
}

std::optional<InterfaceBook::IPv6Change> InterfaceBook::NoteIPv6(const std::string& ifname,
                                                                 const AddressList::Entry& entry,
                                                                 bool isNew, Lists lists) {
    AddressList& addresses = ipv6[ifname];
    if (addresses.Contains(entry) == isNew) {
        return std::nullopt;
    }
    IPv6Change change;
    if (lists == Lists::kJoin) {
        change.former = addresses.Join();
    }
    isNew ? addresses.Add(entry) : addresses.Remove(entry);
    if (lists == Lists::kJoin) {
        change.current = addresses.Join();
    }
    return change;
}

void InterfaceBook::Learn(const InterfaceSnapshot& snapshot) {
    for (const LinkEvent& link : snapshot.links) {
        names[link.index] = link.ifname;
        holders[link.ifname] = link.index;
        flagsOf[link.ifname] = link.flags;
    }
    ipv6 = AddressesOf(snapshot, AF_INET6);
    std::erase_if(ipv6, [](const auto& entry) { return IsGuest(entry.first); });
}

bool InterfaceBook::Differs(const LinkEvent& link) const {
    const auto known = linkUp.find(link.ifname);
    return !Holds(link.index, link.ifname) || known == linkUp.end()
           || known->second != ((link.flags & IFF_RUNNING) != 0);
}

Events InterfaceBook::LinkEventsTo(const InterfaceSnapshot& snapshot) const {
    std::set<std::string> present;
    for (const LinkEvent& link : snapshot.links) {
        present.insert(link.ifname);
    }
    Events events;
    for (const auto& [ifname, running] : linkUp) {
        if (running && !present.contains(ifname)) {
            events.emplace_back(LinkEvent{.ifname = ifname});
        }
    }
    for (const LinkEvent& link : snapshot.links) {
        if (!IsTransition(link.flags) && Differs(link)) {
            events.emplace_back(link);
        }
    }
    return events;
}

Events InterfaceBook::AddressEventsTo(const InterfaceSnapshot& snapshot) const {
    Events events;
    TellIPv4(ipv4, AddressesOf(snapshot, AF_INET), events);
    TellIPv6(ipv6, AddressesOf(snapshot, AF_INET6), events);
    return events;
}

}  // namespace vexonetwork
