#include "vexo/ipv6/ipv6_setup.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <vexobase/log.h>
#include <vexobase/native_uplink.h>

#include "vexo/interfaces/dhcp_client.h"
#include "vexo/interfaces/link.h"
#include "vexo/ipv6/ipv6_kernel.h"
#include "vexo/ipv6_conf.h"
#include "vlib/error.h"

namespace vexoplatform {

namespace {

/// What a method asks of the kernel and of the DHCPv6 client.
struct Plan {
    bool advertisements;  ///< the kernel listens to them
    bool autonomous;      ///< and makes addresses of their prefixes
    bool fixed;           ///< the address of the configuration
    const char* client;   ///< kind of the DHCPv6 client, or null
};

// In the order of VEXO_IPV6_….
constexpr Plan kPlans[] = {
    {.advertisements = true, .autonomous = true, .fixed = false, .client = nullptr},
    {.advertisements = false, .autonomous = false, .fixed = false, .client = nullptr},
    {.advertisements = true, .autonomous = false, .fixed = false, .client = kDhcp6Addresses},
    {.advertisements = false, .autonomous = false, .fixed = true, .client = nullptr},
    {.advertisements = true, .autonomous = true, .fixed = false, .client = kDhcp6Information},
};

int Refused(const std::string& ifname, const std::string& what) {
    const int code = errno == ENODEV ? VLIB_ERR_NOT_FOUND : VLIB_ERR_NETLINK_FAILED;
    VEXO_LOG(LOG_ERR, "Failed to %s interface [%s]: %s", what.c_str(), ifname.c_str(),
             std::strerror(errno));
    VLIBCErrSet(code);
    return -1;
}

/// @return 1 when it was changed, 0 when not, -1
int Put(const Link& link, const char* setting, int value) {
    const int result = PutIpv6Setting(link.ifname, setting, value);
    if (result < 0) {
        VEXO_LOG(LOG_ERR, "Failed to set net.ipv6.conf.%s.%s to %d: %s", link.ifname.c_str(),
                 setting, value, std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
    }
    return result;
}

/// IPv6 comes last, so that the first advertisement finds the other settings done.
int PutSettings(const Link& link, const Plan& plan) {
    // The kernel's own default route would compete with the elected one. 2: also on a machine
    // that forwards.
    const int choice = Put(link, "accept_ra_defrtr", 0);
    const int prefixes = plan.advertisements ? Put(link, "accept_ra_pinfo", 1) : 0;
    const int autonomous = Put(link, "autoconf", plan.autonomous ? 1 : 0);
    const int listens = Put(link, "accept_ra", plan.advertisements ? 2 : 0);
    const int enabled = Put(link, "disable_ipv6", 0);
    if (std::min({choice, prefixes, autonomous, listens, enabled}) < 0) {
        return -1;
    }
    const bool hearsMore =
        (plan.autonomous && autonomous > 0) || (plan.advertisements && prefixes + listens > 0);
    if (hearsMore && enabled == 0 && SolicitRouters(link.index) != 0) {
        VEXO_LOG(LOG_INFO, "Interface [%s] waits for the next advertisement: %s",
                 link.ifname.c_str(), std::strerror(errno));
    }
    return 0;
}

bool IsSame(const Ipv6Address& one, const Ipv6Address& other) {
    return IN6_ARE_ADDR_EQUAL(&one.address, &other.address) && one.prefix == other.prefix;
}

int PutAddresses(const Link& link, const Plan& plan, const Ipv6Config& config) {
    const bool isNamed = plan.fixed && !config.address.empty();
    const auto wanted = isNamed ? StaticAddress(config) : std::nullopt;
    if (isNamed && !wanted) {
        VEXO_LOG(LOG_ERR,
                 "Interface [%s]: IPV6ADDR=%s with IPV6PREFIXLENG=%s is left out: it is no IPv6 "
                 "address of an interface with a prefix length from 1 to 128",
                 link.ifname.c_str(), config.address.c_str(), config.prefix.c_str());
    }
    const auto addresses = ListGlobalAddresses(link.index);
    if (!addresses) {
        return Refused(link.ifname, "read the IPv6 addresses of");
    }
    int result = 0;
    bool isThere = false;
    for (const GlobalAddress& each : *addresses) {
        const bool same = wanted && IsSame(each.address, *wanted);
        isThere = isThere || (same && each.permanent);
        const bool stale = (each.configured && !same && (wanted || !isNamed))
                           || (each.autonomous && !plan.autonomous && !same);
        if (stale && RemoveIpv6Address(link.index, each.address) != 0) {
            result = Refused(link.ifname, "take an IPv6 address from");
        }
    }
    if (wanted && !isThere && PutIpv6Address(link.index, *wanted) != 0) {
        result = Refused(link.ifname, "put " + config.address + "/" + config.prefix + " on");
    }
    return result;
}

int RemoveRoutes(const Link& link, const Plan& plan) {
    const auto routes = ListAdvertisedRoutes(link.index);
    if (!routes) {
        return Refused(link.ifname, "read the IPv6 routes over");
    }
    int result = 0;
    for (const vexonetlink::Route& each : *routes) {
        if ((each.destination.Length() == 0 || !plan.advertisements)
            && RemoveAdvertisedRoute(each) != 0) {
            result = Refused(link.ifname, "take an advertised route from");
        }
    }
    return result;
}

/// The others stop before the address of theirs may become another's.
int StopClients(const std::string& ifname, const char* except) {
    int result = 0;
    for (const char* kind : {kDhcp6Addresses, kDhcp6Information}) {
        if (kind != except && StopDhcp6Client(ifname, kind) != 0) {
            result = -1;
        }
    }
    return result;
}

int ApplyToKernel(const Link& link, int method, const Plan& plan, const Ipv6Config& config) {
    if (method == VEXO_IPV6_OFF) {
        return Put(link, "disable_ipv6", 1) < 0 ? -1 : 0;
    }
    if (PutSettings(link, plan) != 0) {
        return -1;
    }
    const int addresses = PutAddresses(link, plan, config);
    const int routes = RemoveRoutes(link, plan);
    return addresses == 0 && routes == 0 ? 0 : -1;
}

using ClientCall = int (*)(const std::string& ifname, const char* kind);

int Apply(const std::string& ifname, int method, const Ipv6Config& config, ClientCall call) {
    const auto link = FindLink(ifname.c_str());
    if (!link) {
        return Refused(ifname, "find");
    }
    // Where the appliance advertises, it takes no other's word.
    const bool advertises = config.router && !vexobase::IsNativeUplink(ifname);
    const bool fixed = advertises && method != VEXO_IPV6_OFF;
    const Plan& plan = kPlans[fixed ? VEXO_IPV6_MANUAL : method];
    const int stopped = StopClients(ifname, plan.client);
    const int applied = ApplyToKernel(*link, method, plan, config);
    const int client = plan.client == nullptr ? 0 : call(ifname, plan.client);
    return stopped == 0 && applied == 0 && client == 0 ? 0 : -1;
}

}  // namespace

int MethodInForce(const std::string& ifname, const Ipv6Config& config) {
    if (config.method) {
        return *config.method;
    }
    if (Dhcp6ClientRuns(ifname, kDhcp6Addresses)) {
        return VEXO_IPV6_DHCP;
    }
    if (Dhcp6ClientRuns(ifname, kDhcp6Information)) {
        return VEXO_IPV6_STATELESS_DHCP;
    }
    const bool isLeftAlone = !config.exists && HasIpv6Setting(ifname, "accept_ra", 0);
    return isLeftAlone ? VEXO_IPV6_MANUAL : VEXO_IPV6_AUTOMATIC;
}

int ApplyIpv6Method(const std::string& ifname, int method, const Ipv6Config& config) {
    return Apply(ifname, method, config, StartDhcp6Client);
}

int SetUpIpv6(const std::string& ifname) {
    const auto config = ReadIpv6Config(ifname);
    if (!config) {
        VEXO_LOG(LOG_ERR, "Failed to read the configuration of [%s]: %s", ifname.c_str(),
                 std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return -1;
    }
    const int method = MethodInForce(ifname, *config);
    const bool isNobodys =
        !config->exists && (method == VEXO_IPV6_AUTOMATIC || method == VEXO_IPV6_MANUAL);
    if (isNobodys || config->slave || !HasIpv6(ifname)) {
        return 0;
    }
    if (!config->badMethod.empty()) {
        VEXO_LOG(LOG_ERR,
                 "Interface [%s]: IPV6_METHOD=%s is left out: it is none of auto, off, dhcp, "
                 "manual and slaac-dhcp",
                 ifname.c_str(), config->badMethod.c_str());
        return 0;
    }
    const int result = Apply(ifname, method, *config, RestartDhcp6Client);
    // Whether there is one is no matter of the method: it asks for the LANs.
    const bool hasPrefixClient = Dhcp6ClientRuns(ifname, kDhcp6Prefix);
    return hasPrefixClient && RestartDhcp6Client(ifname, kDhcp6Prefix) != 0 ? -1 : result;
}

}  // namespace vexoplatform
