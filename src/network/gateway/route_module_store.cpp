// The files of the gateway lists.

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <vexo/dns.h>
#include <vexo/net_interface.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/config.h>
#include <vlib/file.h>

#include "network/gateway/dormant_file.h"
#include "network/gateway/gateway_database.h"
#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_section.h"
#include "network/interface_name.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

/// @param isWanted  of a slot
template <typename IsWanted>
std::string ResolverText(const GatewayList& list, const IsWanted& isWanted) {
    std::string text;
    for (const GatewayList::Slot& slot : list.Slots()) {
        if (isWanted(slot) && !slot.entry.dns.IsEmpty()) {
            text += "nameserver " + slot.entry.dns.ToString() + "\n";
        }
    }
    return text;
}

std::string ResolverText(const GatewayList& list) {
    return ResolverText(list, [](const GatewayList::Slot& slot) { return !slot.isDormant; });
}

/// "" for a file that is not there. By a stream's operator: an iterator throws for a folder.
std::string ReadText(const char* path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void UpdateSystemResolver() {
    if (VLIBCFileCheckKeyValue("/etc/vexoinfo.conf", "dns_mode", "auto", 1) == 1) {
        VEXONetDNSUpdate_S();
    }
}

/// Wakes who has a link by now.
/// @return whether anybody was woken
bool WakeLinked(GatewayList& list) {
    std::vector<std::string> linked;
    for (const GatewayList::Slot& slot : list.Slots()) {
        if (slot.isDormant && VEXONetIfIsLink(slot.entry.ifname.c_str()) >= 1) {
            linked.push_back(slot.entry.ifname);
        }
    }
    for (const std::string& ifname : linked) {
        list.Wake(ifname);
    }
    return !linked.empty();
}

}  // namespace

int RouteModule::ReadGatewayListFromFile(GATEWAY_TYPE gatewayType) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to read config");
        return -1;
    }
    if (VLIBCFileExist(family->priorityFile) != 1) {
        return 0;
    }
    utils::ConfigSection file(family->priorityFile);
    if (LoadSections(file) != 0) {
        return -1;
    }
    // The tenth and later entries come after the first, as their names do; the appliance's
    // support knows the order of long lists after a start this way.
    GatewayList& gateways = GatewaysOf(gatewayType);
    for (const auto& [section, pairs] : file.GetKeyValues()) {
        const GatewayInfo entry = ToEntry(pairs);
        if (VEXONetIfIsLink(entry.ifname.c_str()) >= 1) {
            gateways.Append(entry);
            continue;
        }
        VEXO_LOG(LOG_INFO, "Interface [%s] is not up, skip it", entry.ifname.c_str());
        if (IsInterfaceName(entry.ifname)) {
            gateways.AddDormant(entry, gateways.Slots().size());
        }
    }
    return 0;
}

/// Completes a list at the start by what sleeps, and mends what a kill has left between two files.
void RouteModule::Settle(GATEWAY_TYPE list, bool isRead) {
    GatewayList& gateways = GatewaysOf(list);
    const bool isThere = VLIBCFileExist(FindFamily(list)->priorityFile) == 1;
    // Who has just fallen asleep is still in both files.
    const std::string stored = ResolverText(gateways, [](const auto&) { return true; });
    if (isThere) {
        LoadDormant(list, gateways);
    }
    StoreDormant(list, gateways);
    if (WakeLinked(gateways)) {
        StoreListAndResolver(list);
        return;
    }
    if (!isThere || !isRead) {
        return;
    }
    const std::string resolver = ReadText(FindFamily(list)->resolverFile);
    if (resolver != stored && resolver != ResolverText(gateways)) {
        WriteDnsFile(list);
    } else if (!resolver.empty()) {
        UpdateSystemResolver();
    }
}

/// The priority file goes first: who is in both files is awake.
int RouteModule::StoreList(GATEWAY_TYPE list) {
    if (WriteGatewayListToFile(list) != 0) {
        return -1;
    }
    StoreDormant(list, GatewaysOf(list));
    return 0;
}

int RouteModule::StoreListAndResolver(GATEWAY_TYPE list) {
    return StoreList(list) != 0 || WriteDnsFile(list) != 0 ? -1 : 0;
}

int RouteModule::WriteGatewayListToFile(GATEWAY_TYPE gatewayType) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    utils::ConfigSection file(family->priorityFile);
    std::size_t index = 0;
    for (const GatewayInfo& entry : GatewaysOf(gatewayType).Awake()) {
        AddEntry(std::to_string(index++), entry, file);
    }
    return StoreSections(file);
}

int RouteModule::WriteGatewayToDatabase(GATEWAY_TYPE gatewayType, bool gateway, bool dns) {
    if (FindFamily(gatewayType) == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    return GatewayDatabase().Store(gatewayType, GatewaysOf(gatewayType).Awake(), gateway, dns);
}

int RouteModule::WriteDnsFile(GATEWAY_TYPE gatewayType) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    const std::string text = ResolverText(GatewaysOf(gatewayType));
    // Like the other gateway files, which a power cut may leave as they were before the request.
    if (vexobase::ReplaceFile(family->resolverFile, text, vexobase::FolderSync::kLater) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to open file[%s]", family->resolverFile);
        return -1;
    }
    UpdateSystemResolver();
    return 0;
}

int RouteModule::IsDatabaseChanged(const std::string& section, const std::string& key,
                                   const std::string& value) {
    return GatewayDatabase().IsChanged(section, key, value);
}

}  // namespace vexonetwork::network::module
