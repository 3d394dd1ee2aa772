// The files of the gateway lists.

#include <algorithm>

#include <vexo/dns.h>
#include <vexo/net_interface.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "network/gateway/gateway_family.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

GatewayInfo ToEntry(const std::map<std::string, std::string>& pairs) {
    const auto value = [&pairs](const char* key) {
        const auto pair = pairs.find(key);
        return pair == pairs.end() ? std::string() : pair->second;
    };
    GatewayInfo entry;
    entry.ifname = value("ifname");
    entry.interfaceClass = value("class");
    entry.gateway = value("gateway");
    entry.dns = value("dns");
    entry.slave = value("slave") == "yes";
    return entry;
}

int Load(utils::ConfigSection& file) {
    if (file.Read() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to read config [%s]", file.GetNameCString());
        return -1;
    }
    return 0;
}

int Store(utils::ConfigSection& file) {
    if (file.Write() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to set file[%s]", file.GetNameCString());
        return -1;
    }
    return 0;
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
    if (Load(file) != 0) {
        return -1;
    }
    // The tenth and later entries come after the first, as their names do; the appliance's
    // support knows the order of long lists after a start this way.
    std::size_t place = 0;
    for (const auto& [section, pairs] : file.GetKeyValues()) {
        GatewayInfo entry = ToEntry(pairs);
        ++place;
        if (VEXONetIfIsLink(entry.ifname.c_str()) < 1) {
            VEXO_LOG(LOG_INFO, "Interface [%s] is not up, skip it", entry.ifname.c_str());
            left_out.push_back({gatewayType, place - 1, std::move(entry)});
            continue;
        }
        GatewaysOf(gatewayType).push_back(std::move(entry));
    }
    return 0;
}

int RouteModule::RestoreGatewayData(const Json::Value& request) {
    Restore(utils::GetString(request, "ifname").value_or(""));
    return 0;
}

/// The switch behind the cable may need longer to start than the appliance.
void RouteModule::Restore(const std::string& ifname) {
    for (const LeftOut& each : left_out) {
        Gateways& gateways = GatewaysOf(each.list);
        const bool isListed =
            std::ranges::find(gateways, each.entry.ifname, &GatewayInfo::ifname) != gateways.end();
        if (each.entry.ifname == ifname && !isListed) {
            const auto place = std::min(each.place, gateways.size());
            gateways.insert(gateways.begin() + static_cast<std::ptrdiff_t>(place), each.entry);
        }
    }
    ForgetLeftOut(GTYPE_V4, ifname);
    ForgetLeftOut(GTYPE_V6, ifname);
}

void RouteModule::ForgetLeftOut(GATEWAY_TYPE list, const std::string& ifname) {
    std::erase_if(left_out, [&](const LeftOut& each) {
        return each.list == list && each.entry.ifname == ifname;
    });
}

int RouteModule::WriteGatewayListToFile(GATEWAY_TYPE gatewayType) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    utils::ConfigSection file(family->priorityFile);
    std::size_t index = 0;
    for (const GatewayInfo& entry : GatewaysOf(gatewayType)) {
        const std::string section = std::to_string(index++);
        file.AddKeyValue(section, "ifname", entry.ifname);
        file.AddKeyValue(section, "gateway", entry.gateway.ToString());
        file.AddKeyValue(section, "dns", entry.dns.ToString());
        file.AddKeyValue(section, "slave", entry.slave);
        file.AddKeyValue(section, "class", entry.interfaceClass);
    }
    return Store(file);
}

int RouteModule::WriteGatewayToDatabase(GATEWAY_TYPE gatewayType, bool gateway, bool dns) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    if (VLIBCFileExist(kGatewayDatabase) != 1) {
        const char* const arguments[] = {kGatewayDatabase, nullptr};
        VLIBCExec_S("/bin/touch", arguments);
    }
    // Read anew each time: the configuration's restore and people change the file too.
    utils::ConfigSection file(kGatewayDatabase);
    if (Load(file) != 0) {
        return -1;
    }
    for (const GatewayInfo& entry : GatewaysOf(gatewayType)) {
        if (gateway) {
            file.AddKeyValue(entry.ifname, family->gatewayKey, entry.gateway.ToString());
        }
        if (dns) {
            file.AddKeyValue(entry.ifname, family->dnsKey, entry.dns.ToString());
        }
    }
    return Store(file);
}

int RouteModule::WriteDnsFile(GATEWAY_TYPE gatewayType) {
    const GatewayFamily* family = FindFamily(gatewayType);
    if (family == nullptr) {
        VEXO_LOG(LOG_ERR, "Unknown type to write config");
        return -1;
    }
    std::string text;
    for (const GatewayInfo& entry : GatewaysOf(gatewayType)) {
        if (!entry.dns.IsEmpty()) {
            text += "nameserver " + entry.dns.ToString() + "\n";
        }
    }
    // Like the other gateway files, which a power cut may leave as they were before the request.
    if (vexobase::ReplaceFile(family->resolverFile, text, vexobase::FolderSync::kLater) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to open file[%s]", family->resolverFile);
        return -1;
    }
    if (VLIBCFileCheckKeyValue("/etc/vexoinfo.conf", "dns_mode", "auto", 1) == 1) {
        VEXONetDNSUpdate_S();
    }
    return 0;
}

int RouteModule::IsDatabaseChanged(const std::string& section, const std::string& key,
                                   const std::string& value) {
    if (VLIBCFileExist(kGatewayDatabase) != 1) {
        return 1;
    }
    utils::ConfigSection file(kGatewayDatabase);
    if (Load(file) != 0) {
        return -1;
    }
    return file.Find(section) && file.GetKeyValue(section, key) == value ? 0 : 1;
}

}  // namespace vexonetwork::network::module
