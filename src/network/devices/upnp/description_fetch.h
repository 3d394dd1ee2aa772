#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "network/devices/side_by_side.h"
#include "network/devices/upnp/device_description.h"

namespace vexonetwork::network {

/// Of fetches that run side by side.
constexpr SideBySide::Limits kFetchLimits = {
    .atOnce = 8, .patience = std::chrono::seconds(6), .output = kMaxDescriptionBytes + 64};

constexpr char kFetchProgram[] = "/usr/bin/curl";

/// Starts curl(1) to fetch a description over one interface, without redirects and proxies.
/// @param location  of plain ASCII, as ParseSsdp gives it
/// @return null when it cannot be started
PipedProgram StartFetch(const std::string& ifname, const std::string& location);

/// Reads all that the program has said.
/// @return nothing when it did not get the whole of a description that can be used
std::optional<DeviceDescription> ReadFetched(std::string_view output);

}  // namespace vexonetwork::network
