#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace vexonetctl {

timespec Now();

/// ISO 8601 in UTC to the millisecond, as the event log has it: "2026-11-21T07:30:00.000Z".
std::string ToUtcText(const timespec& time);

/// @return whole seconds; nothing for a text of another form
std::optional<std::time_t> FromUtcText(const std::string& text);

/// For people, in the local time zone: "2026-11-21 08:30:00".
std::string ToLocalText(std::time_t time);

}  // namespace vexonetctl
