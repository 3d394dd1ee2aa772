#include "network/policy/stored_gateways.h"

#include <algorithm>

#include "network/gateway_family.h"

namespace vexonetwork::network {
namespace {

using module::kGatewayDatabase;
using module::kGatewayFamilies;

const module::GatewayFamily& WordsOf(int family) {
    return kGatewayFamilies[family == AF_INET ? 0 : 1];
}

SectionFile ReadOrEmpty(const std::string& path) {
    return SectionFile::Read(path).value_or(SectionFile());
}

}  // namespace

StoredGateways::StoredGateways()
    : listV4(ReadOrEmpty(WordsOf(AF_INET).priorityFile)),
      listV6(ReadOrEmpty(WordsOf(AF_INET6).priorityFile)),
      database(ReadOrEmpty(kGatewayDatabase)) {}

std::optional<Address> StoredGateways::Find(int family, const std::string& ifname) const {
    const SectionFile& list = family == AF_INET ? listV4 : listV6;
    for (const Section& entry : list.sections) {
        if (entry.Value("ifname") == ifname) {
            return ParseAddress(family, entry.Value("gateway"));
        }
    }
    const auto stored = std::ranges::find(database.sections, ifname, &Section::Name);
    return stored == database.sections.end()
               ? std::nullopt
               : ParseAddress(family, stored->Value(WordsOf(family).gatewayKey));
}

std::vector<std::string> StoredGateways::Interfaces() const {
    std::vector<std::string> names;
    for (const SectionFile* list : {&listV4, &listV6}) {
        for (const Section& entry : list->sections) {
            const std::string ifname = entry.Value("ifname");
            if (std::ranges::find(names, ifname) == names.end()) {
                names.push_back(ifname);
            }
        }
    }
    return names;
}

const std::vector<std::string>& StoredGateways::Files() {
    static const std::vector<std::string> kFiles{WordsOf(AF_INET).priorityFile,
                                                 WordsOf(AF_INET6).priorityFile, kGatewayDatabase};
    return kFiles;
}

}  // namespace vexonetwork::network
