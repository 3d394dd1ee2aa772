#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <vexobase/ip_prefix.h>

namespace vexo::network::ipv6::router {

/// What a LAN has of a router's prefix.
struct LanShare {
    static constexpr int kNoPlace = -1;

    std::string lan;
    int place = kNoPlace;        ///< among the parts of a prefix that has room for several
    vexobase::IpPrefix network;  ///< a /64; none while the LAN waits for one

    bool operator==(const LanShare&) const = default;
};

struct RouterShare {
    vexobase::IpPrefix whole;  ///< none while the router has none
    std::vector<LanShare> lans;

    bool operator==(const RouterShare&) const = default;
};

/// What was given to LANs when everything was last looked at. It outlives a boot: the routers'
/// files say which prefixes there are, this says who is to have which place of the next one, what
/// stays while such a file cannot be read, and which LANs have still to be told that theirs is
/// gone. It knows no routers and LANs but those of the files.
struct LanBook {
    std::map<std::string, RouterShare>
        routers;                   ///< by the interfaces that the files are named after
    std::set<std::string> marked;  ///< LANs whose ifcfg file says that we announce there

    bool operator==(const LanBook&) const = default;
};

/// The book as it was written last; an empty one, with a log line, when its file is none.
LanBook ReadLanBook();

/// Replaces the file at once.
/// @return 0, or -1 with a log line
int WriteLanBook(const LanBook& book);

}  // namespace vexo::network::ipv6::router
