#include "vexonetwork/network/policy_route.h"

#include <vector>

#include <vexobase/log.h>
#include <vlib/exec.h>

#include "network/policy_table.h"
#include "network/table_number.h"

namespace vexonetwork::network {
namespace {

using Arguments = std::vector<std::string>;

constexpr char kPriority[] = "32000";
constexpr int kMostRules = 256;

int RunIp(IPType type, const Arguments& arguments) {
    std::vector<const char*> pointers{type == IPType::V4 ? "-4" : "-6"};
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    pointers.push_back(nullptr);
    return VLIBCExec("/sbin/ip", pointers.data());
}

/// A route that stands already is replaced, so that a table can be enabled twice.
Arguments AddCommand(const PolicyTableRoute& route, const std::string& number) {
    Arguments command{"route", "replace", route.destination};
    const std::pair<const char*, const std::string&> options[] = {
        {"via", route.gateway}, {"dev", route.ifname}, {"metric", route.metric}, {"table", number}};
    for (const auto& [keyword, value] : options) {
        if (!value.empty()) {
            command.insert(command.end(), {keyword, value});
        }
    }
    return command;
}

int AddRoutes(IPType type, const std::vector<PolicyTableRoute>& routes, const std::string& number) {
    int result = 0;
    for (const PolicyTableRoute& route : routes) {
        if (RunIp(type, AddCommand(route, number)) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to add route [%s] via [%s] dev [%s] to table [%s]",
                     route.destination.c_str(), route.gateway.c_str(), route.ifname.c_str(),
                     number.c_str());
            result = -1;
        }
    }
    return result;
}

int AddRule(IPType type, const std::string& source, const std::string& number) {
    const Arguments rule{"from", source, "lookup", number, "priority", kPriority};
    Arguments add{"rule", "add"};
    add.insert(add.end(), rule.begin(), rule.end());
    if (RunIp(type, add) == 0) {
        return 0;
    }
    // The kernel refuses the twin of a rule that stands, in no way that ip's status tells from
    // other refusals: the rule is made anew.
    Arguments remove{"rule", "del"};
    remove.insert(remove.end(), rule.begin(), rule.end());
    if (RunIp(type, remove) == 0 && RunIp(type, add) == 0) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "Failed to add rule from [%s] to table [%s]", source.c_str(), number.c_str());
    return -1;
}

bool IsSource(IPType type, const std::string& source) {
    return source == "all" || IsPrefix(type, source);
}

}  // namespace

int PolicyRoute::DisableTable(IPType type, const std::string& table) {
    if (!IsTableName(table)) {
        VEXO_LOG(LOG_ERR, "Bad table [%.32s]", table.c_str());
        return -1;
    }
    const auto found = FindTableNumber(table);
    if (!found) {
        return 0;
    }
    const std::string number = std::to_string(*found);
    int status = 0;
    for (int rules = 0; rules < kMostRules && status == 0; ++rules) {
        status = RunIp(type, {"rule", "del", "lookup", number});
    }
    const int flushed = RunIp(type, {"route", "flush", "table", number});
    // 2 is what ip answers when there is no further rule, and for a table that was never filled.
    if (status != 2 || (flushed != 0 && flushed != 2)) {
        VEXO_LOG(LOG_ERR, "Failed to disable table [%s]", table.c_str());
        return -1;
    }
    return 0;
}

int PolicyRoute::EnableTable(IPType type, const std::string& table, const std::string& source) {
    if (!IsTableName(table) || !IsSource(type, source)) {
        VEXO_LOG(LOG_ERR, "Bad table [%.32s] or source [%.64s]", table.c_str(), source.c_str());
        return -1;
    }
    const PolicyTable contents = ReadPolicyTable(type, table);
    if (contents.routes.empty()) {
        return contents.malformed ? -1 : 0;
    }
    const auto number = AllotTableNumber(table);
    if (!number) {
        return -1;
    }
    // Routes first, so that no packet is sent to a table that is filled in part.
    const int routes = AddRoutes(type, contents.routes, std::to_string(*number));
    const int rule = AddRule(type, source, std::to_string(*number));
    return routes != 0 || rule != 0 || contents.malformed ? -1 : 0;
}

}  // namespace vexonetwork::network
