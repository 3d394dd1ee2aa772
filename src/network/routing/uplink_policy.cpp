#include "vexonetwork/network/uplink_policy.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iterator>
#include <set>

#include "network/interface_name.h"
#include "network/routing/connection_marks.h"
#include "network/routing/delegated_prefixes.h"
#include "network/routing/locks.h"
#include "network/routing/priorities.h"
#include "network/routing/stored_gateways.h"
#include "network/routing/table_number.h"
#include "network/routing/uplink_plan.h"

namespace vexonetwork::network {
namespace {

constexpr char kSettings[] = "/etc/iproute2/config/policy";
constexpr int kFamilies[] = {AF_INET, AF_INET6};

/// Gives the number of a table.
using GetNumber = AllottedNumber (*)(const std::string&);

AllottedNumber FindNumber(const std::string& table) {
    return {FindTableNumber(table)};
}

/// The loopback is nobody's uplink, nor is the table of the static routes, nor are the kernel's
/// own.
bool CanTakePart(const std::string& ifname) {
    constexpr std::string_view kTaken[] = {"lo", "static", "main", "default", "local", "unspec"};
    return IsInterfaceName(ifname) && IsTableName(ifname)
           && std::ranges::find(kTaken, ifname) == std::end(kTaken);
}

Scope ScopeOf(int family, const std::vector<Uplink>& uplinks) {
    Scope scope{family, {}, kFirstUplinkPriority, kLastUplinkPriority};
    for (const Uplink& uplink : uplinks) {
        if (uplink.table != 0) {
            scope.tables.push_back(uplink.table);
        }
    }
    return scope;
}

/// The stored gateway; without one, that of a default route that somebody else has set.
std::optional<Address> GatewayOf(int family, const Uplink& uplink, const StoredGateways& gateways,
                                 RouteSocket& socket) {
    const auto stored = gateways.Find(family, uplink.ifname);
    return stored || uplink.link.index == 0 ? stored
                                            : socket.MainGateway(family, uplink.link.index);
}

/// An uplink as it is now, but for its table, which is 0 while it has no number.
/// @return nothing, with errno, when the kernel does not tell its addresses
std::optional<Uplink> Look(const std::string& ifname, const StoredGateways& gateways, Links& links,
                           RouteSocket& socket) {
    Uplink uplink;
    uplink.ifname = ifname;
    uplink.link = links.Find(ifname);
    if (uplink.link.index != 0) {
        auto addresses = socket.Addresses(uplink.link.index);
        if (!addresses) {
            return std::nullopt;
        }
        uplink.addresses = std::move(*addresses);
    }
    uplink.gatewayV4 = GatewayOf(AF_INET, uplink, gateways, socket);
    uplink.gatewayV6 = GatewayOf(AF_INET6, uplink, gateways, socket);
    uplink.delegated = DelegatedPrefixes(ifname);
    return uplink;
}

/// Whether nothing of an uplink is missing, and nothing of ours in its table is surplus.
bool IsInStep(RouteSocket& socket, const Uplink& uplink, int family) {
    const auto present = ReadState(socket, ScopeOf(family, {uplink}));
    if (!present) {
        return false;
    }
    const Steps steps = Compare(PlanUplinks(family, {uplink}), *present);
    return steps.additions.empty()
           && std::ranges::none_of(steps.removals, [&uplink](const Change& change) {
                  return std::visit(
                      [&uplink](const auto& each) { return each.table == uplink.table; },
                      change.object);
              });
}

UplinkStatus::Family FamilyStatus(RouteSocket& socket, const Uplink& one, int family) {
    UplinkStatus::Family status;
    for (const ConnectedAddress& address : one.addresses) {
        if (IsRuled(address, family)) {
            status.addresses.push_back(ToText(address.local));
        }
    }
    for (const Prefix& prefix : one.delegated) {
        if (prefix.Family() == family) {
            status.delegated.push_back(ToText(prefix));
        }
    }
    const auto& gateway = family == AF_INET ? one.gatewayV4 : one.gatewayV6;
    status.gateway = gateway ? ToText(*gateway) : "";
    status.isInStep = IsInStep(socket, one, family);
    return status;
}

}  // namespace

struct UplinkPolicy::State {
    Complaints settings;
    Complaints kernel;
    FileStamps read;  ///< the settings as they were at the last look
    std::vector<std::string> interfaces;
    FileStamps routers;  ///< where the delegated prefixes of these come from, likewise
    ConnectionMarks marks;
    bool isBehind = false;  ///< something could not be read, or the numbers are being changed

