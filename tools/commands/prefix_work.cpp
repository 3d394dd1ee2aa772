#include <net/if.h>

#include <algorithm>
#include <iostream>

#include <vexo/net_interface.h>
#include <vexonetwork/ipv6/router/routed_prefix.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>

#include "commands/router6_session.h"
#include "commands/router6_work.h"
#include "facts/daemon.h"
#include "failure.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

using namespace vexo::network::ipv6::router;

constexpr char kSeeList[] = "; see: vexonetctl prefix list";

/// The line has been checked: an address, or one with /64.
std::string AddressOf(const Router6Options& options) {
    return Router6Prefix::NormalizePrefix(options.prefix.substr(0, options.prefix.find('/')));
}

/// Who has it, also where it waits for its router to get it back; "" when it is free.
std::string HolderOf(const Router6Prefix& all, const std::string& prefix) {
    for (const Router6Attr& router : all.routers) {
        std::string lan = all.AllocatedTo(prefix, router);
        if (!lan.empty()) {
            return lan;
        }
    }
    return "";
}

/// What is announced there would be announced to the provider.
void RequireNoWan(const Router6Prefix& all, const std::string& lan) {
    for (const Router6Attr& router : all.routers) {
        if (Router6Attr::ConvertInterface(router.wan) == lan) {
            throw Failure(kRefused, lan + " is the WAN of a router, and so no LAN");
        }
    }
}

/// What is stored of others would be of no use to hosts, or taken for a LAN that is none.
void RequireUse(const std::string& prefix, const std::string& lan) {
    if (!IsRoutedPrefix(prefix + "/64")) {
        throw Failure(kRefused, prefix + " is no prefix that hosts of a LAN can have" + kSeeList);
    }
    VEXONETIFINFO info{};
    if (::VEXONetIFGetInfo(lan.c_str(), &info, 0) == 0 && (info.flags & IFF_LOOPBACK) != 0) {
        throw Failure(kRefused, lan + " is the loopback, and so no LAN");
    }
}

[[noreturn]] void Refuse(const Router6Prefix& all, const std::string& prefix,
                         const std::string& lan) {
    const std::string holder = HolderOf(all, prefix);
    const auto rows = all.List();
    const auto wanted = std::ranges::find(rows, prefix, &Router6PrefixAttr::prefix);
    if (!holder.empty()) {
        throw Failure(kRefused, prefix + " is " + holder
                                    + "'s; first: vexonetctl prefix deallocate " + prefix + " "
                                    + holder);
    }
    if (wanted == rows.end()) {
        throw Failure(kRefused, prefix + " is no /64 that a router has to give" + kSeeList);
    }
    throw Failure(kRefused, lan + " was not given " + prefix + " of the router of " + wanted->wan
                                + ", of which a LAN can have one" + kSeeList);
}

}  // namespace

void ListPrefixes(const Router6Options& options) {
    Json::Value root(Json::arrayValue);
    Table table({"PREFIX", "WAN", "LAN"});
    for (const Router6PrefixAttr& each : Router6Prefix().List()) {
        Json::Value entry(Json::objectValue);
        entry["prefix"] = each.prefix;
        entry["wan"] = each.wan;
        entry["lan"] = each.lan;
        root.append(entry);
        table.Add({each.prefix + "/64", each.wan, each.lan.empty() ? "-" : each.lan});
    }
    if (options.json) {
        std::cout << root.toStyledString();
    } else {
        table.Print(std::cout);
    }
}

void AllocatePrefix(const Router6Options& options) {
    const Router6Session session;
    const Daemon daemon;  // else which router is the first choice would not be known, but stored
    const std::string prefix = AddressOf(options);
    RequireUse(prefix, options.lan);
    Router6Prefix all;
    RequireNoWan(all, options.lan);
    if (!HolderOf(all, prefix).empty() || all.Allocate(prefix, options.lan) != 0) {
        Refuse(all, prefix, options.lan);
    }
    if (::if_nametoindex(options.lan.c_str()) == 0) {
        std::cerr << "vexonetctl: warning: there is no interface " << options.lan
                  << " now; the prefix waits for it\n";
    }
    session.ApplyToLans();
}

void DeallocatePrefix(const Router6Options& options) {
    const Router6Session session;
    const Daemon daemon;  // else which router is the first choice would not be known, but stored
    const std::string prefix = AddressOf(options);
    Router6Prefix all;
    if (HolderOf(all, prefix) != options.lan) {
        throw Failure(kRefused, options.lan + " has no prefix " + prefix + kSeeList);
    }
    if (all.Deallocate(prefix, options.lan) != 0) {
        throw Failure(kRefused, "the prefix was not taken back, for the reason above");
    }
    session.ApplyToLans();
}

}  // namespace vexonetctl
