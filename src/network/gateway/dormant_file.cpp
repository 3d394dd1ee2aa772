#include "network/gateway/dormant_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <map>
#include <string>
#include <utility>

#include <vexonetwork/utils/config.h>
#include <vlib/file.h>

#include "network/gateway/gateway_family.h"
#include "network/gateway/gateway_section.h"
#include "network/interface_name.h"
#include "network/parse_number.h"

#define VEXO_LOG_SOURCE "route_module"
#include <vexobase/log.h>

namespace vexonetwork::network::module {
namespace {

/// Another text after each boot of the machine (random(4)).
std::string BootId() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(file, id);
    return id;
}

unsigned NumberOf(const utils::KeyValueMap& pairs, const std::string& key) {
    return ParseNumber(ValueOf(pairs, key)).value_or(0);
}

}  // namespace

void LoadDormant(GATEWAY_TYPE type, GatewayList& list) {
    const char* path = FindFamily(type)->dormantFile;
    utils::ConfigSection file(path);
    if (VLIBCFileExist(path) != 1 || LoadSections(file) != 0) {
        return;
    }
    const std::string boot = BootId();
    std::multimap<unsigned, GatewayList::Slot> byPosition;
    for (const auto& [section, pairs] : file.GetKeyValues()) {
        GatewayList::Slot slot{ToEntry(pairs), true,
                               std::min(NumberOf(pairs, "boots"), kMaxBootsAsleep)};
        slot.boots += ValueOf(pairs, "boot") != boot ? 1 : 0;
        if (slot.boots > kMaxBootsAsleep) {
            VEXO_LOG(LOG_INFO, "Interface [%s] has no link since %u boots, forget it",
                     slot.entry.ifname.c_str(), kMaxBootsAsleep);
        } else if (IsInterfaceName(slot.entry.ifname)) {
            byPosition.emplace(NumberOf(pairs, "position"), std::move(slot));
        }
    }
    for (const auto& [position, slot] : byPosition) {
        list.AddDormant(slot.entry, position, slot.boots);
    }
}

void StoreDormant(GATEWAY_TYPE type, const GatewayList& list) {
    const char* path = FindFamily(type)->dormantFile;
    const bool isThere = VLIBCFileExist(path) == 1;
    if (list.Size() == list.Slots().size()) {
        if (isThere && ::unlink(path) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to remove file [%s]", path);
        }
        return;
    }
    const std::string boot = BootId();
    utils::ConfigSection file(path);
    for (std::size_t i = 0; i < list.Slots().size(); ++i) {
        const GatewayList::Slot& slot = list.Slots()[i];
        if (slot.isDormant) {
            const std::string& section = slot.entry.ifname;
            AddEntry(section, slot.entry, file);
            file.AddKeyValue(section, "position", std::to_string(i));
            file.AddKeyValue(section, "boots", std::to_string(slot.boots));
            file.AddKeyValue(section, "boot", boot);
        }
    }
    utils::ConfigSection stored(path);
    if (!isThere || stored.Read() != 0 || stored.GetKeyValues() != file.GetKeyValues()) {
        StoreSections(file);
    }
}

}  // namespace vexonetwork::network::module
