#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>

#include <vexo/net_interface.h>
#include <vexonetwork/ipv6/router/dhcp_pd.h>
#include <vexonetwork/ipv6/router/router6_factory.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vexonetwork/ipv6/router/tunnel_6in4.h>
#include <vexonetwork/utils/ip_address.h>

#include "commands/router6_session.h"
#include "commands/router6_work.h"
#include "facts/daemon.h"
#include "facts/entry.h"
#include "facts/validation.h"
#include "failure.h"

namespace vexonetctl {
namespace {

using namespace vexo::network::ipv6::router;

constexpr char kTunnel[] = "6in4-";

void RequireFree(const std::string& wan) {
    if (const auto router = ConfiguredRouter(wan)) {
        throw Failure(kRefused, wan + " is the WAN of a router already, of type " + router->type
                                    + "; first: vexonetctl router6 destroy " + wan);
    }
}

/// A router's WAN and its LANs take opposite sides in everything: who advertises, who is trusted.
void RequireNoLan(const std::string& ifname) {
    for (const Router6Attr& router : Router6Prefix().routers) {
        for (const auto& [lan, prefix] : router.lans) {
            if (lan == ifname) {
                throw Failure(kRefused, ifname + " is a LAN of the router of " + router.wan
                                            + "; first: vexonetctl prefix deallocate " + prefix
                                            + " " + ifname);
            }
        }
    }
}

/// The interface that the WAN means now.
std::string RequireInterface(const std::string& wan) {
    std::string ifname = Router6Attr::ConvertInterface(wan);
    if (ifname.empty()) {
        throw Failure(kRefused, "there is no PPPoE connection now");
    }
    if (::if_nametoindex(ifname.c_str()) == 0) {
        throw Failure(kRefused, "there is no interface " + ifname + "; see: ip link");
    }
    RequireNoLan(ifname);
    return ifname;
}

std::string RequireAddressV4(const std::string& ifname) {
    const auto addresses = vexonetwork::utils::IPAddress::GetIPv4Address(ifname);
    if (addresses.empty()) {
        throw Failure(kRefused, ifname + " has no IPv4 address that a tunnel could begin at");
    }
    return addresses.front().first;
}

void RequireRoomForTunnel(const std::string& ifname) {
    const std::string device = kTunnel + ifname;
    if (device.size() >= IFNAMSIZ) {
        throw Failure(kRefused, "the tunnel's device " + device + " would have more than "
                                    + std::to_string(IFNAMSIZ - 1) + " characters");
    }
    if (::if_nametoindex(device.c_str()) != 0) {
        throw Failure(kRefused, "there is a device " + device
                                    + " that is no router's; first: ip tunnel del " + device);
    }
}

void RequireClientFor(const std::string& ifname) {
    const bool canBeInUnit =
        ifname.front() != '-' && std::ranges::all_of(ifname, [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '@';
        });
    if (!canBeInUnit) {
        throw Failure(kRefused, "there is no DHCPv6 client for " + ifname
                                    + ": its name has other characters than letters, digits"
                                      " and -._@");
    }
    VEXONETIFINFO info{};
    if (::VEXONetIFGetInfo(ifname.c_str(), &info, 0) == 0 && (info.flags & IFF_LOOPBACK) != 0) {
        throw Failure(kRefused, ifname + " is the loopback, which leads to no provider");
    }
    if (::VEXONetIsIFUp(ifname.c_str()) != 1) {
        throw Failure(kRefused, ifname + " is down; first: ip link set " + ifname + " up");
    }
}

Json::Value RequestFor(const Router6Options& options) {
    Json::Value request(Json::objectValue);
    request["wan"] = options.wan;
    request["is_default_gateway"] = options.isDefault;
    request["open"] = options.isOpen;
    return request;
}

void Make(const Router6Session& session, const std::string& type, const Json::Value& request) {
    const std::unique_ptr<Router6Base> router(Router6Factory().newRouterV6Instance(type, request));
    if (!router || !router->Create()) {
        throw Failure(kRefused, "the router was not made, for the reason above");
    }
    session.ApplyToLans();
}

void SayGateway(Daemon& daemon, const std::string& ifname) {
    const Json::Value entry = daemon.Entry(kFamilies[1], ifname);
    if (Text(entry, "gateway").empty()) {
        std::cout << ifname << " has no IPv6 gateway until one advertises itself; to give it one:"
                  << " vexonetctl gateway add " << ifname << " -6 --gateway ADDR\n";
    }
}

}  // namespace

void Create6in4(const Router6Options& options) {
    const Router6Session session;
    Daemon daemon;
    RequireFree(options.wan);
    const std::string ifname = RequireInterface(options.wan);
    RequireAddressV4(ifname);
    RequireRoomForTunnel(ifname);
    Json::Value request = RequestFor(options);
    request["prefix"] = options.prefix;
    request["remote_addr_v4"] = options.remote;
    request["local_addr_v6"] = options.local;
    Make(session, "6in4", request);
}

void Create6to4(const Router6Options& options) {
    const Router6Session session;
    Daemon daemon;
    RequireFree(options.wan);
    const std::string ifname = RequireInterface(options.wan);
    const std::string address = RequireAddressV4(ifname);
    if (::VEXONetIsPrivateIP(address.c_str()) != 0) {
        throw Failure(kRefused, "the IPv4 address " + address + " of " + ifname
                                    + " is no public one, which 6to4 makes its prefix of");
    }
    RequireRoomForTunnel(ifname);
    Make(session, "6to4", RequestFor(options));
}

void CreateNative(const Router6Options& options) {
    const Router6Session session;
    Daemon daemon;
    RequireFree(options.wan);
    const std::string ifname = RequireInterface(options.wan);
    RequireClientFor(ifname);
    // What a former client has told is not this one's.
    ::unlink(DelegationFile(options.wan).c_str());
    Make(session, "native", RequestFor(options));
    std::cout << ifname << " asks for a prefix; what comes: vexonetctl router6 show " << options.wan
              << '\n';
    SayGateway(daemon, ifname);
}

void DestroyRouter(const Router6Options& options) {
    const Router6Session session;
    const auto attr = ConfiguredRouter(options.wan);
    if (!attr) {
        throw Failure(kRefused,
                      options.wan + " is the WAN of no router; see: vexonetctl router6 list");
    }
    // Not by the factory: what is to go need not be valid any more, as on a WAN that is down.
    const bool isNative = attr->type == "native";
    const bool done = isNative ? DHCPPD(*attr).Destroy() : Tunnel6in4(*attr).Destroy();
    ::unlink(DelegationFile(options.wan).c_str());
    session.ApplyToLans();
    if (!done) {
        throw Failure(kRefused, "not everything of the router went, for the reason above");
    }
}

}  // namespace vexonetctl
