#include "vexonetwork/network/static_routes.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>

#include "network/parse_number.h"
#include "network/routing/kernel_routes.h"
#include "network/routing/locks.h"

namespace vexonetwork::network {
namespace {

constexpr IPType kTypes[] = {IPType::V4, IPType::V6};

std::string File() {
    return PolicyTableFile(kStaticTable);
}

/// A default route by the device alone has the family of an unspecified gateway.
std::string StoredGateway(const StaticRoute& route) {
    const bool isBare = route.destination == "default" && route.gateway.empty();
    return !isBare ? route.gateway : route.type == IPType::V4 ? "0.0.0.0" : "::";
}

Section ToSection(const std::string& name, const StaticRoute& route) {
    Section section(name);
    section.Set("destination", route.destination);
    section.Set("gateway", StoredGateway(route));
    section.Set("ifname", route.ifname);
    section.Set("metric", route.metric);
    return section;
}

StaticRoute ToStaticRoute(const Section& section) {
    return {section.Value("destination"), section.Value("gateway"), section.Value("ifname"),
            section.Value("metric")};
}

/// The name of a new section: a number above those that are there.
std::string NewName(const SectionFile& file) {
    std::uint32_t next = 0;
    for (const Section& section : file.sections) {
        if (const auto number = ParseNumber(section.Name()); number && *number < 1'000'000'000) {
            next = std::max(next, *number + 1);
        }
    }
    return std::to_string(next);
}

/// "10.20.1.1/16" is most likely a slip of the pen.
std::string WhyNoNetwork(const std::string& destination, const PolicyTableRoute& route) {
    const int family = route.destination.Family();
    return destination == "default" || ParsePrefix(family, destination, HostBits::kRefused)
               ? ""
               : "the network of " + destination + " is " + ToText(route.destination);
}

std::string Unwritten() {
    return File() + " cannot be written";
}

/// Takes the file, has it changed, and replaces it.
std::string Edit(const std::function<std::string(SectionFile&)>& change) {
    const ConfigLock lock(File());
    if (!lock) {
        return "the routes are being changed by another process; try again";
    }
    auto file = SectionFile::Read(File());
    if (!file) {
        return File() + " cannot be read";
    }
    if (std::string reason = change(*file); !reason.empty()) {
        return reason;
    }
    return file->Write(File()) ? "" : Unwritten();
}

bool IsTaken(const SectionFile& file, const PolicyTableRoute& route) {
    return std::ranges::any_of(file.sections, [&route](const Section& section) {
        const auto read = ReadPolicyTableRoute(section);
        return read.route && read.route->section != route.section
               && PlaceOf(*read.route) == PlaceOf(route);
    });
}

std::string Taken(const StaticRoute& route) {
    return "there is a route to " + route.destination
           + " of the same metric already; change that one, or give another metric";
}

using Sections = std::vector<Section>;

/// The one section that is meant, or why it is none.
std::pair<Sections::iterator, std::string> FindRoute(SectionFile& file, const StaticRoute& which) {
    // A gateway or interface that is good for any route; only the place counts.
    const auto wanted = ReadPolicyTableRoute(
        ToSection("", {which.destination, which.gateway, "lo", which.metric, which.type}));
    auto found = file.sections.end();
    if (!wanted.route) {
        return {found, wanted.fault};
    }
    for (auto section = file.sections.begin(); section != file.sections.end(); ++section) {
        const auto route = ReadPolicyTableRoute(*section).route;
        if (!route || route->destination != wanted.route->destination
            || (!which.metric.empty() && route->metric != wanted.route->metric)) {
            continue;
        }
        if (found != file.sections.end()) {
            return {file.sections.end(),
                    "several routes lead to " + which.destination + "; say which by its metric"};
        }
        found = section;
    }
    return {found,
            found == file.sections.end() ? "there is no such route to " + which.destination : ""};
}

}  // namespace

struct StaticRoutes::State {
    PolicyRoute table;
    FileStamps read;                   ///< the file as it was at the last look
    std::set<std::string> interfaces;  ///< that routes name
    bool anyInterface = false;         ///< a route leaves its interface to the kernel

