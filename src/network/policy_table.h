#pragma once

#include <string>
#include <vector>

#include <vexonetwork/network/policy_route.h>

namespace vexonetwork::network {

/// One route of a policy table, its texts checked and fit to be arguments.
struct PolicyTableRoute {
    std::string destination;
    std::string gateway;  ///< empty: by the device alone
    std::string ifname;   ///< empty: the one that reaches the gateway
    std::string metric;   ///< empty: the kernel's own
};

struct PolicyTable {
    std::vector<PolicyTableRoute> routes;  ///< of the family asked for, in file order
    bool malformed = false;                ///< a section was left out
};

/// Reads one family's routes of a table. Malformed sections are logged by name; a missing file
/// is an empty table.
PolicyTable ReadPolicyTable(IPType type, const std::string& table);

/// Whether the text is an address of the family, or one with a prefix length.
bool IsPrefix(IPType type, const std::string& text);

}  // namespace vexonetwork::network
