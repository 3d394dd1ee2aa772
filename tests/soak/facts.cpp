#include "facts.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/ip_address.h>

#include "support/event_queue.h"

namespace vexosoak {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using vexotest::ReadFile;

const std::string kFolder = "/etc/iproute2/config/";
constexpr int kUplinkPriority = 31'100;

Json::Value Ask(const std::string& command) {
    const std::string text = vexotest::Run(vexotest::Words(command)).out;
    return text.empty() ? Json::Value() : vexotest::Parsed(text);
}

bool HasFlag(const Json::Value& interface, const std::string& flag) {
    return std::ranges::any_of(interface["flags"],
                               [&](const Json::Value& each) { return each == flag; });
}

bool HasLink(const Json::Value& interface) {
    return HasFlag(interface, "UP") && !HasFlag(interface, "NO-CARRIER");
}

std::vector<std::string> AddressesOf(const Json::Value& interface, const std::string& family) {
    std::vector<std::string> addresses;
    for (const Json::Value& each : interface["addr_info"]) {
        if (each["family"] == (family == "-4" ? "inet" : "inet6") && each["scope"] != "link") {
            addresses.push_back(each["local"].asString());
        }
    }
    return addresses;
}

/// The networks of this world: /24 and /64 that end with the last separator.
bool IsNeighbour(const std::string& gateway, const std::vector<std::string>& addresses) {
    const auto network = [](const std::string& address) {
        return address.substr(0, address.find_last_of(".:") + 1);
    };
    return gateway.starts_with("fe80:") || std::ranges::any_of(addresses, [&](const auto& each) {
               return network(each) == network(gateway);
           });
}

std::string Text(const std::set<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += " [" + word + "]";
    }
    return text;
}

std::set<std::string> LinesOf(const std::string& path) {
    std::set<std::string> lines;
    std::istringstream text(ReadFile(path));
    for (std::string line; std::getline(text, line);) {
        lines.insert(line);
    }
    return lines;
}

std::map<std::string, std::map<std::string, std::string>> Sections(const std::string& path) {
    std::map<std::string, std::map<std::string, std::string>> all;
    vexonetwork::utils::ConfigSection file(path);
    if (file.Read() == 0) {
        for (const auto& [section, pairs] : file.GetKeyValues()) {
            all[section].insert(pairs.begin(), pairs.end());
        }
    }
    return all;
}

/// Between the two the kernel has yet to tell of a carrier, or to try an address.
bool IsUndecided(const Json::Value& interface) {
    const bool carrier = HasFlag(interface, "LOWER_UP");
    const bool told = interface["operstate"] == "UP" || interface["operstate"] == "UNKNOWN";
    return carrier != told
           || (carrier && std::ranges::any_of(interface["addr_info"], [](const auto& address) {
                   return address["tentative"] == true && address["dadfailed"] != true;
               }));
}

std::set<std::string> UplinksOfPolicy() {
    std::set<std::string> ifnames;
    for (auto& [section, pairs] : Sections(kFolder + "policy")) {
        if (pairs["enabled"] == "yes") {
            ifnames.insert(section);
        }
    }
    return ifnames;
}

/// Rules by source, and the default routes of these tables.
std::set<std::string> PolicyOf(const std::string& family, const std::set<std::string>& tables) {
    std::set<std::string> present;
    for (const Json::Value& rule : Ask("ip -j " + family + " rule show")) {
        if (rule["priority"] == kUplinkPriority) {
            present.insert("from " + rule["src"].asString() + " lookup "
                           + rule["table"].asString());
        }
    }
    for (const Json::Value& route : Ask("ip -j " + family + " route show table all")) {
        const std::string table = route["table"].asString();
        if (route["dst"] == "default" && tables.contains(table)) {
            present.insert("default via " + route["gateway"].asString() + " dev "
                           + route["dev"].asString() + " table " + table);
        }
    }
    return present;
}

Usage UsageOf(pid_t pid) {
    namespace fs = std::filesystem;
    const std::string folder = "/proc/" + std::to_string(pid);
    const auto count = [](const std::string& path) {
        return std::distance(fs::directory_iterator(path), fs::directory_iterator());
    };
    const std::string status = ReadFile(folder + "/status");
    const auto place = status.find("RssAnon:");
    return {pid, count(folder + "/fd"), count(folder + "/task"),
            place == status.npos ? 0 : std::stol(status.substr(place + 8))};
}

}  // namespace

