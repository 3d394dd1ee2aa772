#include "network/routing/links.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace vexonetwork::network {

const LinkState& Links::Find(const std::string& ifname) {
    auto found = known.find(ifname);
    if (found == known.end()) {
        found = known.emplace(ifname, Ask(ifname)).first;
    }
    return found->second;
}

LinkState Links::Ask(const std::string& ifname) {
    if (!socket) {
        socket.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }
    ifreq request{};
    if (ifname.size() >= sizeof request.ifr_name) {
        return {};
    }
    ifname.copy(request.ifr_name, sizeof request.ifr_name - 1);
    if (::ioctl(socket.Get(), SIOCGIFFLAGS, &request) != 0) {
        return {};
    }
    const bool isUp = (request.ifr_flags & IFF_UP) != 0;
    if (::ioctl(socket.Get(), SIOCGIFINDEX, &request) != 0) {
        return {};
    }
    return {static_cast<unsigned>(request.ifr_ifindex), isUp};
}

}  // namespace vexonetwork::network
