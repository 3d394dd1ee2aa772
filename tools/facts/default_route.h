#pragma once

#include <json/json.h>

#include <optional>
#include <string>

#include "facts/family.h"

namespace vexonetctl {

/// A default route of the kernel's main table.
struct DefaultRoute {
    std::string gateway;  ///< "" when the route names the interface alone
    std::string ifname;
};

/// The default route in force: the usable one of lowest metric.
/// @return none when there is none; a Failure when the kernel's table cannot be read
std::optional<DefaultRoute> ReadDefaultRoute(const Family& family);

/// "via 192.0.2.1 dev eth0", "dev eth0" or "none".
std::string Describe(const std::optional<DefaultRoute>& route);

/// An object with "gateway" and "ifname", or null.
Json::Value ToJson(const std::optional<DefaultRoute>& route);

}  // namespace vexonetctl
