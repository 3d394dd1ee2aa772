#include <vexo/net_interface.h>
#include <vexo/systemd.h>
#include <vexobase/log.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/ipv6/router/dhcp_pd.h>

#include "ipv6/lan/lan_mark.h"
#include "ipv6/router/router_names.h"
#include "network/interface_name.h"

namespace vexo::network::ipv6::router {

bool DHCPPD::operator==(const Router6Base& other) const {
    return attr.type == other.attr.type && attr.wan == other.attr.wan;
}

bool DHCPPD::operator!=(const Router6Base& other) const {
    return !(*this == other);
}

bool DHCPPD::ValidateAttr() const {
    const std::string wan = Wan();
    if (VEXONetIsIFUp(wan.c_str()) != 1) {
        VEXO_LOG(LOG_ERR, "wan interface %s is down", wan.c_str());
        return false;
    }
    if (!Router6Base::ValidateAttr()) {
        VEXO_LOG(LOG_ERR, "Base check failed");
        return false;
    }
    return true;
}

std::string DHCPPD::UnitName() const {
    return "dhclient6@" + Wan() + "-pd.service";
}

bool DHCPPD::StartDHCPPD() const {
    const std::string unit = UnitName();
    if (VEXOCSystemdActiveStatusGet(unit.c_str()) == 1) {
        VEXOCSystemdStop(unit.c_str());
    }
    if (!VEXOCSystemdStart(unit.c_str())) {
        VEXOCSystemdStop(unit.c_str());  // else the system manager may try it again by itself
        return false;
    }
    return true;
}

bool DHCPPD::StopDHCPPD() const {
    return VEXOCSystemdStop(UnitName().c_str());
}

bool DHCPPD::Create() const {
    const std::string wan = Wan();
    if (!vexonetwork::network::IsInterfaceName(wan) || !StartDHCPPD()) {
        VEXO_LOG(LOG_ERR, "Failed to execute dhclient on dev [%s]", wan.c_str());
        return false;
    }
    // A WAN may have its place in the list for what it heard from routers before.
    using namespace vexonetwork::utils;
    const bool wasListed = GetGatewayPriority(wan, kGatewayType) >= 0;
    if (!AddGateway(wan)) {
        VEXO_LOG(LOG_ERR, "Failed to add gateway info on dev %s", wan.c_str());
        StopDHCPPD();
        return false;
    }
    if (!Router6Base::Create()) {
        Destroy();
        if (!wasListed) {
            DelGatewayInfo(wan, kGatewayType, true);
        }
        return false;
    }
    // It forwards from now on, where the kernel does not listen to routers of itself.
    ApplyMethod(wan);
    return true;
}

bool DHCPPD::AddGateway(const std::string& wan) const {
    return vexonetwork::utils::SetGatewayInfo(wan, kGatewayType, "NULL", "NULL", "ethernet",
                                              WantedPriority(attr.is_default_gateway), true);
}

bool DHCPPD::Destroy() const {
    if (!StopDHCPPD()) {
        VEXO_LOG(LOG_WARNING, "Unable to release lease on dev [%s]", Wan().c_str());
    }
    return Router6Base::Destroy();
}

}  // namespace vexo::network::ipv6::router
