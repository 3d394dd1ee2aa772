#include "facts.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>

#include <vexobase/ip_prefix.h>
#include <vexonetwork/utils/config.h>

#include "support/event_queue.h"

namespace vexosoak {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using vexotest::ReadFile;
using Words = std::set<std::string>;

const std::string kFolder = "/etc/iproute2/config/";
constexpr char kFamilies[][3] = {"-4", "-6"};
constexpr int kUplinkPriority = 31'100;

/// What no event and no request may bring into the log.
constexpr const char* kBadLines[] = {"Failed to handle an event",
                                     "Failed to set file",
                                     "Failed to process request",
                                     "Get system gateway failed",
                                     "Failed to delete default gateway",
                                     "no longer followed",
                                     "terminate called",
                                     "Sanitizer"};

/// What a program says in JSON; null when it says nothing.
Json::Value Told(const vexotest::Outcome& outcome) {
    return outcome.out.empty() ? Json::Value() : vexotest::Parsed(outcome.out);
}

Json::Value Ask(const std::string& command) {
    return Told(vexotest::Run(vexotest::Words(command)));
}

bool HasFlag(const Json::Value& interface, const std::string& flag) {
    return std::ranges::find(interface["flags"], flag) != interface["flags"].end();
}

/// Those that a gateway may be a neighbour of, and that rules are made for.
std::vector<std::string> AddressesOf(const Json::Value& interface, const std::string& family) {
    std::vector<std::string> addresses;
    for (const Json::Value& each : interface["addr_info"]) {
        if (each["family"] == (family == "-4" ? "inet" : "inet6") && each["scope"] != "link") {
            addresses.push_back(each["local"].asString());
        }
    }
    return addresses;
}

/// The networks of this world end with the last separator.
bool IsNeighbour(const std::string& gateway, const std::vector<std::string>& addresses) {
    const auto network = [](const std::string& address) {
        return address.substr(0, address.find_last_of(".:") + 1);
    };
    return gateway.starts_with("fe80:") || std::ranges::any_of(addresses, [&](const auto& each) {
               return network(each) == network(gateway);
           });
}

std::string Text(const Words& words) {
    std::string text;
    for (const std::string& word : words) {
        text += " [" + word + "]";
    }
    return text.empty() ? " none" : text;
}

std::map<std::string, std::map<std::string, std::string>> Sections(const std::string& name) {
    std::map<std::string, std::map<std::string, std::string>> all;
    vexonetwork::utils::ConfigSection file(kFolder + name);
    if (file.Read() == 0) {
        for (const auto& [section, pairs] : file.GetKeyValues()) {
            all[section].insert(pairs.begin(), pairs.end());
        }
    }
    return all;
}

/// Whether the kernel has yet to tell of a carrier, or tries an address.
bool IsUndecided(const Json::Value& interface) {
    const bool carrier = HasFlag(interface, "LOWER_UP");
    const bool told = interface["operstate"] == "UP" || interface["operstate"] == "UNKNOWN";
    return carrier != told
           || (carrier && std::ranges::any_of(interface["addr_info"], [](const auto& address) {
                   return address["tentative"] == true && address["dadfailed"] != true;
               }));
}

std::string GatewayText(const Json::Value& route, const std::string& ifname) {
    return "via " + route["gateway"].asString() + " dev " + route[ifname].asString();
}

/// The addresses of a rule by source: those that fill a prefix share one.
std::vector<std::string> SourcesOf(const Json::Value& rule, int family) {
    const int bits = vexobase::AddressBits(family);
    const int length = rule.get("srclen", bits).asInt();
    const vexobase::IpPrefix prefix(*vexobase::ParseAddress(family, rule["src"].asString()),
                                    length);
    std::vector<std::string> addresses;
    for (std::uint64_t index = 0; index >> (bits - length) == 0; ++index) {
        addresses.push_back(ToText(prefix.Part(bits, index)->Network()));
    }
    return addresses;
}

/// Rules by source, and the default routes of these tables.
Words PolicyOf(const std::string& family, const Words& tables) {
    Words present;
    for (const Json::Value& rule : Ask("ip -j " + family + " rule show")) {
        if (rule["priority"] != kUplinkPriority || rule.isMember("fwmark")) {
            continue;
        }
        for (const auto& address : SourcesOf(rule, family == "-4" ? AF_INET : AF_INET6)) {
            present.insert("from " + address + " to " + rule["table"].asString());
        }
    }
    for (const Json::Value& route : Ask("ip -j " + family + " route show table all")) {
        if (route["dst"] == "default" && tables.contains(route["table"].asString())) {
            present.insert(GatewayText(route, "dev") + " in " + route["table"].asString());
        }
    }
    return present;
}

}  // namespace