    void Read();
};

void StaticRoutes::State::Read() {
    const FileStamps now({File()});
    const auto file = now == read ? std::nullopt : SectionFile::Read(File());
    if (!file) {
        return;
    }
    read = now;
    interfaces.clear();
    anyInterface = false;
    for (const Section& section : file->sections) {
        const std::string ifname = section.Value("ifname");
        anyInterface = anyInterface || ifname.empty();
        interfaces.insert(ifname);
    }
}

StaticRoutes::StaticRoutes() : state(std::make_unique<State>()) {}
StaticRoutes::~StaticRoutes() = default;

std::string StaticRoutes::Add(const StaticRoute& route) {
    return ApplyNow(Edit([&route](SectionFile& file) -> std::string {
        const Section section = ToSection(NewName(file), route);
        const auto read = ReadPolicyTableRoute(section);
        if (!read.route) {
            return read.fault;
        }
        if (std::string why = WhyNoNetwork(route.destination, *read.route); !why.empty()) {
            return why;
        }
        if (IsTaken(file, *read.route)) {
            return Taken(route);
        }
        file.sections.push_back(section);
        return TryRoute(*read.route);
    }));
}

std::string StaticRoutes::Change(const StaticRoute& which, const StaticRouteChange& change) {
    return ApplyNow(Edit([&](SectionFile& file) -> std::string {
        auto [section, why] = FindRoute(file, which);
        if (!why.empty()) {
            return why;
        }
        const auto former = ReadPolicyTableRoute(*section);
        StaticRoute route = ToStaticRoute(*section);
        route.type = *former.type;
        route.gateway = change.gateway.value_or(route.gateway);
        section->Set("gateway", StoredGateway(route));
        section->Set("ifname", change.ifname.value_or(route.ifname));
        section->Set("metric", change.metric.value_or(route.metric));
        const auto read = ReadPolicyTableRoute(*section);
        if (!read.route || IsTaken(file, *read.route)) {
            return read.route ? Taken(route) : read.fault;
        }
        return TryRoute(*read.route);
    }));
}

std::string StaticRoutes::Remove(const StaticRoute& which) {
    return ApplyNow(Edit([&which](SectionFile& file) {
        auto [section, why] = FindRoute(file, which);
        if (why.empty()) {
            file.sections.erase(section);
        }
        return why;
    }));
}

/// Other routes of the file may be wrong without this being a failure of the one that was changed.
/// A route that was tried and could not be stored goes again.
std::string StaticRoutes::ApplyNow(std::string reason) {
    if (reason.empty() || reason == Unwritten()) {
        Apply();
    }
    return reason;
}

std::vector<StaticRouteStatus> StaticRoutes::List() {
    const auto file = SectionFile::Read(File());
    if (!file) {
        return {{File(), {}, StaticRouteStatus::BAD, "cannot be read"}};
    }
    std::vector<StaticRouteStatus> list;
    KernelRoutes kernel;
    std::set<Place> places;
    for (const Section& section : file->sections) {
        const auto read = ReadPolicyTableRoute(section);
        StaticRouteStatus status{section.Name(), ToStaticRoute(section), StaticRouteStatus::BAD,
                                 read.fault};
        if (read.route && places.insert(PlaceOf(*read.route)).second) {
            std::tie(status.state, status.reason) = kernel.StateOf(*read.route);
        } else if (read.route) {
            status.reason = "another section has the same destination and metric";
        }
        status.route.type = read.type.value_or(IPType::V4);
        list.push_back(std::move(status));
    }
    return list;
}

std::optional<StaticRouteStatus> StaticRoutes::Find(const StaticRoute& which) {
    auto file = SectionFile::Read(File());
    if (!file || !FindRoute(*file, which).second.empty()) {
        return std::nullopt;
    }
    const std::string section = FindRoute(*file, which).first->Name();
    for (StaticRouteStatus& status : List()) {
        if (status.section == section && status.state != StaticRouteStatus::BAD) {
            return std::move(status);
        }
    }
    return std::nullopt;
}

int StaticRoutes::Apply() {
    state->Read();
    int result = 0;
    for (const IPType type : kTypes) {
        result = state->table.RenewTable(type, kStaticTable, "all") == 0 ? result : -1;
    }
    return result;
}

void StaticRoutes::Follow(const std::set<std::string>& changed) {
    const bool concerns =
        state->anyInterface
        || std::ranges::any_of(state->interfaces, [&changed](const std::string& ifname) {
               return changed.empty() || changed.contains(ifname);
           });
    if (concerns || IsBehind()) {
        Apply();
    }
}

bool StaticRoutes::IsBehind() const {
    return state->table.IsBehind() || FileStamps({File()}) != state->read;
}

}  // namespace vexonetwork::network
