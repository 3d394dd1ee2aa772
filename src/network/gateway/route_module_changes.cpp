// The requests that change a gateway list.

#include <cstddef>
#include <utility>
#include <vector>

#include <vexo/change_hook.h>
#include <vexo/net_interface.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/gateway/gateway_database.h"
#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_request.h"
#include "utils/sz_containers.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

/// How an add request turns the list's entry of its interface into another.
struct Addition {
    GatewayInfo entry;
    std::string oldGateway;
    bool rewriteResolver = false;
};

/// A dormant entry counts as the one that the request replaces, though it has no place.
Addition Plan(const AddRequest& wanted, const GatewayList& gateways) {
    Addition addition;
    addition.entry.ifname = wanted.ifname;
    const GatewayList::Slot* old = gateways.Find(wanted.ifname);
    if (old != nullptr) {
        addition.entry = old->entry;
        addition.oldGateway = old->entry.gateway.ToString();
    }
    const std::size_t oldPlace = gateways.PlaceOf(wanted.ifname).value_or(gateways.Size());
    addition.rewriteResolver =
        (wanted.priority != PRIORITY_KEEP && !std::cmp_equal(wanted.priority, oldPlace))
        || (wanted.dns && *wanted.dns != addition.entry.dns.ToString())
        || (old != nullptr && old->isDormant);
    if (wanted.gateway) {
        addition.entry.gateway = *wanted.gateway;
    }
    if (wanted.dns) {
        addition.entry.dns = *wanted.dns;
    }
    addition.entry.interfaceClass = wanted.interfaceClass.value_or(addition.entry.interfaceClass);
    return addition;
}

/// Tells the rest of the appliance about an addition before and after it is made.
class ChangeHooks {
  public:
    ChangeHooks(const char* protocol, const Addition& addition, bool gateway, bool dns,
                VLIBSZLIST** dnsServers)
        : protocolWord(protocol), plan(addition), gatewayChanged(gateway), dnsChanged(dns) {
        if (dnsChanged) {
            VLIBCSzListPush(dnsServers, plan.entry.dns.ToCString());
        }
        servers = *dnsServers;
    }

    void Run(int stage) const {
        if (gatewayChanged) {
            VEXONetGatewayConfigChangeHook(stage, protocolWord, plan.entry.ifname.c_str(),
                                           plan.oldGateway.c_str(), plan.entry.gateway.ToCString());
        }
        if (dnsChanged) {
            VEXONetDnsConfigChangeHook(stage, plan.entry.ifname.c_str(), servers);
        }
    }

  private:
    const char* protocolWord;
    const Addition& plan;
    bool gatewayChanged;
    bool dnsChanged;
    const VLIBSZLIST* servers = nullptr;
};

}  // namespace

int RouteModule::Serve(const AddRequest& wanted) {
    utils::UniqueSzList servers(VLIBCSzListAlloc(512));
    if (!servers) {
        VEXO_LOG(LOG_ERR, "Fail to allocate memory");
        return -1;
    }
    const GatewayFamily& family = *FindFamily(wanted.list);
    GatewayList& gateways = GatewaysOf(wanted.list);
    const Addition addition = Plan(wanted, gateways);
    GatewayDatabase database;
    const auto isChanged = [&](const char* key, const std::optional<std::string>& value) {
        return value && database.IsChanged(wanted.ifname, key, *value) > 0;
    };
    const bool gatewayChanged = isChanged(family.gatewayKey, wanted.gateway);
    const bool dnsChanged = isChanged(family.dnsKey, wanted.dns);
    const ChangeHooks hooks(family.protocol, addition, gatewayChanged, dnsChanged,
                            servers.Address());
    hooks.Run(HOOK_STAGE_BEFORE);
    gateways.Put(addition.entry, wanted.priority);
    const bool storesAddress = wanted.gateway || wanted.dns;
    if (StoreList(wanted.list) != 0 || (addition.rewriteResolver && WriteDnsFile(wanted.list) != 0)
        || (storesAddress
            && database.Store(wanted.list, gateways.Awake(), wanted.gateway.has_value(),
                              wanted.dns.has_value())
                   != 0)) {
        return -1;
    }
    uplink_policy.Follow({wanted.ifname});
    RunElections(wanted.list);
    hooks.Run(HOOK_STAGE_AFTER);
    return 0;
}

int RouteModule::IsConfigChanged(const Json::Value& request, bool gateway) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type");
        return -1;
    }
    const GatewayFamily& family = *FindFamily(*gatewayType);
    const auto address = utils::GetString(request, gateway ? "gateway" : "dns");
    if (!address || address == "NULL") {
        return 0;
    }
    return IsDatabaseChanged(utils::GetString(request, "ifname").value_or(""),
                             gateway ? family.gatewayKey : family.dnsKey, *address);
}

int RouteModule::IsGatewayConfigChanged(const Json::Value& request) {
    return IsConfigChanged(request, true);
}

int RouteModule::IsDnsConfigChanged(const Json::Value& request) {
    return IsConfigChanged(request, false);
}

int RouteModule::Serve(const EntryRequest& unwanted) {
    GatewayList& gateways = GatewaysOf(unwanted.list);
    const GatewayList::Slot* entry = gateways.Find(unwanted.ifname);
    const bool hadDns = entry != nullptr && !entry->entry.dns.IsEmpty();
    gateways.Erase(unwanted.ifname);
    if (StoreList(unwanted.list) != 0 || (hadDns && WriteDnsFile(unwanted.list) != 0)) {
        return -1;
    }
    uplink_policy.Follow({unwanted.ifname});
    RunElections(unwanted.list);
    return 0;
}

int RouteModule::Serve(const SlaveRequest& wanted) {
    return GatewaysOf(wanted.list).SetSlave(wanted.ifname, wanted.slave)
               ? StoreListAndResolver(wanted.list)
               : 0;
}

int RouteModule::Serve(const CopyRequest& wanted) {
    GatewayList& gateways = GatewaysOf(wanted.list);
    gateways.Copy(wanted.source, wanted.destination, wanted.deletesSource);
    // No event follows for a destination that has its link already.
    if (VEXONetIfIsLink(wanted.destination.c_str()) >= 1) {
        gateways.Wake(wanted.destination);
    }
    std::vector<GatewayInfo> stored = gateways.Awake();
    const GatewayList::Slot* copied = gateways.Find(wanted.destination);
    if (copied != nullptr && copied->isDormant) {
        stored.push_back(copied->entry);  // its waking does not tell the database
    }
    if (StoreListAndResolver(wanted.list) != 0
        || GatewayDatabase().Store(wanted.list, stored, true, true) != 0) {
        return -1;
    }
    uplink_policy.Follow({wanted.source, wanted.destination});
    return 0;
}

}  // namespace vexonetwork::network::module
