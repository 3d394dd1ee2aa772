#include "print/logged_event.h"

#include <vexonetwork/utils/json_reader.h>

#include "facts/time_text.h"

namespace vexonetctl {
namespace {

using vexonetwork::utils::GetInt;
using vexonetwork::utils::GetString;
using Texts = std::vector<std::string>;

std::optional<Texts> ArgumentsOf(const Json::Value& entry) {
    const Json::Value& list = entry["arguments"];
    Texts arguments;
    if (!list.isArray()) {
        return std::nullopt;
    }
    for (const Json::Value& argument : list) {
        if (!argument.isString()) {
            return std::nullopt;
        }
        arguments.push_back(argument.asString());
    }
    return arguments;
}

}  // namespace

std::optional<LoggedEvent> ReadLoggedEvent(const Json::Value& entry) {
    const auto time = GetString(entry, "time");
    const auto level = GetInt(entry, "level");
    const auto number = GetInt(entry, "event");
    const auto arguments = entry.isObject() ? ArgumentsOf(entry) : std::nullopt;
    if (!time || !level || !number || !arguments) {
        return std::nullopt;
    }
    return LoggedEvent{*time, *level, *number, *arguments};
}

std::string LocalTimeOf(const LoggedEvent& event) {
    const auto time = FromUtcText(event.time);
    return time ? ToLocalText(*time) : event.time;
}

}  // namespace vexonetctl
