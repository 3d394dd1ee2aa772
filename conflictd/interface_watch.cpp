#include "interface_watch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <vexobase/log.h>

#include "arp_filter.h"

namespace conflictd {
namespace {

// Together some 20,000 packets in a second, whatever a storm brings.
constexpr int kMaxPackets = 512;
constexpr std::chrono::milliseconds kRest(25);

}  // namespace

InterfaceWatch::InterfaceWatch(unsigned index, Draw randomTime)
    : draw(std::move(randomTime)), socket(index) {}

void InterfaceWatch::Update(const Interface& interface, Clock::time_point now) {
    ifname = interface.ifname;
    mac = interface.mac;
    std::set<Ipv4Address> present;
    for (const auto& [address, prefix] : interface.addresses) {
        present.insert(address);
    }
    bool changed =
        std::erase_if(watches,
                      [&present](const auto& watch) { return !present.contains(watch.first); })
        > 0;
    for (const Ipv4Address address : present) {
        changed |= watches.try_emplace(address, address, now, draw).second;
    }
    if (changed) {
        Listen();
    }
}

bool InterfaceWatch::IsProbing() const {
    return std::ranges::any_of(watches, [](const auto& watch) { return watch.second.IsProbing(); });
}

void InterfaceWatch::Listen() {
    std::set<Ipv4Address> addresses;
    for (const auto& [address, watch] : watches) {
        addresses.insert(address);
    }
    passesProbes = IsProbing();
    socket.Listen(ArpFilter(addresses, passesProbes));
}

Clock::time_point InterfaceWatch::Due(Clock::time_point now) const {
    auto due = now < restEnd ? restEnd : Clock::time_point::max();
    for (const auto& [address, watch] : watches) {
        due = std::min(due, watch.Due());
    }
    return due;
}

void InterfaceWatch::Advance(Clock::time_point now) {
    for (auto& [address, watch] : watches) {
        switch (watch.Advance(now)) {
            case AddressWatch::Send::kProbe:
                Send(ArpProbe(mac, address));
                break;
            case AddressWatch::Send::kAnnouncement:
                Send(ArpAnnouncement(mac, address));
                break;
            case AddressWatch::Send::kNothing:
                break;
        }
    }
    if (passesProbes && !IsProbing()) {
        Listen();
    }
}

void InterfaceWatch::Receive(Clock::time_point now, const std::set<MacAddress>& ownMacs,
                             const ConflictHandler& tell) {
    for (int count = 0; count < kMaxPackets; ++count) {
        const auto packet = socket.Receive();
        if (!packet) {
            isBroken = errno != EAGAIN;
            return;
        }
        if (!ownMacs.contains(packet->senderMac)) {
            Handle(*packet, now, tell);
        }
    }
    restEnd = now + kRest;
}

void InterfaceWatch::Handle(const ArpPacket& packet, Clock::time_point now,
                            const ConflictHandler& tell) {
    const Ipv4Address address = packet.senderIp != 0 ? packet.senderIp : packet.targetIp;
    const auto watch = watches.find(address);
    if (watch == watches.end()) {
        return;
    }
    const AddressWatch::Verdict verdict = watch->second.Judge(packet, now);
    if (verdict.isDefended) {
        Send(ArpAnnouncement(mac, address));
    }
    if (verdict.isConflict) {
        tell({.ifname = ifname, .address = address, .mac = packet.senderMac});
    }
}

void InterfaceWatch::Send(const ArpPacket& packet) {
    if (!socket.Broadcast(packet)) {
        VEXO_LOG(LOG_ERR, "Failed to send ARP for [%s] on [%s]: %s",
                 ToText(packet.targetIp).c_str(), ifname.c_str(), std::strerror(errno));
    }
}

}  // namespace conflictd
