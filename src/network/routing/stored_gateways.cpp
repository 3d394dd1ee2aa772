#include "network/routing/stored_gateways.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "network/gateway/gateway_family.h"

namespace vexonetwork::network {
namespace {

using module::kGatewayDatabase;
using module::kGatewayFamilies;

const module::GatewayFamily& WordsOf(int family) {
    return kGatewayFamilies[family == AF_INET ? 0 : 1];
}

}  // namespace

StoredGateways::StoredGateways() {
    SectionFile* const parts[] = {&listV4, &listV6, &database};
    for (std::size_t i = 0; i < std::size(parts); ++i) {
        auto file = SectionFile::Read(Files()[i]);
        known = known && file;
        *parts[i] = std::move(file).value_or(SectionFile());
    }
}

std::optional<Address> StoredGateways::Find(int family, const std::string& ifname) const {
    const SectionFile& list = family == AF_INET ? listV4 : listV6;
    for (const Section& entry : list.sections) {
        if (entry.VerbatimValue("ifname") == ifname) {
            return ParseAddress(family, entry.VerbatimValue("gateway"));
        }
    }
    const auto stored = std::ranges::find(database.sections, ifname, &Section::Name);
    return stored == database.sections.end()
               ? std::nullopt
               : ParseAddress(family, stored->VerbatimValue(WordsOf(family).gatewayKey));
}

std::vector<std::string> StoredGateways::Interfaces() const {
    std::vector<std::string> names;
    for (const SectionFile* list : {&listV4, &listV6}) {
        for (const Section& entry : list->sections) {
            const std::string ifname = entry.VerbatimValue("ifname");
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
