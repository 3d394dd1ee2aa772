#include <memory>
#include <string>
#include <string_view>

#include <vexobase/ip_prefix.h>

#include "commands/commands.h"
#include "commands/route_work.h"
#include "facts/validation.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

std::string CheckAddress(const std::string& text) {
    return vexobase::ParseAddress(AF_INET, text) || vexobase::ParseAddress(AF_INET6, text)
               ? ""
               : "'" + text + "' is no address such as 192.0.2.1 or 2001:db8::1";
}

std::string CheckMetric(const std::string& text) {
    constexpr unsigned long kMaxMetric = 0xffffffff;
    constexpr std::size_t kMaxDigits = 10;
    return !text.empty() && text.size() <= kMaxDigits
                   && text.find_first_not_of("0123456789") == text.npos
                   && std::stoul(text) <= kMaxMetric
               ? ""
               : "'" + text + "' is no number from 0 to " + std::to_string(kMaxMetric);
}

std::string CheckDestination(const std::string& text) {
    constexpr auto kMasked = vexobase::HostBits::kMasked;
    return text == "default" || vexobase::ParsePrefix(AF_INET, text, kMasked)
                   || vexobase::ParsePrefix(AF_INET6, text, kMasked)
               ? ""
               : "'" + text + "' is no network such as 10.20.0.0/16, no address and not 'default'";
}

/// Accepts "none" besides what `Check` does.
template <std::string (*Check)(const std::string&)>
std::string CheckOrNone(const std::string& text) {
    return text == "none" ? "" : Check(text);
}

/// One command of the group and what its line is read into.
struct Declared {
    CLI::App* command;
    std::shared_ptr<RouteOptions> options;

    const Declared& Families(const std::string& v4Note) const {
        CLI::Option* v4 = command->add_flag("-4,--ipv4", options->v4, "IPv4" + v4Note);
        command->add_flag("-6,--ipv6", options->v6, "IPv6")->excludes(v4);
        return *this;
    }
    const Declared& Destination() const {
        command->add_option("DESTINATION", options->destination, "A network, or default")
            ->required()
            ->type_name("")
            ->check(CheckDestination);
        return *this;
    }
    const Declared& Metric(const std::string& what) const {
        command->add_option("--metric", options->metric, what)->type_name("N")->check(CheckMetric);
        return *this;
    }
    const Declared& Quiet() const {
        command->add_flag("-q,--quiet", options->quiet, "Print nothing when it is done");
        return *this;
    }
};

constexpr char kOfADefault[] = " (needed for a default route only)";

Declared Declare(CLI::App& group, Command& chosen, const std::string& name,
                 const std::string& purpose, void (*work)(const RouteOptions&),
                 const std::string& footer) {
    CLI::App* command = group.add_subcommand(name, purpose);
    const auto options = std::make_shared<RouteOptions>();
    command->callback([&chosen, work, options] { chosen = [work, options] { work(*options); }; });
    command->footer(footer);
    return {command, options};
}

void DeclareList(CLI::App& group, Command& chosen) {
    const Declared list = Declare(
        group, chosen, "list", "Show the static routes and what has become of each", ListRoutes,
        "A route by an interface that is not there, or down, waits for it.\n\n"
        "Example: vexonetctl route list -4");
    list.Families(" (without -4 and -6: both)");
    list.command->add_flag("--json", list.options->json, "Print JSON");
}

void DeclareAdd(CLI::App& group, Command& chosen) {
    const Declared add =
        Declare(group, chosen, "add", "Add a static route", AddRoute,
                "Among all routes the longest prefix decides; a default route goes before those\n"
                "of the gateway lists. It is kept across reboots and changes of links.\n"
                "At least one of --gateway and --interface is needed.\n\n"
                "Example: vexonetctl route add 10.20.0.0/16 --gateway 192.0.2.254");
    add.Destination().Families(kOfADefault).Metric("Of several, the lowest serves").Quiet();
    add.command->add_option("--gateway", add.options->gateway, "A neighbour that knows the way")
        ->type_name("ADDR")
        ->check(CheckAddress);
    add.command->add_option("--interface", add.options->ifname, "The interface to leave by")
        ->type_name("IFNAME")
        ->check(CheckInterfaceName);
}

void DeclareChange(CLI::App& group, Command& chosen) {
    const Declared change =
        Declare(group, chosen, "change", "Change a static route", ChangeRoute,
                "What is left out stays; none takes out what may be missing. No packet is without\n"
                "the route meanwhile.\n\n"
                "Example: vexonetctl route change 10.20.0.0/16 --gateway 192.0.2.253");
    change.Destination()
        .Families(kOfADefault)
        .Metric("Which one, where several lead there")
        .Quiet();
    RouteOptions& options = *change.options;
    change.command->add_option("--gateway", options.gateway, "Another gateway, or none")
        ->type_name("ADDR")
        ->check(CheckOrNone<CheckAddress>);
    change.command->add_option("--interface", options.ifname, "Another interface, or none")
        ->type_name("IFNAME")
        ->check(CheckOrNone<CheckInterfaceName>);
    change.command->add_option("--new-metric", options.newMetric, "Another metric, or none")
        ->type_name("N")
        ->check(CheckOrNone<CheckMetric>);
}

void DeclareDelete(CLI::App& group, Command& chosen) {
    Declare(group, chosen, "del", "Remove a static route", DeleteRoute,
            "Example: vexonetctl route del 10.20.0.0/16")
        .Destination()
        .Families(kOfADefault)
        .Metric("Which one, where several lead there")
        .Quiet();
}

}  // namespace

void AddRouteCommands(CLI::App& app, Command& chosen) {
    CLI::App* group = app.add_subcommand("route", "The static routes");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl route add 10.20.0.0/16 --gateway 192.0.2.254");
    for (const auto declare : {DeclareList, DeclareAdd, DeclareChange, DeclareDelete}) {
        declare(*group, chosen);
    }
}

}  // namespace vexonetctl
