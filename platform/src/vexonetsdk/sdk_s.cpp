#include "vexonetsdk/sdk_s.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <vexobase/log.h>

#include "vexo/hooks/hook_runner.h"
#include "vexo/interfaces/dhcp_client.h"
#include "vexo/interfaces/ifcfg.h"
#include "vexo/interfaces/interface_setup.h"
#include "vexo/ipv6/ipv6_setup.h"
#include "vlib/error.h"
#include "vlib/spawn.h"

namespace {

using vexoplatform::InterfaceConfig;

int Fail(const char* what, const std::string& ifname, int code) {
    VEXO_LOG(LOG_ERR, "Failed to %s [%s]: %s", what, ifname.c_str(), std::strerror(errno));
    VLIBCErrSet(code);
    return -1;
}

/// Hands the configuration of an interface to `work`; one without a file is as it should be.
template <typename Work>
int Configure(const std::string& ifname, Work work) {
    const auto config = vexoplatform::ReadInterfaceConfig(ifname);
    if (!config) {
        return errno == ENOENT ? 0
                               : Fail("read the configuration of", ifname, VLIB_ERR_OPEN_FAILED);
    }
    const auto link = vexoplatform::FindLink(ifname.c_str());
    if (!link) {
        return Fail("find interface", ifname,
                    errno == ENODEV ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED);
    }
    return work(*link, *config);
}

int RunLinkHook(const char* name, const std::string& ifname) {
    if (vexoplatform::RunHooks("net", name, {{"IFNAME", ifname}}) != 0) {
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    return 0;
}

int RefuseNull() {
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
    return -1;
}

}  // namespace

namespace vexonetsdk::sdk_s {

int VEXONetIFGetInfo_S(const char* ifname, VEXONETIFINFO* info, int options) {
    return ::VEXONetIFGetInfo(ifname, info, options);
}

bool BlVEXOLnxIsDHCP_S(const char* ifname) {
    const vlib::SavedIdentity elevated;
    const auto config = vexoplatform::ReadInterfaceConfig(ifname == nullptr ? "" : ifname);
    return config && config->dhcp;
}

int VEXONetSetCard1_S(const VEXONETIFINFO* info) {
    if (info == nullptr) {
        return RefuseNull();
    }
    const std::string ifname(info->ifname, ::strnlen(info->ifname, sizeof info->ifname));
    const vlib::SavedIdentity elevated;
    return Configure(ifname, [&](const vexoplatform::Link& link, const InterfaceConfig& config) {
        // A client that stops later finds its address gone or without a lifetime, and leaves the
        // interface alone.
        const bool leaseGoes = !config.dhcp && vexoplatform::DhcpClientRuns(ifname);
        const int interface = vexoplatform::SetUpInterface(link, config, leaseGoes);
        const int client = config.dhcp ? vexoplatform::RestartDhcpClient(ifname)
                                       : vexoplatform::StopDhcpClient(ifname);
        return client == 0 && interface == 0 ? 0 : -1;
    });
}

int VLIBNetIfLinkUpEvent_S(const char* ifname) {
    if (ifname == nullptr) {
        return RefuseNull();
    }
    const vlib::SavedIdentity elevated;
    const int configured =
        Configure(ifname, [](const vexoplatform::Link& link, const InterfaceConfig& config) {
            return vexoplatform::SetUpInterface(link, config);
        });
    const int ipv6 = vexoplatform::SetUpIpv6(ifname);
    const int told = RunLinkHook("link_up", ifname);
    return configured == 0 && ipv6 == 0 && told == 0 ? 0 : -1;
}

int VLIBNetIfLinkDownEvent_S(const char* ifname) {
    if (ifname == nullptr) {
        return RefuseNull();
    }
    const vlib::SavedIdentity elevated;
    return RunLinkHook("link_down", ifname);
}

}  // namespace vexonetsdk::sdk_s
