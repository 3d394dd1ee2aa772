#include "ipv6/lan/lan_mark.h"

#include <net/if.h>

#include <vexo/ipv6_conf.h>
#include <vexobase/log.h>
#include <vlib/file.h>

#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

int Mark(const std::string& lan, const char* value) {
    constexpr char kKey[] = "IPV6ROUTER";
    if (!HasFiles(lan)) {
        return -1;
    }
    const std::string path = "/etc/sysconfig/network-scripts/ifcfg-" + lan;
    if (::VLIBCFileCheckKeyValue(path.c_str(), kKey, value, 1) == 1) {
        return 0;
    }
    if (::VLIBCFileSetKeyValue(path.c_str(), kKey, value, "%s=%s\n") < 0 || ApplyMethod(lan) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to set %s=%s of interface [%s]", kKey, value, lan.c_str());
        return -1;
    }
    return 0;
}

}  // namespace

int ApplyMethod(const std::string& ifname) {
    int method = 0;
    if (::if_nametoindex(ifname.c_str()) == 0
        || ::VEXONetIPv6ConfGet(ifname.c_str(), &method, nullptr, 0, nullptr, nullptr, 0) != 0
        || method == VEXO_IPV6_OFF || method == VEXO_IPV6_MANUAL) {
        return 0;
    }
    return ::VEXONetIPv6ConfSet(method, ifname.c_str(), nullptr, 0, nullptr);
}

int MarkLans(const std::set<std::string>& lans, bool announced) {
    int result = 0;
    for (const std::string& lan : lans) {
        result |= Mark(lan, announced ? "yes" : "no");
    }
    return result;
}

}  // namespace vexo::network::ipv6::router
