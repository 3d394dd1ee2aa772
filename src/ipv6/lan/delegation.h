#pragma once

#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vexobase/ip_prefix.h>

namespace vexo::network::ipv6::router {

/// Until when a prefix may be used, in seconds since 1970.
struct Lifetimes {
    static constexpr std::time_t kForever = std::numeric_limits<std::time_t>::max();

    std::time_t preferredUntil = kForever;  ///< new connections take addresses of others from then
    std::time_t validUntil = kForever;

    bool operator==(const Lifetimes&) const = default;
};

/// A prefix that a provider has delegated.
struct Delegation {
    vexobase::IpPrefix prefix;  ///< with room for a /64
    Lifetimes until;

    bool operator==(const Delegation&) const = default;
};

/// Until when a network may be used, by the prefix that it is a part of.
/// @return nothing when it is no part of one
std::optional<Lifetimes> LifetimesOf(const vexobase::IpPrefix& network,
                                     const std::vector<Delegation>& prefixes);

/// What a DHCPv6 client has told in its file.
struct Told {
    std::vector<Delegation> prefixes;      ///< none when it holds none
    std::vector<std::string> nameServers;  ///< in canonical form, at most three

    bool operator==(const Told&) const = default;
};

/// One moment by both clocks, in seconds.
struct Moment {
    std::time_t since1970 = 0;
    std::time_t sinceBoot = 0;

    static Moment Now();
};

/// Reads a client's file: lines "ADDRESS/LENGTH PREFERRED VALID", whose times are seconds since the
/// boot or "forever", "dns ADDRESS...", and "none". Of more than eight prefixes the first count;
/// what is none is left out with a log line.
/// @param path  for the log
/// @return nothing when no line makes sense
std::optional<Told> ReadTold(std::string_view text, const Moment& moment, const std::string& path);

/// What the client of a WAN has told; nothing before it has told anything.
/// @param wan  an interface
std::optional<Told> ToldByClient(const std::string& wan);

/// The prefix that LANs are to have: one whose addresses are preferred before one that is on its
/// way out, then the one that they have, the one preferred longest, the largest, and the one valid
/// longest.
/// @param current  the one that they have
/// @return none when none is valid
vexobase::IpPrefix BestPrefix(const std::vector<Delegation>& prefixes,
                              const vexobase::IpPrefix& current, std::time_t now);

}  // namespace vexo::network::ipv6::router
