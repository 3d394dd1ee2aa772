#include <vexobase/log.h>
#include <vexonetwork/hook/ip_change_event.h>

#include "hook/plugin_event.h"

namespace vexonetwork::hook {

int NetIPChangeEvent(_tag_IPTYPE type, const std::string& ifname, const std::string& origin,
                     const std::string& newAddress, int prefixLength) {
    const auto isLink = LinkWord(ifname);
    if (!isLink) {
        VEXO_LOG(LOG_ERR, "error on link detect");
        return -1;
    }
    return RunPluginEvent(type == IPTYPE_V6 ? "ipv6_change" : "ipv4_change",
                          {{"IFNAME", ifname},
                           {"ORIGIN_ADDRESS", origin},
                           {"NEW_ADDRESS", newAddress},
                           {"PREFIX_LENGTH", std::to_string(prefixLength)},
                           {"IS_LINK", *isLink}});
}

}  // namespace vexonetwork::hook
