#include <algorithm>
#include <cstdlib>

#include <vexo/firewall.h>
#include <vexo/net_interface.h>
#include <vexobase/log.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/ipv6/router/tunnel_6in4.h>
#include <vlib/exec.h>
#include <vlib/net.h>

#include "ipv6/router/router_names.h"
#include "network/interface_name.h"

namespace vexo::network::ipv6::router {

namespace {

constexpr char kIp[] = "/sbin/ip";

bool CanBeMade(const std::string& device) {
    if (!vexonetwork::network::IsInterfaceName(device)) {
        VEXO_LOG(LOG_ERR,
                 "No device can have the name [%s], a tunnel needs a wan with at most 10 bytes",
                 device.c_str());
        return false;
    }
    return true;
}

/// Splits as "%[^/]/%d" of scanf(3) does: files have always been read so, and what follows the
/// number has never counted.
bool AddAddress(const std::string& device, const std::string& addressLength) {
    const auto slash = std::min(addressLength.find('/'), addressLength.size());
    const char* const behind = addressLength.c_str() + slash;
    const long length = *behind == '/' ? std::strtol(behind + 1, nullptr, 10) : 0;
    constexpr long kBeyondAny = 1000;
    return VEXONetSetIP("-6", device.c_str(), addressLength.substr(0, slash).c_str(),
                        int(std::clamp(length, -kBeyondAny, kBeyondAny)), "add", device.c_str())
           >= 0;
}

}  // namespace

bool Tunnel6in4::ValidateAttr() const {
    if (BlVLIBIsIpAddr(attr.local_addr_v4.c_str()) != 1) {
        VEXO_LOG(LOG_ERR, "Invalid local v4 address (%s)", attr.local_addr_v4.c_str());
        return false;
    }
    if (BlVLIBIsIpAddr(attr.remote_addr_v4.c_str()) != 1) {
        VEXO_LOG(LOG_ERR, "Invalid remote v4 address (%s)", attr.remote_addr_v4.c_str());
        return false;
    }
    if (!CanBeMade(TunnelDevice(Wan()))) {
        return false;
    }
    if (!Router6Base::ValidateAttr()) {
        VEXO_LOG(LOG_ERR, "Base check failed");
        return false;
    }
    return true;
}

bool Tunnel6in4::Create() const {
    const std::string wan = Wan();
    if (wan.empty()) {
        VEXO_LOG(LOG_ERR, "Failed to get WAN, may caused by broken PPPoE connection");
        return false;
    }
    // A device of that name that is there already is another's, and stays.
    const std::string device = TunnelDevice(wan);
    if (!CanBeMade(device) || !MakeDevice(device)) {
        return false;
    }
    if (!SetUp(device)) {
        Destroy();
        return false;
    }
    if (VEXOFwRuleHup() < 0) {
        VEXO_LOG(LOG_ERR, "Failed to reload firewall.");
    }
    return true;
}

bool Tunnel6in4::MakeDevice(const std::string& device) const {
    const char* local = attr.local_addr_v4.c_str();
    const char* remote = attr.remote_addr_v4.c_str();
    if (VLIBCExecl(VLIB_EXEC_QUIET, kIp, "tunnel", "add", device.c_str(), "mode", "sit", "remote",
                   remote, "local", local, "ttl", "255", nullptr)
        != 0) {
        VEXO_LOG(LOG_ERR, "Failed to create tunnel device %s (%s -> %s)", device.c_str(), local,
                 remote);
        return false;
    }
    return true;
}

bool Tunnel6in4::SetUp(const std::string& device) const {
    if (VLIBCExecl(VLIB_EXEC_QUIET, kIp, "link", "set", device.c_str(), "up", nullptr) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to bring up device %s", device.c_str());
        return false;
    }
    if (!AddAddress(device, attr.local_addr_v6)) {
        // The message tables have the two in this order.
        VEXO_LOG(LOG_ERR, "Failed to add [%s] to device %s", device.c_str(),
                 attr.local_addr_v6.c_str());
        return false;
    }
    if (!vexonetwork::utils::SetGatewayInfo(device, kGatewayType, "::", "NULL", "ethernet",
                                            WantedPriority(attr.is_default_gateway), true)) {
        VEXO_LOG(LOG_ERR, "Failed to add gateway info on dev %s", device.c_str());
        return false;
    }
    return Router6Base::Create();
}

bool Tunnel6in4::Destroy() const {
    const std::string device = TunnelDevice(Wan());
    if (VLIBCExecl(VLIB_EXEC_QUIET, kIp, "tunnel", "del", device.c_str(), nullptr) != 0) {
        VEXO_LOG(LOG_WARNING, "Unable to delete tunnel device %s", device.c_str());
    }
    if (!vexonetwork::utils::DelGatewayInfo(device, kGatewayType, true)) {
        VEXO_LOG(LOG_WARNING, "Failed to del gateway info on dev %s", device.c_str());
    }
    return Router6Base::Destroy();
}

}  // namespace vexo::network::ipv6::router
