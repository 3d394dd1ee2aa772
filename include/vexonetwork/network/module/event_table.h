#pragma once

#include <map>
#include <string>
#include <vector>

#include <vexonetwork/network/event/base_event.h>
#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network::module {

/// One subscription: the module, and its function to be called.
struct EventHandler {
    EventHandler() = default;
    EventHandler(MODULE_TYPE moduleType, EventFunction function)
        : module(moduleType), handler(function) {}

    bool IsModule(MODULE_TYPE moduleType) const { return module == moduleType; }
    bool operator==(const EventHandler&) const = default;

    MODULE_TYPE module{};
    EventFunction handler = nullptr;
};

/// Who subscribed to which event, in the order of subscription. Not synchronised.
class EventTable {
  public:
    using HandlerList = std::vector<EventHandler>;
    using EventMap = std::map<event::EVENT_TYPE, HandlerList>;

    /// @return 0; -1 for an invalid event or handler, or when the handler's module has subscribed
    ///         to this event before (which stays)
    int Add(event::EVENT_TYPE eventType, const EventHandler& handler);

    EventMap::iterator FindEvent(event::EVENT_TYPE eventType) { return table.find(eventType); }
    bool IsEventExist(event::EVENT_TYPE eventType) const { return table.contains(eventType); }

    /// The subscriptions to an event; an empty list when there are none.
    const HandlerList& ListHandlers(event::EVENT_TYPE eventType);
    const HandlerList& ListHandlers(EventMap::iterator entry);

    /// The module's subscription in the list, or the list's end.
    HandlerList::iterator FindModule(HandlerList& handlers, MODULE_TYPE moduleType) const;
    HandlerList::const_iterator FindConstModule(const HandlerList& handlers,
                                                MODULE_TYPE moduleType) const;

    /// Removes the module's subscription, and the event with its last one: an iterator to the
    /// event is then invalid. @return always 0, also when there was nothing to remove
    int Remove(event::EVENT_TYPE eventType, MODULE_TYPE moduleType);
    int Remove(EventMap::iterator entry, MODULE_TYPE moduleType);

    /// Removes the module from every event. @return whether all went well
    bool RemoveModule(MODULE_TYPE moduleType);

    /// For the log: "event[1]/ modules[1, 3, ]" for each event, without a separator.
    std::string ToStr() const;

  private:
    HandlerList none;
    EventMap table;
};

}  // namespace vexonetwork::network::module