bool IsSettled(World& world) {
    const auto start = steady_clock::now();
    while (steady_clock::now() - start < milliseconds(130)) {
        if (!vexotest::IsQuiet(world.appliance.Daemon().Pid())) {
            return false;
        }
    }
    return std::ranges::none_of(Ask("ip -j addr show"), IsUndecided);
}

const Json::Value* Inspector::Interface(const std::string& ifname) const {
    const auto found = std::ranges::find_if(
        interfaces, [&](const Json::Value& each) { return each["ifname"] == ifname; });
    return found == interfaces.end() ? nullptr : &*found;
}

void Inspector::Look() {
    interfaces = Ask("ip -j addr show");
    lists[0] = world.appliance.GatewayList("GTYPE_V4");
    lists[1] = world.appliance.GatewayList("GTYPE_V6");
}

std::string Inspector::FirstUsable(const std::string& family) const {
    for (const Json::Value& entry : lists[family == "-6" ? 1 : 0]) {
        const Json::Value* interface = Interface(entry["ifname"].asString());
        const std::string gateway = entry["gateway"].asString();
        if (entry["slave"] != true && interface != nullptr && HasLink(*interface)
            && IsNeighbour(gateway, AddressesOf(*interface, family))) {
            return "via " + gateway + " dev " + entry["ifname"].asString();
        }
    }
    return "";
}

void Inspector::CheckElection(const std::string& family) {
    const std::string usable = FirstUsable(family);
    const Json::Value told = Ask(vexotest::CtlProgram() + " gateway explain --json " + family);
    const Json::Value& elected = told[family == "-4" ? "ipv4" : "ipv6"]["elected"];
    const std::string explained =
        elected.isObject() && elected.isMember("ifname")
            ? "via " + elected["gateway"].asString() + " dev " + elected["ifname"].asString()
            : "";
    std::set<std::string> installed;
    for (const std::string& route : vexotest::DefaultRoutes(family)) {
        installed.insert(route.substr(0, route.find(" src ")));
    }
    const bool isElected = usable.empty() || installed == std::set{usable};
    if (!isElected || explained != usable) {
        Broken("election " + family + ": the first usable is [" + usable + "], explain names ["
               + explained + "], the kernel has" + Text(installed));
    }
}

/// Rules and tables of the uplinks that take part, against what their addresses demand.
void Inspector::CheckPolicy(const std::string& family) {
    std::set<std::string> wanted;
    std::set<std::string> settled;  ///< tables whose default route the kernel cannot refuse
    auto stored = Sections(kFolder + "gateway_database");
    for (const std::string& ifname : UplinksOfPolicy()) {
        const Json::Value* interface = Interface(ifname);
        if (interface == nullptr || !HasFlag(*interface, "UP")) {
            settled.insert(ifname);
            continue;
        }
        const auto addresses = AddressesOf(*interface, family);
        for (const std::string& address : addresses) {
            wanted.insert("from " + address + " lookup " + ifname);
        }
        const std::string gateway = stored[ifname][family == "-4" ? "gateway" : "gateway_v6"];
        if (!addresses.empty() && !gateway.empty() && IsNeighbour(gateway, addresses)) {
            wanted.insert("default via " + gateway + " dev " + ifname + " table " + ifname);
            settled.insert(ifname);
        }
    }
    const std::set<std::string> present = PolicyOf(family, settled);
    if (wanted != present) {
        Broken("policy " + family + ": wanted are" + Text(wanted) + ", there are" + Text(present));
    }
}

void Inspector::CheckStaticRoutes() {
    std::set<std::string> wanted;
    const Json::Value* lan = Interface("lan0");
    if (lan != nullptr && HasFlag(*lan, "UP")
        && IsNeighbour(world.lan.gateway, AddressesOf(*lan, "-4"))) {
        for (auto& [section, pairs] : Sections(kFolder + "static-table")) {
            wanted.insert(pairs["destination"]);
        }
    }
    std::set<std::string> present;
    for (const Json::Value& route : Ask("ip -j -4 route show table all")) {
        if (route["table"] == "static") {
            present.insert(route["dst"].asString());
        }
    }
    if (wanted != present) {
        Broken("static routes: wanted are" + Text(wanted) + ", there are" + Text(present));
    }
}

