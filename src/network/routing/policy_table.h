#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/policy_route.h>

#include "network/routing/complaints.h"
#include "network/routing/ip_prefix.h"
#include "network/routing/kernel_route.h"
#include "network/routing/section_file.h"

namespace vexonetwork::network {

constexpr int FamilyOf(IPType type) {
    return type == IPType::V4 ? AF_INET : AF_INET6;
}

/// The name of the table of the static routes.
inline constexpr char kStaticTable[] = "static";

/// One route of a policy table's file.
struct PolicyTableRoute {
    std::string section;
    Prefix destination;
    Address gateway;     ///< none: by the device alone
    std::string ifname;  ///< empty: the one that reaches the gateway
    std::uint32_t metric = 0;
};

/// What a section says: a route, or why it is none.
struct ReadTableRoute {
    std::optional<IPType> type;  ///< known also of many that are no route
    std::optional<PolicyTableRoute> route;
    std::string fault;
};
ReadTableRoute ReadPolicyTableRoute(const Section& section);

struct PolicyTable {
    std::vector<PolicyTableRoute> routes;  ///< of the family asked for, in file order
    bool malformed = false;                ///< a section was left out
};

/// "/etc/iproute2/config/T-table"
std::string PolicyTableFile(const std::string& table);

/// Reads one family's routes of a table. Sections that are no route, or the second one of a
/// destination and metric, are complained of by name, those of no family with IPv4; so are lines
/// without sense. A missing file is an empty table.
/// @return nothing, after a complaint, when it is there and cannot be read
std::optional<PolicyTable> ReadPolicyTable(IPType type, const std::string& table,
                                           Complaints& complaints);

}  // namespace vexonetwork::network
