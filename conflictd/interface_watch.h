#pragma once

#include <map>
#include <set>

#include "address_watch.h"
#include "arp_socket.h"
#include "conflict.h"
#include "interface_table.h"

namespace conflictd {

/// Probes, announces and watches the addresses of one interface.
class InterfaceWatch {
  public:
    /// Throws std::system_error.
    InterfaceWatch(unsigned index, Draw randomTime);

    /// Follows what the kernel says now: begins with addresses that came, leaves those that went.
    /// Throws std::system_error.
    void Update(const Interface& interface, Clock::time_point now);

    int Descriptor() const { return socket.Descriptor(); }

    /// Whether packets are to be waited for. Not for a moment after very many of them: those that
    /// the socket does not hold then cost next to nothing.
    bool IsListening(Clock::time_point now) const { return !isBroken && now >= restEnd; }

    /// The interface went down or away under it. If it is there again it needs a new watch.
    bool IsBroken() const { return isBroken; }

    /// When Advance has something to do, or listening goes on.
    Clock::time_point Due(Clock::time_point now) const;

    /// Sends what is due.
    void Advance(Clock::time_point now);

    /// Handles the packets that wait.
    /// @param ownMacs  of all interfaces; what they send is in no conflict
    void Receive(Clock::time_point now, const std::set<MacAddress>& ownMacs,
                 const ConflictHandler& tell);

  private:
    void Handle(const ArpPacket& packet, Clock::time_point now, const ConflictHandler& tell);
    void Send(const ArpPacket& packet);
    bool IsProbing() const;
    void Listen();

    std::string ifname;
    MacAddress mac{};
    Draw draw;
    ArpSocket socket;
    std::map<Ipv4Address, AddressWatch> watches;
    bool passesProbes = false;
    bool isBroken = false;
    Clock::time_point restEnd;
};

}  // namespace conflictd
