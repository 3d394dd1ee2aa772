#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdio>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/utils.h>
#include <vlib/net.h>

namespace vexonetwork::network {

bool IsEthernetLinkDetected(const std::string& ifname) {
    const vexobase::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        VEXO_LOG(LOG_ERR, "Failed create socket datagram");
        return false;
    }
    ifreq request{};
    const int length =
        std::snprintf(request.ifr_name, sizeof request.ifr_name, "%s", ifname.c_str());
    // Differs only for a name with a NUL inside; a name that is too long is cut on purpose.
    if (length < 0 || static_cast<std::size_t>(length) != ifname.size()) {
        VEXO_LOG(LOG_ERR, "Failed to copy interface name %s", ifname.c_str());
        return false;
    }
    if (::ioctl(fd.Get(), SIOCGIFFLAGS, &request) < 0) {
        VEXO_LOG(LOG_ERR, "Failed get interface flags for %s", ifname.c_str());
        return false;
    }
    constexpr int kWanted = IFF_UP | IFF_RUNNING;
    return (request.ifr_flags & kWanted) == kWanted;
}

int GetSubnetFormat(const std::string& ip, const std::string& mask, std::string& subnet) {
    char input[1024] = {};
    char output[1024] = {};
    (ip + "/" + mask).copy(input, sizeof input - 1);
    if (ErrVLIBIpMaskToSubnet(input, output) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to translate to ip/mask format to a subnet format.");
        return -1;
    }
    subnet = output;
    return 0;
}

}  // namespace vexonetwork::network