void Inspector::CheckFiles(const std::string& type) {
    const bool v4 = type == "GTYPE_V4";
    std::set<std::string> listed;
    std::set<std::string> servers;
    auto stored = Sections(kFolder + "gateway_database");
    for (const Json::Value& entry : lists[v4 ? 0 : 1]) {
        const std::string ifname = entry["ifname"].asString();
        listed.insert(ifname + " " + entry["gateway"].asString() + " " + entry["dns"].asString());
        if (!entry["dns"].asString().empty()) {
            servers.insert("nameserver " + entry["dns"].asString());
        }
        const std::string kept = stored[ifname][v4 ? "gateway" : "gateway_v6"];
        if (kept != entry["gateway"].asString()) {
            Broken("database: " + ifname + " has [" + kept + "], the list "
                   + entry["gateway"].asString());
        }
    }
    std::set<std::string> written;
    for (auto& [section, pairs] :
         Sections(kFolder + (v4 ? "gateway_v4" : "gateway_v6") + "_priority")) {
        // One that waits for its link may still stand there.
        const Json::Value* interface = Interface(pairs["ifname"]);
        const std::string line = pairs["ifname"] + " " + pairs["gateway"] + " " + pairs["dns"];
        if (listed.contains(line) || (interface != nullptr && HasLink(*interface))) {
            written.insert(line);
        }
    }
    if (written != listed) {
        Broken("priority file " + type + ": the list has" + Text(listed) + ", the file"
               + Text(written));
    }
    const auto resolver = LinesOf(kFolder + (v4 ? "resolv4.conf" : "resolv6.conf"));
    if (!std::ranges::includes(resolver, servers)) {
        Broken("resolver " + type + ": wanted are" + Text(servers) + ", there are"
               + Text(resolver));
    }
}

void Inspector::CheckUsage() {
    const Usage now = UsageOf(world.appliance.Daemon().Pid());
    if (now.pid != first.pid) {
        first = now;
    }
    // One thread begins with the first client of DHCP.
    if (now.descriptors > first.descriptors + 2 || now.threads > first.threads + 1
        || now.kibibytes > first.kibibytes + 8'192) {
        Broken("usage: descriptors " + std::to_string(first.descriptors) + " -> "
               + std::to_string(now.descriptors) + ", threads " + std::to_string(first.threads)
               + " -> " + std::to_string(now.threads) + ", KiB " + std::to_string(first.kibibytes)
               + " -> " + std::to_string(now.kibibytes));
    }
}

void Inspector::CheckLog() {
    static constexpr const char* kBad[] = {"Failed to handle an event",
                                           "Failed to process request",
                                           "Get system gateway failed",
                                           "Failed to delete default gateway",
                                           "no longer followed",
                                           "terminate called",
                                           "Sanitizer",
                                           "Failed to set file"};
    const std::string log = world.appliance.Log();
    std::istringstream lines(log.substr(std::min(logChecked, log.size())));
    logChecked = log.size();
    for (std::string line; std::getline(lines, line);) {
        for (const char* bad : kBad) {
            if (line.find(bad) != line.npos) {
                Broken("log: " + line);
            }
        }
    }
}

std::vector<std::string> Inspector::Inspect() {
    broken.clear();
    Look();
    for (const char* family : {"-4", "-6"}) {
        CheckElection(family);
        CheckPolicy(family);
    }
    CheckStaticRoutes();
    CheckFiles("GTYPE_V4");
    CheckFiles("GTYPE_V6");
    CheckUsage();
    CheckLog();
    return std::move(broken);
}

std::string Inspector::NewLog() {
    const std::string log = world.appliance.Log();
    const std::string added = log.substr(std::min(logRead, log.size()));
    logRead = log.size();
    return added;
}

std::string Inspector::Everything() {
    std::string text;
    for (const std::string& command :
         {std::string("ip addr show"), std::string("ip route show table all"),
          std::string("ip -6 route show table all"), std::string("ip rule show"),
          std::string("ip -6 rule show"), vexotest::CtlProgram() + " gateway explain",
          vexotest::CtlProgram() + " route list", vexotest::CtlProgram() + " policy status"}) {
        text += "--- " + command + "\n" + vexotest::Run(vexotest::Words(command)).out;
    }
    return text;
}

}  // namespace vexosoak
