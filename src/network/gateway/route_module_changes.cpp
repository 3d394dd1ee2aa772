// The requests that change a gateway list.

#include <algorithm>
#include <cstdint>
#include <utility>

#include <vexo/change_hook.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_request.h"
#include "utils/sz_containers.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

using Gateways = std::vector<GatewayInfo>;

Gateways::iterator Find(Gateways& gateways, const std::string& ifname) {
    return std::ranges::find(gateways, ifname, &GatewayInfo::ifname);
}

/// How an add request turns the list's entry of its interface into another.
struct Addition {
    GatewayInfo entry;
    std::size_t oldIndex = 0;
    std::string oldGateway;
    bool rewriteResolver = false;
};

Addition Plan(const AddRequest& wanted, Gateways& gateways) {
    Addition addition;
    addition.entry.ifname = wanted.ifname;
    const auto old = Find(gateways, wanted.ifname);
    addition.oldIndex = static_cast<std::size_t>(old - gateways.begin());
    if (old != gateways.end()) {
        addition.entry = *old;
        addition.oldGateway = old->gateway.ToString();
    }
    addition.rewriteResolver =
        (wanted.priority != PRIORITY_KEEP && !std::cmp_equal(wanted.priority, addition.oldIndex))
        || (wanted.dns && *wanted.dns != addition.entry.dns.ToString());
    if (wanted.gateway) {
        addition.entry.gateway = *wanted.gateway;
    }
    if (wanted.dns) {
        addition.entry.dns = *wanted.dns;
    }
    addition.entry.interfaceClass = wanted.interfaceClass.value_or(addition.entry.interfaceClass);
    return addition;
}

/// An index past the end means the end, and so does every negative number without a meaning.
void Place(const Addition& addition, int priority, Gateways& gateways) {
    std::erase_if(gateways,
                  [&](const GatewayInfo& entry) { return entry.ifname == addition.entry.ifname; });
    const std::size_t index =
        priority == PRIORITY_KEEP ? addition.oldIndex : static_cast<std::uint32_t>(priority);
    const std::size_t place = std::min(index, gateways.size());
    gateways.insert(gateways.begin() + static_cast<std::ptrdiff_t>(place), addition.entry);
}

/// Tells the rest of the appliance about an addition before and after it is made.
class Announcement {
  public:
    Announcement(const char* protocol, const Addition& addition, bool gateway, bool dns,
                 VLIBSZLIST** dnsServers)
        : protocolWord(protocol), plan(addition), gatewayChanged(gateway), dnsChanged(dns) {
        if (dnsChanged) {
            VLIBCSzListPush(dnsServers, plan.entry.dns.ToCString());
        }
        servers = *dnsServers;
    }

    void Make(int stage) const {
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

int RouteModule::AddGatewayInfo(const Json::Value& request) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type to add info");
        return -1;
    }
    const auto wanted = ReadAddRequest(request);
    if (!wanted) {
        return -1;
    }
    utils::UniqueSzList servers(VLIBCSzListAlloc(512));
    if (!servers) {
        VEXO_LOG(LOG_ERR, "Fail to allocate memory");
        return -1;
    }
    const Addition addition = Plan(*wanted, GatewaysOf(*gatewayType));
    const bool gatewayChanged = IsGatewayConfigChanged(request) > 0;
    const bool dnsChanged = IsDnsConfigChanged(request) > 0;
    const Announcement announcement(FindFamily(*gatewayType)->protocol, addition, gatewayChanged,
                                    dnsChanged, servers.Address());
    announcement.Make(HOOK_STAGE_BEFORE);
    Place(addition, wanted->priority, GatewaysOf(*gatewayType));
    const bool storesAddress = wanted->gateway || wanted->dns;
    if (WriteGatewayListToFile(*gatewayType) != 0
        || (addition.rewriteResolver && WriteDnsFile(*gatewayType) != 0)
        || (storesAddress
            && WriteGatewayToDatabase(*gatewayType, wanted->gateway.has_value(),
                                      wanted->dns.has_value())
                   != 0)) {
        return -1;
    }
    uplink_policy.Follow({addition.entry.ifname});
    RefreshDefaultGateway(request);
    announcement.Make(HOOK_STAGE_AFTER);
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

int RouteModule::DelGatewayInfo(const Json::Value& request) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type to delete info");
        return -1;
    }
    const auto ifname = ReadInterface(request, "ifname");
    if (!ifname) {
        return -1;
    }
    ForgetLeftOut(*gatewayType, *ifname);
    Gateways& gateways = GatewaysOf(*gatewayType);
    const auto entry = Find(gateways, *ifname);
    bool hadDns = false;
    if (entry != gateways.end()) {
        hadDns = !entry->dns.IsEmpty();
        gateways.erase(entry);
    }
    if (WriteGatewayListToFile(*gatewayType) != 0 || (hadDns && WriteDnsFile(*gatewayType) != 0)) {
        return -1;
    }
    uplink_policy.Follow({*ifname});
    RefreshDefaultGateway(request);
    return 0;
}

int RouteModule::SetSlaveForGatewayInfo(const Json::Value& request) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        // What support tools know this line by, although nothing is deleted.
        VEXO_LOG(LOG_ERR, "Unknown type to delete info");
        return -1;
    }
    const auto ifname = ReadInterface(request, "ifname");
    const auto slave = ifname ? ReadFlag(request, "slave") : std::nullopt;
    if (!slave) {
        return -1;
    }
    Gateways& gateways = GatewaysOf(*gatewayType);
    const auto entry = Find(gateways, *ifname);
    if (entry == gateways.end()) {
        return 0;
    }
    entry->slave = *slave;
    if (*slave) {
        std::rotate(entry, entry + 1, gateways.end());
    }
    return WriteGatewayListToFile(*gatewayType) != 0 || WriteDnsFile(*gatewayType) != 0 ? -1 : 0;
}

int RouteModule::CopyGatewayData(const Json::Value& request) {
    const auto gatewayType = ReadType(request);
    if (!gatewayType) {
        VEXO_LOG(LOG_ERR, "Unknown type to get data");
        return -1;
    }
    const auto source = ReadInterface(request, "interface_source");
    const auto destination =
        source ? ReadInterface(request, "interface_destination") : std::nullopt;
    const auto deletesSource =
        destination ? ReadFlag(request, "interface_source_delete") : std::nullopt;
    if (!deletesSource) {
        return -1;
    }
    Gateways& gateways = GatewaysOf(*gatewayType);
    std::erase_if(gateways, [&](const GatewayInfo& entry) { return entry.ifname == *destination; });
    auto entry = Find(gateways, *source);
    if (entry != gateways.end()) {
        GatewayInfo copy = *entry;
        copy.ifname = *destination;
        if (*deletesSource) {
            *entry = copy;
        } else {
            gateways.insert(entry, copy);
        }
    }
    if (WriteGatewayListToFile(*gatewayType) != 0 || WriteDnsFile(*gatewayType) != 0
        || WriteGatewayToDatabase(*gatewayType, true, true) != 0) {
        return -1;
    }
    uplink_policy.Follow({*source, *destination});
    return 0;
}

}  // namespace vexonetwork::network::module
