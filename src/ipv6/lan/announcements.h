#pragma once

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "ipv6/lan/grants.h"

namespace vexo::network::ipv6::router {

/// A /64 that is announced on a LAN.
struct Announcement {
    std::string lan;
    std::string prefix;  ///< in canonical form, without a length
    /// 0 while the LAN has it; then until when its hosts are told to let it go.
    std::time_t withdrawnUntil = 0;

    bool operator==(const Announcement&) const = default;
};
using Announcements = std::vector<Announcement>;

/// What is to be announced when this was announced before.
/// @return nothing when no LAN has a prefix any more: radvd withdraws all when it ends
Announcements NextAnnouncements(const Announcements& former, const std::vector<LanPrefix>& grants,
                                std::time_t now);

/// The configuration for radvd.conf(5).
std::string RadvdConfiguration(const Announcements& announcements);

/// What radvd announces now.
Announcements FormerAnnouncements();

std::set<std::string> LansOf(const Announcements& announcements);

/// Makes radvd announce this, in place of what it has announced.
/// @return 0, or -1 with a log line
int Announce(const Announcements& announcements);

}  // namespace vexo::network::ipv6::router
