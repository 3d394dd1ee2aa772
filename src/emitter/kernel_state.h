#pragma once

#include <map>
#include <optional>
#include <string>

#include <vexonetwork/emitter/address_list.h>

namespace vexonetwork {

/// What the kernel has now, by interface name; IPv4 addresses by their label.
struct KernelState {
    std::map<std::string, unsigned> links;  ///< name and IFF_…
    std::map<std::string, AddressList> ipv4;
    std::map<std::string, AddressList> ipv6;
};

/// Reads all links and addresses of this network namespace (getifaddrs(3)).
/// @return nothing, with errno, when the kernel did not tell
std::optional<KernelState> ReadKernelState();

}  // namespace vexonetwork
