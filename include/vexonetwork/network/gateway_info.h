#pragma once

#include <cstdint>
#include <string>

#include <vexonetwork/utils/ip_address.h>

namespace vexonetwork::network::module {

/// Address family of a gateway list; "GTYPE_V4" and "GTYPE_V6" in requests.
enum GATEWAY_TYPE : std::int32_t { GTYPE_V4 = 0, GTYPE_V6 = 1 };

/// Places an added entry can ask for by "priority" instead of by an index.
enum : std::int32_t {
    PRIORITY_APPEND = -1,  ///< at the end
    PRIORITY_KEEP = -2,    ///< where it was; at the end when it is new
};

/// One candidate for the default route.
struct GatewayInfo {
    std::string ifname;                      ///< identity of the entry within its list
    std::string interfaceClass = "unknown";  ///< "ethernet" must have link to be elected
    utils::IPAddress gateway;
    utils::IPAddress dns;
    bool slave = false;  ///< never carries the default route
};

}  // namespace vexonetwork::network::module
