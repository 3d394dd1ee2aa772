#include <algorithm>

#include <vexobase/log.h>
#include <vexonetwork/network/module/event_table.h>

namespace vexonetwork::network::module {

namespace {

auto FindIn(auto& handlers, MODULE_TYPE moduleType) {
    return std::ranges::find(handlers, moduleType, &EventHandler::module);
}

}  // namespace

int EventTable::Add(event::EVENT_TYPE eventType, const EventHandler& handler) {
    if (!event::BaseEvent::IsValidEvent(eventType)) {
        VEXO_LOG_AT(58, LOG_ERR, "event [%d] is invalid", eventType);
        return -1;
    }
    if (!BaseModule::IsValidModule(handler.module) || handler.handler == nullptr) {
        VEXO_LOG_AT(62, LOG_ERR, "invalid handler");
        return -1;
    }
    HandlerList& handlers = table[eventType];
    if (FindModule(handlers, handler.module) != handlers.end()) {
        VEXO_LOG_AT(73, LOG_ERR, "The module [%d] has been registered.", handler.module);
        return -1;
    }
    handlers.push_back(handler);
    return 0;
}

const EventTable::HandlerList& EventTable::ListHandlers(event::EVENT_TYPE eventType) {
    return ListHandlers(FindEvent(eventType));
}

const EventTable::HandlerList& EventTable::ListHandlers(EventMap::iterator entry) {
    return entry == table.end() ? none : entry->second;
}

EventTable::HandlerList::iterator EventTable::FindModule(HandlerList& handlers,
                                                         MODULE_TYPE moduleType) const {
    return FindIn(handlers, moduleType);
}

EventTable::HandlerList::const_iterator EventTable::FindConstModule(const HandlerList& handlers,
                                                                    MODULE_TYPE moduleType) const {
    return FindIn(handlers, moduleType);
}

int EventTable::Remove(event::EVENT_TYPE eventType, MODULE_TYPE moduleType) {
    return Remove(FindEvent(eventType), moduleType);
}

int EventTable::Remove(EventMap::iterator entry, MODULE_TYPE moduleType) {
    if (entry == table.end()) {
        return 0;
    }
    HandlerList& handlers = entry->second;
    if (const auto handler = FindModule(handlers, moduleType); handler != handlers.end()) {
        handlers.erase(handler);
    }
    if (handlers.empty()) {
        table.erase(entry);
    }
    return 0;
}

bool EventTable::RemoveModule(MODULE_TYPE moduleType) {
    bool removed = true;
    for (auto next = table.begin(); next != table.end();) {
        const auto entry = next++;
        const event::EVENT_TYPE eventType = entry->first;
        if (Remove(entry, moduleType) != 0) {
            VEXO_LOG_AT(140, LOG_ERR, "Failed to remove module [%d] from event [%d]", moduleType,
                        eventType);
            removed = false;
        }
    }
    return removed;
}

std::string EventTable::ToStr() const {
    std::string text;
    for (const auto& [eventType, handlers] : table) {
        text += "event[" + std::to_string(eventType) + "]/ modules[";
        for (const EventHandler& handler : handlers) {
            text += std::to_string(handler.module) + ", ";
        }
        text += "]";
    }
    return text;
}

}  // namespace vexonetwork::network::module
