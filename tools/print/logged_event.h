#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

namespace vexonetctl {

inline constexpr char kEventLog[] = "/var/log/vexo/events.jsonl";

/// The number of the event that tells an address conflict; its arguments are interface, address
/// and the other host's MAC.
inline constexpr int kConflictEvent = 0x11801330;

/// One entry of the event log.
struct LoggedEvent {
    std::string time;  ///< ISO 8601 in UTC
    int level = 0;     ///< 1 information, 2 warning, 3 error
    int number = 0;
    std::vector<std::string> arguments;
};

/// @param entry  any JSON
/// @return nothing for what is no entry
std::optional<LoggedEvent> ReadLoggedEvent(const Json::Value& entry);

/// Its time for people, in the local time zone; as it stands when it is none.
std::string LocalTimeOf(const LoggedEvent& event);

}  // namespace vexonetctl
