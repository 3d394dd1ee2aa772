#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace vexonetctl {

/// What the daemon remembers of the router of an interface.
struct RouterRecord {
    std::string gateway;      ///< "" when it has none
    int state = 0;            ///< RaState of the daemon
    std::optional<long> age;  ///< seconds since its last advertisement
};

/// What the daemon has written for others to read, a second ago at most.
/// @return an object of interface names; empty when it has written nothing
Json::Value ReadRouters();

/// @param routers  of ReadRouters
RouterRecord RecordOf(const Json::Value& routers, const std::string& ifname);

}  // namespace vexonetctl
