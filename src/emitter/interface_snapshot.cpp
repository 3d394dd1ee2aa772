#include "emitter/interface_snapshot.h"

#include <net/if.h>

#include <map>

#include <vexonetlink/snapshot.h>

namespace vexonetwork {
namespace {

using vexonetlink::InterfaceAddress;

AddressEvent ToEvent(const InterfaceAddress& address, const std::string& ifname) {
    return {.index = address.index,
            .family = address.family,
            .ifname = address.label.empty() ? ifname : address.label,
            .address = ToText(address.local),
            .prefix = address.prefixLength,
            .isNew = true};
}

}  // namespace

std::optional<InterfaceSnapshot> ReadInterfaces() {
    const auto kernel = vexonetlink::TakeSnapshot();
    if (!kernel) {
        return std::nullopt;
    }
    InterfaceSnapshot snapshot;
    std::map<unsigned, std::string> names;
    for (const vexonetlink::Link& link : kernel->links) {
        names[link.index] = link.ifname;
        snapshot.links.push_back({link.index, link.ifname, link.flags});
    }
    for (const InterfaceAddress& address : kernel->addresses) {
        // Of an interface that came after the links were read, a message will tell.
        const auto name = names.find(address.index);
        if (name != names.end() && address.local) {
            snapshot.addresses.push_back(ToEvent(address, name->second));
        }
    }
    return snapshot;
}

std::string KernelName(unsigned index) {
    char name[IF_NAMESIZE] = "";
    return index != 0 && ::if_indextoname(index, name) != nullptr ? name : "";
}

}  // namespace vexonetwork