    bool ReadSettings();
    bool ReadFiles();
    void ReadSection(const Section& section);
    std::vector<std::string> RouterFiles() const;
    std::optional<std::vector<Uplink>> LookAtUplinks(RouteSocket& socket, GetNumber number);
    bool SynchroniseOnce(const std::function<bool()>& isCurrent);
};

/// @return false when the file cannot be read, which tells nothing of what should be
bool UplinkPolicy::State::ReadSettings() {
    settings.Begin();
    const FileStamps now({kSettings});
    const auto file = SectionFile::Read(kSettings);
    if (!file) {
        settings.Say(std::string("Failed to read config [") + kSettings + "]");
        return false;
    }
    read = now;
    interfaces.clear();
    for (const Section& section : file->sections) {
        ReadSection(section);
    }
    return true;
}

void UplinkPolicy::State::ReadSection(const Section& section) {
    constexpr std::string_view kKeys[] = {"enabled"};
    const auto where = std::string("] in [") + kSettings + "]";
    const std::string enabled = section.Value(kKeys[0]);
    const std::string name = section.Name().substr(0, 32);
    for (const std::string& line : section.UnknownLines(kKeys)) {
        settings.Say("Bad line [" + line + where);
    }
    if (enabled != "yes") {
        if (!enabled.empty() && enabled != "no") {
            settings.Say("Interface [" + name + "] is enabled neither with yes nor no, but ["
                         + enabled.substr(0, 32) + where);
        }
    } else if (!CanTakePart(section.Name())) {
        settings.Say("Bad interface [" + name + where);
    } else if (std::ranges::find(interfaces, section.Name()) == interfaces.end()) {
        interfaces.push_back(section.Name());
    }
}

/// @return false when it is not known who takes part and in which table
bool UplinkPolicy::State::ReadFiles() {
    if (!ReadSettings()) {
        return false;
    }
    const bool isKnown = interfaces.empty() || AreTableNumbersKnown();
    if (!isKnown) {
        kernel.Say("Failed to read the numbers of the routing tables");
    }
    return isKnown;
}

std::vector<std::string> UplinkPolicy::State::RouterFiles() const {
    std::vector<std::string> files;
    std::ranges::transform(interfaces, std::back_inserter(files), Router6FileOf);
    return files;
}

/// Nothing if any fact is unreadable; otherwise rules of unseen addresses would be deleted. No two
/// uplinks share a table, nor does one share that of the static routes: one would remove what is
/// the other's.
std::optional<std::vector<Uplink>> UplinkPolicy::State::LookAtUplinks(RouteSocket& socket,
                                                                      GetNumber number) {
    const StoredGateways gateways;
    if (!gateways.AreKnown()) {
        kernel.Say("Failed to read the stored gateways");
        return std::nullopt;
    }
    std::set<std::uint32_t> taken{0, FindTableNumber("static").value_or(0)};
    routers = FileStamps(RouterFiles());
    Links links;
    std::vector<Uplink> uplinks;
    for (const std::string& ifname : interfaces) {
        auto uplink = Look(ifname, gateways, links, socket);
        if (!uplink) {
            kernel.Say("Failed to read the addresses of [" + ifname + "]: " + ::strerror(errno));
            return std::nullopt;
        }
        const auto allotted = number(ifname);
        if (!allotted.fault.empty()) {
            kernel.Say(allotted.fault);
        }
        isBehind = isBehind || allotted.isPending;
        const std::uint32_t table = allotted.number.value_or(0);
        uplink->table = taken.insert(table).second ? table : 0;
        uplinks.push_back(std::move(*uplink));
    }
    return uplinks;
}

UplinkPolicy::UplinkPolicy() : state(std::make_unique<State>()) {}
UplinkPolicy::~UplinkPolicy() = default;

std::string UplinkPolicy::Enable(const std::vector<std::string>& ifnames) {
    return Store(ifnames, true);
}

std::string UplinkPolicy::Disable(const std::vector<std::string>& ifnames) {
    return Store(ifnames, false);
}

std::string UplinkPolicy::Store(const std::vector<std::string>& ifnames, bool enabled) {
    const ConfigLock lock(kSettings);
    if (!lock) {
        return "the settings are being changed by another process; try again";
    }
    auto file = SectionFile::Read(kSettings);
    if (!file) {
        return std::string(kSettings) + " cannot be read";
    }
    for (const std::string& ifname : ifnames) {
        if (!CanTakePart(ifname)) {
            return "no routing table can bear the name of '" + ifname + "'";
        }
        if (std::ranges::find(file->sections, ifname, &Section::Name) == file->sections.end()) {
            file->sections.emplace_back(ifname);
        }
        for (Section& section : file->sections) {
            if (section.Name() == ifname) {
                section.Set("enabled", enabled ? "yes" : "no");
            }
        }
    }
    if (!file->Write(kSettings)) {
        return std::string(kSettings) + " cannot be written; nothing was changed";
    }
    return Synchronise() == 0 ? "" : "stored, but not all of it works: " + state->kernel.Last();
}

std::vector<std::string> UplinkPolicy::Interfaces() {
    state->ReadSettings();
    return state->interfaces;
}

std::vector<std::string> UplinkPolicy::Candidates() {
    return StoredGateways().Interfaces();
}

bool UplinkPolicy::State::SynchroniseOnce(const std::function<bool()>& isCurrent) {
    const KernelTurn turn;
    RouteSocket socket;
    isBehind = false;
    auto seen = ReadFiles() ? LookAtUplinks(socket, AllotTableNumber) : std::nullopt;
    if (!seen) {
        isBehind = true;
        return false;
    }
    std::vector<Uplink>& uplinks = *seen;
    const auto hasNoTable = [](const Uplink& uplink) { return uplink.table == 0; };
    for (const Uplink& uplink : uplinks) {
        if (hasNoTable(uplink) && !isBehind) {
            kernel.Say("Interface [" + uplink.ifname + "] has no routing table of its own; see "
                       + "/etc/iproute2/rt_tables");
        }
    }
    // What is surplus may be that of a table whose number is not known yet.
    const auto mayRemove = [&] { return !isBehind && isCurrent(); };
    bool done = std::erase_if(uplinks, hasNoTable) == 0;
    for (const int family : kFamilies) {
        const auto wanted = PlanUplinks(family, uplinks);
        done = BringInStep(socket, ScopeOf(family, uplinks), wanted, mayRemove, kernel) && done;
    }
    if (isBehind) {
        return false;
    }
    if (const auto complaint = marks.Synchronise(uplinks)) {
        kernel.Say("Failed to mark the connections that come in by uplinks: " + *complaint);
        return false;
    }
    return done;
}

int UplinkPolicy::Synchronise() {
    constexpr int kMaxAttempts = 3;
    std::vector<std::string> files = StoredGateways::Files();
    files.emplace_back(kSettings);
    state->kernel.Begin();
    for (int attempt = 1;; ++attempt) {
        const FileStamps before(files);
        const auto isCurrent = [&] { return FileStamps(files) == before; };
        const bool done = state->SynchroniseOnce(isCurrent);
        if (isCurrent() || attempt == kMaxAttempts) {
            return done ? 0 : -1;
        }
    }
}

void UplinkPolicy::Follow(const std::set<std::string>& changed) {
    const bool isOn = !state->interfaces.empty();
    const bool concerns =
        changed.empty() || std::ranges::any_of(state->interfaces, [&](const std::string& each) {
            return changed.contains(each);
        });
    if ((isOn && concerns) || IsBehind() || FileStamps(state->RouterFiles()) != state->routers) {
        Synchronise();
    }
}

bool UplinkPolicy::IsBehind() const {
    return state->isBehind || FileStamps({kSettings}) != state->read;
}

void UplinkPolicy::Repair() {
    state->marks.Doubt();
    Synchronise();
}

std::vector<UplinkStatus> UplinkPolicy::Status() {
    state->ReadSettings();
    RouteSocket socket;
    const std::vector<Uplink> uplinks =
        state->LookAtUplinks(socket, FindNumber).value_or(std::vector<Uplink>());
    std::vector<UplinkStatus> result;
    result.reserve(uplinks.size());
    // The kernel tells its rulesets to root alone.
    const auto marks =
        ::geteuid() == 0 ? std::optional(ConnectionMarks::Stand(uplinks)) : std::nullopt;
    for (const Uplink& uplink : uplinks) {
        result.push_back({uplink.ifname, uplink.table, MarkOf(uplink), marks,
                          uplink.link.index != 0, uplink.link.isUp,
                          FamilyStatus(socket, uplink, AF_INET),
                          FamilyStatus(socket, uplink, AF_INET6)});
    }
    return result;
}

}  // namespace vexonetwork::network
