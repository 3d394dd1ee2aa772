#pragma once

#include <json/json.h>

#include <iosfwd>
#include <optional>

#include "facts/default_route.h"
#include "facts/family.h"

namespace vexonetctl {

/// The ordered list of one family beside the default route that the kernel has.
struct GatewayList {
    const Family& family;
    Json::Value entries;
    std::optional<DefaultRoute> route;
};

/// Whether the kernel's default route is the one of this entry.
bool CarriesDefaultRoute(const Family& family, const Json::Value& entry,
                         const std::optional<DefaultRoute>& route);

/// One line with the default route, then a table of the entries.
void Print(std::ostream& out, const GatewayList& list);

/// The daemon's entries, each with "default_route" (bool).
Json::Value ToJson(const GatewayList& list);

}  // namespace vexonetctl
