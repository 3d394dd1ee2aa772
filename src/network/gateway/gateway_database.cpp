#include "network/gateway/gateway_database.h"

#include <vlib/exec.h>
#include <vlib/file.h>

#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_section.h"

namespace vexonetwork::network::module {

int GatewayDatabase::Load() {
    const FileStamps now({kGatewayDatabase});
    if (isRead && now == read) {
        return 0;
    }
    file = utils::ConfigSection(kGatewayDatabase);
    isRead = LoadSections(file) == 0;
    if (!isRead) {
        return -1;
    }
    read = now;
    // To be looked into: what the file is asked for and lacks, it would get.
    sections = file.GetKeyValues();
    return 0;
}

int GatewayDatabase::IsChanged(const std::string& section, const std::string& key,
                               const std::string& value) {
    if (VLIBCFileExist(kGatewayDatabase) != 1) {
        return 1;
    }
    if (Load() != 0) {
        return -1;
    }
    const auto pairs = sections.find(section);
    return pairs != sections.end() && ValueOf(pairs->second, key) == value ? 0 : 1;
}

int GatewayDatabase::Store(GATEWAY_TYPE list, const std::vector<GatewayInfo>& entries, bool gateway,
                           bool dns) {
    if (VLIBCFileExist(kGatewayDatabase) != 1) {
        const char* const arguments[] = {kGatewayDatabase, nullptr};
        VLIBCExec_S("/bin/touch", arguments);
    }
    if (Load() != 0) {
        return -1;
    }
    isRead = false;
    const GatewayFamily& family = *FindFamily(list);
    for (const GatewayInfo& entry : entries) {
        if (gateway) {
            file.AddKeyValue(entry.ifname, family.gatewayKey, entry.gateway.ToString());
        }
        if (dns) {
            file.AddKeyValue(entry.ifname, family.dnsKey, entry.dns.ToString());
        }
    }
    return StoreSections(file);
}

}  // namespace vexonetwork::network::module
