#include "network/gateway/gateway_section.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {

int LoadSections(utils::ConfigSection& file) {
    if (file.Read() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to read config [%s]", file.GetNameCString());
        return -1;
    }
    return 0;
}

int StoreSections(utils::ConfigSection& file) {
    if (file.Write() != 0) {
        VEXO_LOG(LOG_ERR, "Failed to set file[%s]", file.GetNameCString());
        return -1;
    }
    return 0;
}

std::string ValueOf(const utils::KeyValueMap& pairs, const std::string& key) {
    const auto pair = pairs.find(key);
    return pair == pairs.end() ? std::string() : pair->second;
}

GatewayInfo ToEntry(const utils::KeyValueMap& pairs) {
    GatewayInfo entry;
    entry.ifname = ValueOf(pairs, "ifname");
    entry.interfaceClass = ValueOf(pairs, "class");
    entry.gateway = ValueOf(pairs, "gateway");
    entry.dns = ValueOf(pairs, "dns");
    entry.slave = ValueOf(pairs, "slave") == "yes";
    return entry;
}

void AddEntry(const std::string& section, const GatewayInfo& entry, utils::ConfigSection& file) {
    file.AddKeyValue(section, "ifname", entry.ifname);
    file.AddKeyValue(section, "gateway", entry.gateway.ToString());
    file.AddKeyValue(section, "dns", entry.dns.ToString());
    file.AddKeyValue(section, "slave", entry.slave);
    file.AddKeyValue(section, "class", entry.interfaceClass);
}

}  // namespace vexonetwork::network::module
