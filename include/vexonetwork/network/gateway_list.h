#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/gateway_info.h>

namespace vexonetwork::network::module {

/// One ordered list of candidates for the default route. An entry whose interface has no link when
/// the list is loaded is dormant: it keeps its place and waits for the link. Served, stored as the
/// list and elected are only the others, and places count only those.
class GatewayList {
  public:
    /// As many may be dormant.
    static constexpr std::size_t kMaxDormant = 32;

    struct Slot {
        GatewayInfo entry;
        bool isDormant = false;
        unsigned boots = 0;  ///< that it has slept through
    };

    /// All entries in their order, the dormant ones among the others.
    const std::vector<Slot>& Slots() const { return slots; }

    /// The entries that are not dormant.
    std::vector<GatewayInfo> Awake() const;
    std::size_t Size() const;

    /// The interface's entry, dormant or not, until the list is changed; null when it has none.
    const Slot* Find(const std::string& ifname) const;

    /// The place of the interface's entry; nothing when it is dormant or not there.
    std::optional<std::size_t> PlaceOf(const std::string& ifname) const;

    void Append(const GatewayInfo& entry) { slots.push_back({entry}); }

    /// Adds a dormant entry.
    /// @param position  in Slots(); beyond their end means the end
    /// @return false when the interface has an entry, or as many sleep as may
    bool AddDormant(const GatewayInfo& entry, std::size_t position, unsigned boots = 0);

    /// Puts an entry in the place of its interface's, dormant or not, or adds it.
    /// @param priority  its new place, before what sleeps there; beyond the end means the end; or
    ///                  PRIORITY_…
    void Put(const GatewayInfo& entry, int priority);

    // Each finds dormant entries too and gives whether the interface had an entry.

    bool Erase(const std::string& ifname);

    /// Whoever becomes a slave goes to the end.
    bool SetSlave(const std::string& ifname, bool slave);

    /// Has another interface take the source's place, in front of it when that stays. What the
    /// destination had goes in any case.
    bool Copy(const std::string& source, const std::string& destination, bool deletesSource);

    /// @return whether the interface's entry was dormant, which it is no longer
    bool Wake(const std::string& ifname);

    /// Has the entry of a place go before the others; who sleeps keeps its position.
    void MoveToFront(std::size_t place);

  private:
    using Iterator = std::vector<Slot>::iterator;

    Iterator SlotOf(const std::string& ifname);
    Iterator PositionOf(std::size_t place);

    std::vector<Slot> slots;
};

}  // namespace vexonetwork::network::module
