#pragma once

#include <json/json.h>

#include <ctime>
#include <iosfwd>
#include <optional>
#include <string>

namespace vexonetctl {

/// The address as the daemon writes it, of "02:AB:...", "02-ab-..." or twelve digits; nothing for
/// what is no MAC address.
std::optional<std::string> CanonicalMac(const std::string& text);

/// The entry of a canonical MAC address that the daemon would find: none stands behind one without
/// a "macAddr". Upper and lower case are the same. Null when there is none.
const Json::Value* FindDevice(const Json::Value& devices, const std::string& mac);

/// When a device was last found, from the daemon's "14:03:59 2026/11/14", whose year is that of
/// the ISO 8601 week.
/// @param now  of two dates that are written alike the later one counts that is not in the future
/// @return nothing for a text of another form
std::optional<std::time_t> ParseLastSeen(const std::string& text, std::time_t now);

/// A line for each device, with the name that the user has given it, or else its own.
void PrintDevices(std::ostream& out, const Json::Value& devices);

}  // namespace vexonetctl
