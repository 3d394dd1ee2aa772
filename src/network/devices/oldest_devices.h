#pragma once

#include <json/value.h>

#include <ctime>
#include <string>
#include <unordered_set>
#include <vector>

namespace vexonetwork::network {

/// Which devices of a list are forgotten first: those that were updated longest ago, of several
/// the first in the list. One that the user has given a name or a type is never among them.
/// @param entries  the list's array
/// @param count    how many are wanted; there may be fewer
/// @param kept     MACs of others that are not to be forgotten
/// @param now      what was updated after that, as with a clock that has been put back, is oldest
/// @return their MACs
std::vector<std::string> OldestDevices(const Json::Value& entries, std::size_t count,
                                       const std::unordered_set<std::string>& kept,
                                       std::time_t now);

}  // namespace vexonetwork::network
