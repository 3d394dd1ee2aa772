#pragma once

#include <net/if.h>

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <vexobase/log_budget.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/network/module/ipv6_module.h>

#include "network/advertisements/icmpv6_socket.h"
#include "network/advertisements/router_records.h"
#include "network/advertisements/uplink_links.h"

namespace vexonetwork::network::module {

/// Datagrams that came without a pause are held against one reading of the configuration and one
/// look for the router, for a second at most: a flood must not become one of that.
struct Burst {
    bool lasts = false;
    SteadyTime begin;
    std::map<std::string, bool> follows;                ///< by interface
    std::map<std::string, NeighbourAnswer> neighbours;  ///< by interface

    void End() { *this = {}; }
};

struct IPv6Module::Parts {
    explicit Parts(std::function<bool(const std::string& ifname)> follows)
        : links(std::move(follows)) {}

    RouterRecords records{
        [](const std::string& ifname) { return ::if_nametoindex(ifname.c_str()) != 0; }};
    vexobase::LogBudget logBudget{3000};  ///< of three lines for each advertisement
    Icmpv6Socket socket;
    Burst burst;
    SteadyTime nextPublication;
    UplinkLinks links;
    SteadyTime nextLook;  ///< at the links, should they change

    // Of the thread. `wake` becomes readable for its end and is never read.
    vexobase::UniqueFd wake;
    std::atomic<bool> stopping = false;
    std::thread polling;
};

}  // namespace vexonetwork::network::module
