#include <net/if.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>

#include <vexo/net_interface.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/ipv6/router/router6_factory.h>
#include <vexonetwork/ipv6/router/router6_lock.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/ip_address.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "commands/router6_session.h"
#include "commands/router6_work.h"
#include "facts/daemon.h"
#include "failure.h"

namespace vexonetctl {
namespace {

using namespace vexo::network::ipv6::router;

/// How a configured router stands.
enum class Standing {
    kThere,    ///< as it is to be
    kMissing,  ///< to be made
    kWaits,    ///< it cannot be made now
    kUnknown,  ///< its file lacks what it would be made of
};

bool IsNative(const Router6Attr& router) {
    return router.type == "native";
}

/// The interface that carries its traffic.
std::string DeviceOf(const Router6Attr& router) {
    const std::string wan = Router6Attr::ConvertInterface(router.wan);
    return IsNative(router) ? wan : "6in4-" + wan;
}

/// The near end of its tunnel: the address it has, as long as the WAN has it too, else the first
/// that the WAN has; "" when there is none it could use.
std::string NearEnd(const Router6Attr& router) {
    const auto addresses =
        vexonetwork::utils::IPAddress::GetIPv4Address(Router6Attr::ConvertInterface(router.wan));
    for (const auto& [address, length] : addresses) {
        if (address == router.local_addr_v4) {
            return address;
        }
    }
    const std::string first = addresses.empty() ? "" : addresses.front().first;
    const bool isPrivate = router.type == "6to4" && ::VEXONetIsPrivateIP(first.c_str()) != 0;
    return isPrivate ? "" : first;
}

/// The folder of a client's unit stands until it has stopped for good. One that was stopped has
/// told so before: whoever did that may be about to destroy the router.
Standing StandingOfNative(const Router6Attr& router) {
    const std::string wan = DeviceOf(router);
    if (::VEXONetIsIFUp(wan.c_str()) != 1) {
        return Standing::kWaits;
    }
    const bool runs = ::VLIBCFileExist(("/run/dhclient6-" + wan + "-pd").c_str()) == 1;
    const bool isStopped = vexonetwork::utils::FileToStr(DelegationFile(router.wan)) == "none\n";
    return runs || isStopped ? Standing::kThere : Standing::kMissing;
}

Standing StandingOf(const Router6Prefix& all, const Router6Attr& router) {
    if (router.type == "off") {
        return Standing::kThere;
    }
    if (Router6Attr::ConvertInterface(router.wan).empty()) {
        return Standing::kWaits;
    }
    if (!all.IsWhole(router)) {
        return Standing::kUnknown;
    }
    if (IsNative(router)) {
        return StandingOfNative(router);
    }
    const std::string nearEnd = NearEnd(router);
    if (nearEnd.empty()) {
        return Standing::kWaits;
    }
    const bool isThere = ::if_nametoindex(DeviceOf(router).c_str()) != 0;
    return isThere && nearEnd == router.local_addr_v4 ? Standing::kThere : Standing::kMissing;
}

/// The daemon's list says whether a router is the first choice, but it forgets devices that are
/// not there when it starts.
bool IsFirstChoice(const Router6Attr& router) {
    const int place = vexonetwork::utils::GetGatewayPriority(DeviceOf(router), "GTYPE_V6");
    if (place >= 0) {
        return place == 0;
    }
    std::array<char, 8> flag{};
    ::VLIBCFileGetSectionValue(router.GetConfigName().c_str(), "conf", "is_default_gateway",
                               flag.data(), int(flag.size()));
    return std::string(flag.data()) == "yes";
}

/// Its file says where the tunnel begins before it is made of the file.
bool StoreNearEnd(Router6Attr& router, const std::string& nearEnd) {
    const Router6Lock lock;
    router.local_addr_v4 = nearEnd;
    return lock && router.SaveConfig() == 0;
}

bool Restore(Router6Attr router) {
    router.is_default_gateway = IsFirstChoice(router);
    const bool isDefault = router.is_default_gateway;
    const std::string nearEnd = IsNative(router) ? "" : NearEnd(router);
    if (!IsNative(router)) {
        const std::string device = DeviceOf(router);
        if (::if_nametoindex(device.c_str()) != 0) {
            ::VLIBCExecl(VLIB_EXEC_QUIET, "/sbin/ip", "tunnel", "del", device.c_str(), nullptr);
        }
        if (!StoreNearEnd(router, nearEnd)) {
            return false;
        }
    }
    const std::unique_ptr<Router6Base> made(
        Router6Factory().newRouterV6Instance(router.wan, nearEnd));
    if (!made) {
        return false;
    }
    made->attr.is_default_gateway = isDefault;
    made->keepsConfiguration = true;
    return made->Create();
}

}  // namespace

void RestoreRouters(const Router6Options&) {
    const Router6Session session;
    const DaemonState daemon = ReadDaemonState();  // it takes the gateways
    std::string failed;
    const Router6Prefix all;
    for (const Router6Attr& router : all.routers) {
        const Standing standing = StandingOf(all, router);
        if (standing == Standing::kWaits) {
            std::cout << "the router of " << router.wan << " waits for its WAN\n";
        } else if (standing == Standing::kUnknown) {
            std::cout << "the router of " << router.wan << " is left as it is: its configuration "
                      << router.GetConfigName() << " is not whole\n";
        } else if (standing == Standing::kMissing) {
            const bool done = daemon.serving && Restore(router);
            std::cout << "the router of " << router.wan << (done ? " is" : " is not") << " there\n";
            failed += done ? "" : " " + router.wan;
        }
    }
    session.ApplyToLans();
    if (!failed.empty() && !daemon.serving) {
        throw Failure(kNotRunning, daemon.Trouble());
    }
    if (!failed.empty()) {
        throw Failure(kRefused, "could not be made, for the reasons above:" + failed);
    }
}

}  // namespace vexonetctl
