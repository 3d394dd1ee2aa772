#include <vexo/ipv6_conf.h>
#include <vexo/net_interface.h>
#include <vexobase/log.h>
#include <vexonetwork/ipv6/router/router6_base.h>
#include <vexonetwork/ipv6/router/router6_lock.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

bool Router6Base::operator==(const Router6Base& other) const {
    return attr == other.attr;
}

bool Router6Base::operator!=(const Router6Base& other) const {
    return !(attr == other.attr);
}

bool Router6Base::Create() const {
    const Router6Lock lock;
    const bool saved = lock && attr.SaveConfig() == 0;
    const bool marked = SetSysConfig(true);
    return saved && marked;
}

bool Router6Base::Destroy() const {
    if (keepsConfiguration) {
        return true;
    }
    // What is to go, goes also when the lock cannot be had.
    const Router6Lock lock;
    const bool removed = attr.RemoveConfig() == 0;
    const bool unmarked = SetSysConfig(false);
    return removed && unmarked;
}

bool Router6Base::ValidateAttr() const {
    constexpr char kForwarding[] = "/proc/sys/net/ipv6/conf/all/forwarding";
    const std::string wan = Wan();
    if (!HasFiles(wan)) {
        VEXO_LOG(LOG_ERR, "No interface can have the name [%s]", wan.c_str());
        return false;
    }
    if (VEXONetIsDevTypeMatch(wan.c_str(), VEXO_DEV_ETHERNET) == 1
        && VEXOLnxIPv6ProcAction(wan.c_str(), VEXO_IPV6_ENABLE) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to enable IPv6 on dev [%s]", wan.c_str());
        return false;
    }
    if (!vexonetwork::utils::SetProcEntry(kForwarding, "1")) {
        VEXO_LOG(LOG_ERR, "Failed to enable IPv6 forwarding in [%s]", kForwarding);
        return false;
    }
    return true;
}

bool Router6Base::SetSysConfig(bool router) const {
    constexpr char kKey[] = "IPV6ROUTER";
    const std::string wan = Wan();
    if (wan.empty()) {
        VEXO_LOG(LOG_INFO, "Empty wan, skip");
        return true;
    }
    if (!HasFiles(wan)) {
        VEXO_LOG(LOG_ERR, "No interface can have the name [%s]", wan.c_str());
        return false;
    }
    const std::string path = "/etc/sysconfig/network-scripts/ifcfg-" + wan;
    const char* value = router ? "yes" : "no";
    if (VLIBCFileSetKeyValue(path.c_str(), kKey, value, "%s=%s\n") < 0) {
        VEXO_LOG(LOG_ERR, "Failed to set %s=%s in %s", kKey, value, path.c_str());
        return false;
    }
    return true;
}

}  // namespace vexo::network::ipv6::router
