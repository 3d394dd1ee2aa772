#include "vexonetwork/network/gateway_list.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vexonetwork::network::module {
namespace {

using Slot = GatewayList::Slot;

const std::string& NameOf(const Slot& slot) {
    return slot.entry.ifname;
}

bool IsAwake(const Slot& slot) {
    return !slot.isDormant;
}

}  // namespace

std::vector<GatewayInfo> GatewayList::Awake() const {
    std::vector<GatewayInfo> entries;
    for (const Slot& slot : slots) {
        if (IsAwake(slot)) {
            entries.push_back(slot.entry);
        }
    }
    return entries;
}

std::size_t GatewayList::Size() const {
    return static_cast<std::size_t>(std::ranges::count_if(slots, IsAwake));
}

GatewayList::Iterator GatewayList::SlotOf(const std::string& ifname) {
    return std::ranges::find(slots, ifname, NameOf);
}

/// The slot of a place; where there is none, the end.
GatewayList::Iterator GatewayList::PositionOf(std::size_t place) {
    return std::find_if(slots.begin(), slots.end(),
                        [&place](const Slot& slot) { return IsAwake(slot) && place-- == 0; });
}

const GatewayList::Slot* GatewayList::Find(const std::string& ifname) const {
    const auto slot = std::ranges::find(slots, ifname, NameOf);
    return slot == slots.end() ? nullptr : &*slot;
}

std::optional<std::size_t> GatewayList::PlaceOf(const std::string& ifname) const {
    const auto slot = std::ranges::find(slots, ifname, NameOf);
    return slot == slots.end() || slot->isDormant ? std::nullopt
                                                  : std::optional(static_cast<std::size_t>(
                                                      std::count_if(slots.begin(), slot, IsAwake)));
}

bool GatewayList::AddDormant(const GatewayInfo& entry, std::size_t position, unsigned boots) {
    if (Find(entry.ifname) != nullptr || slots.size() - Size() >= kMaxDormant) {
        return false;
    }
    const auto place =
        slots.begin() + static_cast<std::ptrdiff_t>(std::min(position, slots.size()));
    slots.insert(place, {entry, true, boots});
    return true;
}

void GatewayList::Put(const GatewayInfo& entry, int priority) {
    const auto oldPlace = PlaceOf(entry.ifname);
    const auto slot = SlotOf(entry.ifname);
    const bool stays =
        priority == PRIORITY_KEEP || (oldPlace && std::cmp_equal(priority, *oldPlace));
    if (slot != slots.end() && stays) {
        *slot = {entry};
        return;
    }
    Erase(entry.ifname);
    const auto place = static_cast<std::uint32_t>(priority);
    if (place > Size()) {
        Append(entry);
        return;
    }
    // Before what sleeps between the two places, for who asks for a place wants to be there.
    const auto position = place == 0 ? slots.begin() : PositionOf(place - 1) + 1;
    slots.insert(position, {entry});
}

bool GatewayList::Erase(const std::string& ifname) {
    const auto slot = SlotOf(ifname);
    const bool isThere = slot != slots.end();
    if (isThere) {
        slots.erase(slot);
    }
    return isThere;
}

bool GatewayList::SetSlave(const std::string& ifname, bool slave) {
    const auto slot = SlotOf(ifname);
    if (slot == slots.end()) {
        return false;
    }
    slot->entry.slave = slave;
    if (slave) {
        std::rotate(slot, slot + 1, slots.end());
    }
    return true;
}

bool GatewayList::Copy(const std::string& source, const std::string& destination,
                       bool deletesSource) {
    Erase(destination);
    const auto slot = SlotOf(source);
    if (slot == slots.end()) {
        return false;
    }
    Slot copy = *slot;
    copy.entry.ifname = destination;
    if (deletesSource) {
        *slot = std::move(copy);
    } else {
        slots.insert(slot, std::move(copy));
    }
    return true;
}

bool GatewayList::Wake(const std::string& ifname) {
    const auto slot = SlotOf(ifname);
    return slot != slots.end() && std::exchange(slot->isDormant, false);
}

void GatewayList::MoveToFront(std::size_t place) {
    for (; place > 0; --place) {
        std::swap(PositionOf(place)->entry, PositionOf(place - 1)->entry);
    }
}

}  // namespace vexonetwork::network::module
