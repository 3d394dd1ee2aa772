#include <vexobase/log.h>
#include <vexonetwork/hook/ipv6_add_delete_event.h>

#include "hook/plugin_event.h"

namespace vexonetwork::hook {

int IPv6AddDeleteEvent(const std::string& ifname, const std::string& origin,
                       const std::string& changed, const std::string& action) {
    const bool isAdd = action == "add";
    if (!isAdd && action != "delete") {
        VEXO_LOG(LOG_ERR, "Unknown action [%s] of an address event of [%s]", action.c_str(),
                 ifname.c_str());
        return -1;
    }
    const auto isLink = LinkWord(ifname);
    if (!isLink) {
        VEXO_LOG(LOG_ERR, "error on link detect");
        return -1;
    }
    return RunPluginEvent(isAdd ? "ipv6_add" : "ipv6_delete",
                          {{isAdd ? "NEW_ADDRESSES" : "DELETE_ADDRESSES", changed},
                           {"IFNAME", ifname},
                           {"ORIGIN_ADDRESSES", origin},
                           {"IS_LINK", *isLink}});
}

}  // namespace vexonetwork::hook
