#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/emitter/address_list.h>

#include "emitter/interface_event.h"
#include "emitter/interface_snapshot.h"

namespace vexonetwork {

/// What is known of the interfaces. It does nothing by itself: whoever tells it an event learns
/// what has changed, or which further events follow from it.
class InterfaceBook {
  public:
    struct IPv4Change {
        std::string former;   ///< "none" for no address
        std::string current;  ///< "none" for no address

        bool operator==(const IPv4Change&) const = default;
    };
    struct IPv6Change {
        std::string former;   ///< as AddressList::Join() writes it
        std::string current;  ///< as AddressList::Join() writes it

        bool operator==(const IPv6Change&) const = default;
    };

    /// Whether to write down both lists of an IPv6 change. With thousands of addresses that costs
    /// more than everything else.
    enum class Lists { kOmit, kJoin };

    /// An interface was told with a name.
    /// @param isCurrent  whether it has it still; a message may be late
    /// @return what follows when it had another one, or the name belonged to another interface: a
    ///         name without its interface has neither link nor addresses
    std::vector<InterfaceEvent> NoteName(unsigned index, const std::string& ifname, bool isCurrent);

    /// The name that an index was last seen with; for an unknown one `fallback`, which is then
    /// remembered.
    std::string NameOf(unsigned index, const std::string& fallback);

    /// What the flags of a link message mean beside whether there is a link.
    enum class FlagChange {
        kNone,
        kRoutes,  ///< taken up or down: the kernel has dropped its routes, or takes them again
        kLink     ///< no longer in a transition, in which an election may have taken it for linked
    };

    /// Remembers the flags (IFF_…) that were told, also those of a transition.
    FlagChange NoteFlags(const std::string& ifname, unsigned flags);

    /// @return whether that was not known
    bool NoteLink(const std::string& ifname, bool running);

    /// One address is known for each label: the last that came, until any of them goes.
    /// @return nothing when a new address was known already
    std::optional<IPv4Change> NoteIPv4(const std::string& label, const std::string& address,
                                       bool isNew);

    /// @return nothing when that was known
    std::optional<IPv6Change> NoteIPv6(const std::string& ifname, const AddressList::Entry& entry,
                                       bool isNew, Lists lists);

    /// Takes over names and IPv6 addresses without events: their end can then be told.
    void Learn(const InterfaceSnapshot& snapshot);

    /// The events that lead from what is known to a snapshot: those of links, and, once these were
    /// told, those of addresses.
    std::vector<InterfaceEvent> LinkEventsTo(const InterfaceSnapshot& snapshot) const;
    std::vector<InterfaceEvent> AddressEventsTo(const InterfaceSnapshot& snapshot) const;

    const std::map<std::string, std::string>& IPv4Addresses() const { return ipv4; }
    const std::map<std::string, AddressList>& IPv6Addresses() const { return ipv6; }
    const std::map<std::string, bool>& Links() const { return linkUp; }

  private:
    bool Holds(unsigned index, const std::string& ifname) const;
    bool HasLeft(unsigned index, const std::string& ifname, bool isCurrent) const;
    bool Differs(const LinkEvent& link) const;
    std::vector<InterfaceEvent> EventsOfLeaving(const std::string& ifname) const;

    std::map<std::string, std::string> ipv4;  ///< by label; "none" is an address that went
    std::map<std::string, AddressList> ipv6;
    std::map<unsigned, std::string> names;    ///< also of interfaces that are gone
    std::map<std::string, unsigned> holders;  ///< the interface that was last found to have a name
    std::map<std::string, bool> linkUp;
    std::map<std::string, unsigned> flagsOf;  ///< as last told
};

/// The interface of a label: "wan0" of "wan0:1".
std::string InterfaceOf(const std::string& label);

}  // namespace vexonetwork
