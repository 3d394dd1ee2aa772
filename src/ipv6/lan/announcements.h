#pragma once

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "ipv6/lan/delegation.h"
#include "ipv6/lan/grants.h"
#include "ipv6/lan/outside.h"

namespace vexo::network::ipv6::router {

/// A /64 that is announced on a LAN.
struct Announcement {
    std::string lan;
    std::string prefix;  ///< in canonical form, without a length
    Lifetimes until;     ///< while the LAN has it
    /// 0 while the LAN has it; then until when its hosts are told to let it go.
    std::time_t withdrawnUntil = 0;

    bool operator==(const Announcement&) const = default;
};
using Announcements = std::vector<Announcement>;

/// What is to be announced when this was announced before. A /64 of a prefix whose lifetimes are
/// not known, as before its client has told them, keeps those it was announced with.
/// What is withdrawn stays in it for two hours, also while no LAN has a prefix: a host that missed
/// radvd's last words is told again when there is a next one.
Announcements NextAnnouncements(const Announcements& former, const std::vector<LanPrefix>& grants,
                                const Outside& outside, std::time_t now);

/// The configuration for radvd.conf(5). No lifetime in it goes beyond that of the prefix, if it is
/// made anew every kRenewal seconds; one that is near its end counts down.
std::string RadvdConfiguration(const Announcements& announcements, const Outside& outside,
                               std::time_t now);

/// How often whoever announces looks anew, in seconds.
inline constexpr int kRenewal = 600;

/// What was given to Announce last, also before the machine was started anew.
Announcements FormerAnnouncements();

/// The LANs that radvd has to do with: none when no LAN has a prefix, as it does not run then.
std::set<std::string> LansOf(const Announcements& announcements);

/// Makes radvd announce this, in place of what it has announced; without a prefix that a LAN has it
/// ends, and withdraws all.
/// @return 0, or -1 with a log line
int Announce(const Announcements& announcements, const Outside& outside, std::time_t now);

}  // namespace vexo::network::ipv6::router
