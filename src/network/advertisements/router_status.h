#pragma once

#include <map>
#include <string>

#include <vexonetwork/network/module/ipv6_module.h>

namespace vexonetwork::network::module {

/// Writes what is remembered of routers to /run/vexo/ipv6_routers.json, for programs that show it:
/// an object of interface names, each with "gateway", "last_ra_time" (seconds since 1970) and
/// "state" (RaState). A failure is logged.
void PublishRouters(const std::map<std::string, RaRecord>& records);

}  // namespace vexonetwork::network::module
