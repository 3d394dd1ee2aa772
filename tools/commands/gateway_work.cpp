#include "commands/gateway_work.h"

#include <net/if.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <utility>

#include <vexo/ha.h>
#include <vexonetwork/utils/file.h>

#include "facts/daemon.h"
#include "facts/entry.h"
#include "facts/stored_list.h"
#include "facts/validation.h"
#include "failure.h"
#include "print/gateway_explanation.h"
#include "print/gateway_list.h"
#include "print/printable.h"

namespace vexonetctl {
namespace {

using vexonetwork::dbus::NetClient;

void SayDefaultRoute(const GatewayOptions& options, const Family& family) {
    if (!options.quiet) {
        std::cout << "default route (" << family.name << "): " << Describe(ReadDefaultRoute(family))
                  << '\n';
    }
}

void SayNextElection(const GatewayOptions& options, const std::string& done) {
    if (!options.quiet) {
        const Family& family = options.OneFamily();
        std::cout << done << " (" << family.name << "); to elect anew: vexonetctl gateway refresh "
                  << family.flag << '\n';
    }
}

/// Ports, and the bonds, bridges and VLANs made of them (ARPHRD_ETHER); false for what is not
/// there.
bool IsEthernet(const std::string& ifname) {
    return vexonetwork::utils::FileToStr("/sys/class/net/" + ifname + "/type") == "1\n";
}

void ListAsJson(Daemon& daemon, const GatewayOptions& options) {
    Json::Value root(Json::objectValue);
    for (const Family& family : options.Families()) {
        root[family.key] = ToJson({family, daemon.Entries(family), ReadDefaultRoute(family)});
    }
    std::cout << root.toStyledString();
}

void PrintEntry(const Family& family, const Json::Value& entry, bool carriesDefaultRoute) {
    const auto text = [&](const char* key) { return Printable(Text(entry, key)); };
    const auto yesNo = [](bool yes) { return yes ? "yes" : "no"; };
    std::cout << "interface      " << text("ifname") << '\n'
              << "family         " << family.name << '\n'
              << "priority       " << Place(entry) << '\n'
              << "gateway        " << text("gateway") << '\n'
              << "dns            " << text("dns") << '\n'
              << "slave          " << yesNo(IsSlave(entry)) << '\n'
              << "class          " << text("class") << '\n'
              << "default route  " << yesNo(carriesDefaultRoute) << '\n';
}

/// The daemon hides the heartbeat interface from its answer, not from elections; here the list has
/// it.
Json::Value WholeList(Daemon& daemon, const Family& family) {
    Json::Value entries = daemon.Entries(family);
    std::array<char, IFNAMSIZ> heartbeat{};
    if (::VEXOHAIsRunning() == 1
        && ::VEXOHAGetHeartbeatIF(heartbeat.data(), int(heartbeat.size())) == 0) {
        Json::Value entry = daemon.Entry(family, heartbeat.data());
        entry["ifname"] = heartbeat.data();
        if (IsListed(entry)) {
            entries.insert(std::min(Json::ArrayIndex(Place(entry)), entries.size()), entry);
        }
    }
    return entries;
}

Json::Value AddRequest(const Family& family, const GatewayOptions& options) {
    const auto address = [&](const char* option, const std::optional<std::string>& text) {
        return text ? CheckedAddress(family, option, *text) : kUnchanged;
    };
    Json::Value info = RequestFor(family, options.ifname);
    info["priority"] = PriorityNumber(options.priority);
    info["gateway"] = address("--gateway", options.gateway);
    info["dns"] = address("--dns", options.dns);
    info["class"] = options.interfaceClass;
    return info;
}

[[noreturn]] void DidNot(const std::string& what) {
    throw Failure(kRefused, "the daemon " + what + kSeeItsLog);
}

/// What the daemon holds after a change must also be what it finds at its next start.
void RequireStored(const Family& family, const std::string& ifname, const Json::Value& entry) {
    const StoredEntry held{Text(entry, "gateway"), Text(entry, "dns"), Text(entry, "class"),
                           IsSlave(entry)};
    if (ReadStoredEntry(family, ifname) != held) {
        DidNot("has changed " + ifname + " but could not store that in " + family.priorityFile);
    }
}

/// The daemon answers success also for what it refused.
void RequireTaken(const Family& family, const Json::Value& info, const Json::Value& entry) {
    const auto taken = [&](const char* key) {
        const std::string asked = Text(info, key);
        return asked == kUnchanged || SameAddress(family, asked, Text(entry, key));
    };
    if (!IsListed(entry) || !taken("gateway") || !taken("dns") || !taken("class")) {
        DidNot("did not take the entry of " + Text(info, "ifname"));
    }
}

}  // namespace

void ListGateways(const GatewayOptions& options) {
    Daemon daemon;
    if (options.json) {
        return ListAsJson(daemon, options);
    }
    const char* separator = "";
    for (const Family& family : options.Families()) {
        std::cout << std::exchange(separator, "\n");
        Print(std::cout, {family, daemon.Entries(family), ReadDefaultRoute(family)});
    }
}

void ShowGateway(const GatewayOptions& options) {
    const Family& family = options.OneFamily();
    Json::Value entry = Daemon().Entry(family, options.ifname);
    entry["ifname"] = options.ifname;
    const bool carries = CarriesDefaultRoute(family, entry, ReadDefaultRoute(family));
    if (options.json) {
        // Also what was stored for an interface that has left the list is worth knowing.
        entry["default_route"] = carries;
        std::cout << entry.toStyledString();
    }
    RequireListed(family, options.ifname, entry);
    if (!options.json) {
        PrintEntry(family, entry, carries);
    }
}

void ExplainGateways(const GatewayOptions& options) {
    Daemon daemon;
    Json::Value root(Json::objectValue);
    const char* separator = "";
    for (const Family& family : options.Families()) {
        const auto explanation = ExplainElection(family, WholeList(daemon, family));
        root[family.key] = ToJson(explanation);
        if (!options.json) {
            std::cout << std::exchange(separator, "\n");
            Print(std::cout, explanation);
        }
    }
    if (options.json) {
        std::cout << root.toStyledString();
    }
}

void AddGateway(const GatewayOptions& options) {
    const Family& family = options.OneFamily();
    Json::Value info = AddRequest(family, options);
    Daemon daemon;
    if (::if_nametoindex(options.ifname.c_str()) == 0) {
        std::cerr << "vexonetctl: warning: there is no interface " << options.ifname
                  << " now; the entry waits for it\n";
    }
    if (options.interfaceClass == kUnchanged && IsEthernet(options.ifname)
        && !IsListed(daemon.Entry(family, options.ifname))) {
        info["class"] = "ethernet";  // else a pulled cable would not move the default route
    }
    daemon.Send(&NetClient::AddGatewayData, info);
    const Json::Value entry = daemon.Entry(family, options.ifname);
    RequireTaken(family, info, entry);
    RequireStored(family, options.ifname, entry);
    SayDefaultRoute(options, family);
}

void DeleteGateway(const GatewayOptions& options) {
    const Family& family = options.OneFamily();
    Daemon daemon;
    RequireListed(family, options.ifname, daemon.Entry(family, options.ifname));
    daemon.Send(&NetClient::DelGatewayData, RequestFor(family, options.ifname));
    if (IsListed(daemon.Entry(family, options.ifname)) || ReadStoredEntry(family, options.ifname)) {
        DidNot("could not take " + options.ifname + " out of " + family.priorityFile);
    }
    SayDefaultRoute(options, family);
}

void SetSlave(const GatewayOptions& options) {
    const Family& family = options.OneFamily();
    Daemon daemon;
    RequireListed(family, options.ifname, daemon.Entry(family, options.ifname));
    const bool slave = options.slave == "on";
    Json::Value info = RequestFor(family, options.ifname);
    info["slave"] = slave;
    daemon.Send(&NetClient::SetSlaveData, info);
    const Json::Value entry = daemon.Entry(family, options.ifname);
    if (IsSlave(entry) != slave) {
        DidNot("did not change " + options.ifname);
    }
    RequireStored(family, options.ifname, entry);
    SayNextElection(options,
                    options.ifname + (slave ? " is a slave now" : " may carry the default route"));
}

void CopyGateway(const GatewayOptions& options) {
    const Family& family = options.OneFamily();
    if (options.ifname == options.destination) {
        throw Failure(kWrongUsage, "SOURCE and DESTINATION are the same interface");
    }
    Daemon daemon;
    // Without a source the daemon would still drop the destination's entry.
    RequireListed(family, options.ifname, daemon.Entry(family, options.ifname));
    Json::Value info(Json::objectValue);
    info["type"] = family.type;
    info["interface_source"] = options.ifname;
    info["interface_destination"] = options.destination;
    info["interface_source_delete"] = options.deleteSource;
    daemon.Send(&NetClient::CopyGatewayData, info);
    const Json::Value entry = daemon.Entry(family, options.destination);
    if (!IsListed(entry)) {
        DidNot("did not make the entry of " + options.destination);
    }
    RequireStored(family, options.destination, entry);
    SayNextElection(options, options.destination + " stands in the place of " + options.ifname);
}

void RefreshGateways(const GatewayOptions& options) {
    Json::Value info(Json::objectValue);
    info["type"] = options.IsBoth() ? "ALL" : options.OneFamily().type;
    Daemon().Send(&NetClient::RefreshGateway, info);
    for (const Family& family : options.Families()) {
        SayDefaultRoute(options, family);
    }
}

}  // namespace vexonetctl
