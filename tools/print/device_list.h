#pragma once

#include <json/json.h>

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

/// A line for each device, with the name that the user has given it, or else its own.
void PrintDevices(std::ostream& out, const Json::Value& devices);

}  // namespace vexonetctl
