#pragma once

#include <string>

#include <vexonetwork/ipv6/router/router6_attr.h>

namespace vexo::network::ipv6::router {

/// A router as its file has it.
struct StoredRouter {
    std::string ifname;  ///< what the file is named after
    Router6Attr attr;    ///< what could be read; without a WAN when not even that
    /// Nothing of the file is missing, and the interface that its WAN means is known. Otherwise
    /// what the router is and has now is unknown, and nothing may be taken away for it.
    bool isWhole = false;
};

}  // namespace vexo::network::ipv6::router
