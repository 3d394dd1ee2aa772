#pragma once

#include <json/json.h>

#include <string>

namespace vexonetctl {

/// Something that has just happened, as the monitor tells it.
struct Event {
    std::string kind;     ///< "link", "address", "route", "hook" or "lost"
    std::string text;     ///< for people
    Json::Value details;  ///< for programs, an object
};

/// More came than was taken in time.
inline Event LostEvent(const char* source) {
    Event event{"lost", std::string("some ") + source + " events were lost", {}};
    event.details["source"] = source;
    return event;
}

}  // namespace vexonetctl