bool IsSettled(World& world) {
    const auto start = steady_clock::now();
    while (steady_clock::now() - start < milliseconds(130)) {
        if (!vexotest::IsQuiet(world.appliance.Daemon().Pid())) {
            return false;
        }
        ::usleep(5'000);
    }
    return std::ranges::none_of(Ask("ip -j addr show"), IsUndecided);
}

std::string Everything() {
    std::string text;
    for (const char* command : {"ip addr show", "ip route show table all",
                                "ip -6 route show table all", "ip rule show", "ip -6 rule show"}) {
        text += std::string("--- ") + command + "\n" + vexotest::Must(command);
    }
    for (const char* command : {"gateway explain", "route list", "policy status"}) {
        text += std::string("--- ") + command + "\n" + vexotest::Ctl(command).out;
    }
    return text;
}

/// Null when there is none.
const Json::Value& Inspector::Interface(const std::string& ifname) const {
    const auto found = std::ranges::find_if(
        interfaces, [&](const Json::Value& each) { return each["ifname"] == ifname; });
    return found == interfaces.end() ? Json::Value::nullSingleton() : *found;
}

std::string Inspector::FirstUsable(const std::string& family) {
    for (const Json::Value& entry : lists[family]) {
        const Json::Value& interface = Interface(entry["ifname"].asString());
        // Of other classes no link is asked.
        const bool isLinked = entry["class"] != "ethernet" || !HasFlag(interface, "NO-CARRIER");
        if (entry["slave"] != true && HasFlag(interface, "UP") && isLinked
            && IsNeighbour(entry["gateway"].asString(), AddressesOf(interface, family))) {
            return GatewayText(entry, "ifname");
        }
    }
    return "";
}

void Inspector::CheckElection(const std::string& family) {
    const std::string usable = FirstUsable(family);
    const Json::Value told = Told(vexotest::Ctl("gateway explain --json " + family));
    const Json::Value& elected = told[family == "-4" ? "ipv4" : "ipv6"]["elected"];
    const std::string explained = elected.isNull() ? "" : GatewayText(elected, "ifname");
    Words installed;
    for (const std::string& route : vexotest::DefaultRoutes(family)) {
        installed.insert(route.substr(0, route.find(" src ")));
    }
    // Without a winner IPv4 keeps what was there.
    if (explained != usable || (!usable.empty() && installed != Words{usable})) {
        broken.push_back("election " + family + ": the first usable is [" + usable
                         + "], explain names [" + explained + "], the kernel has"
                         + Text(installed));
    }
}

/// Rules and tables of the uplinks that take part, against what their addresses demand.
void Inspector::CheckPolicy(const std::string& family) {
    Words wanted;
    Words tables;  ///< whose default route the kernel cannot refuse
    auto stored = Sections("gateway_database");
    for (auto& [ifname, setting] : Sections("policy")) {
        const Json::Value& interface = Interface(ifname);
        const auto addresses = AddressesOf(interface, family);
        if (setting["enabled"] != "yes" || !HasFlag(interface, "UP") || addresses.empty()) {
            tables.insert(ifname);
            continue;
        }
        for (const std::string& address : addresses) {
            wanted.insert("from " + address + " to " + ifname);
        }
        const std::string gateway = stored[ifname][family == "-4" ? "gateway" : "gateway_v6"];
        if (!gateway.empty() && IsNeighbour(gateway, addresses)) {
            wanted.insert("via " + gateway + " dev " + ifname + " in " + ifname);
            tables.insert(ifname);
        }
    }
    if (const Words present = PolicyOf(family, tables); wanted != present) {
        broken.push_back("policy " + family + ": wanted are" + Text(wanted) + ", there are"
                         + Text(present));
    }
}

void Inspector::CheckStaticRoutes() {
    Words wanted;
    Words present;
    const Json::Value& lan = Interface("lan0");
    if (HasFlag(lan, "UP") && IsNeighbour(world.ports.back().gateway, AddressesOf(lan, "-4"))) {
        for (auto& [section, pairs] : Sections("static-table")) {
            wanted.insert(pairs["destination"]);
        }
    }
    for (const Json::Value& route : Ask("ip -j -4 route show table main proto 86")) {
        present.insert(route["dst"].asString());
    }
    if (wanted != present) {
        broken.push_back("static routes: wanted are" + Text(wanted) + ", there are"
                         + Text(present));
    }
}

void Inspector::CheckFiles(const std::string& family) {
    const bool v4 = family == "-4";
    Words listed;
    Words servers;
    auto stored = Sections("gateway_database");
    for (const Json::Value& entry : lists[family]) {
        const std::string ifname = entry["ifname"].asString();
        const std::string gateway = entry["gateway"].asString();
        listed.insert(ifname + " " + gateway + " " + entry["dns"].asString());
        if (!entry["dns"].asString().empty()) {
            servers.insert("nameserver " + entry["dns"].asString());
        }
        if (const auto& kept = stored[ifname][v4 ? "gateway" : "gateway_v6"]; kept != gateway) {
            broken.push_back("database: " + ifname + " has [" + kept + "], the list " + gateway);
        }
    }
    Words written;
    for (auto& [section, pairs] : Sections(v4 ? "gateway_v4_priority" : "gateway_v6_priority")) {
        written.insert(pairs["ifname"] + " " + pairs["gateway"] + " " + pairs["dns"]);
    }
    std::istringstream resolver(ReadFile(kFolder + (v4 ? "resolv4.conf" : "resolv6.conf")));
    Words lines;
    for (std::string line; std::getline(resolver, line);) {
        lines.insert(line);
    }
    // Until the next request they also hold an entry that waits for its link since the start.
    if (!std::ranges::includes(written, listed) || !std::ranges::includes(lines, servers)) {
        broken.push_back("files " + family + ": the list has" + Text(listed) + ", its file"
                         + Text(written) + ", the resolver file" + Text(lines));
    }
}

Inspector::Usage Inspector::UsageOf(pid_t pid) {
    namespace fs = std::filesystem;
    const std::string folder = "/proc/" + std::to_string(pid);
    const auto count = [&](const char* name) {
        return std::distance(fs::directory_iterator(folder + name), fs::directory_iterator());
    };
    const std::string status = ReadFile(folder + "/status");
    const auto memory = status.find("RssAnon:");
    return {pid, count("/fd"), count("/task"),
            memory == status.npos ? 0 : std::stol(status.substr(memory + 8))};
}

void Inspector::CheckUsage() {
    const Usage now = UsageOf(world.appliance.Daemon().Pid());
    if (now.pid != first.pid) {
        first = now;
    }
    const auto text = [](long before, long after) {
        return std::to_string(before) + " -> " + std::to_string(after);
    };
    // One thread begins with the first client of DHCP.
    if (now.descriptors > first.descriptors + 2 || now.threads > first.threads + 1
        || now.kibibytes > first.kibibytes + 8'192) {
        broken.push_back("usage: descriptors " + text(first.descriptors, now.descriptors)
                         + ", threads " + text(first.threads, now.threads) + ", KiB "
                         + text(first.kibibytes, now.kibibytes));
    }
}

void Inspector::CheckLog() {
    const std::string log = world.appliance.Log();
    std::istringstream lines(log.substr(std::min(logTold, log.size())));
    for (std::string line; std::getline(lines, line);) {
        if (std::ranges::any_of(kBadLines,
                                [&](const char* bad) { return line.find(bad) != line.npos; })) {
            broken.push_back("log: " + line);
        }
    }
}

std::vector<std::string> Inspector::Inspect() {
    broken.clear();
    interfaces = Ask("ip -j addr show");
    lists["-4"] = world.appliance.GatewayList("GTYPE_V4");
    lists["-6"] = world.appliance.GatewayList("GTYPE_V6");
    for (const char* family : kFamilies) {
        CheckElection(family);
        CheckPolicy(family);
        CheckFiles(family);
    }
    CheckStaticRoutes();
    CheckUsage();
    CheckLog();
    return std::move(broken);
}

std::string Inspector::NewLog() {
    const std::string log = world.appliance.Log();
    const std::string added = log.substr(std::min(logTold, log.size()));
    logTold = log.size();
    return added;
}

}  // namespace vexosoak
