#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/gateway_work.h"
#include "facts/validation.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

/// One command of the group and what its line is read into.
struct Declared {
    CLI::App* command;
    std::shared_ptr<GatewayOptions> options;

    const Declared& Families(const std::string& v4Note) const {
        CLI::Option* v4 = command->add_flag("-4,--ipv4", options->v4, "IPv4" + v4Note);
        command->add_flag("-6,--ipv6", options->v6, "IPv6")->excludes(v4);
        return *this;
    }
    const Declared& Json() const {
        command->add_flag("--json", options->json, "Print JSON");
        return *this;
    }
    const Declared& Quiet() const {
        command->add_flag("-q,--quiet", options->quiet, "Print nothing when it is done");
        return *this;
    }
    const Declared& Interface(const char* name, const char* what,
                              std::string GatewayOptions::*target) const {
        command->add_option(name, options.get()->*target, what)
            ->required()
            ->type_name("")
            ->check(CheckInterfaceName);
        return *this;
    }
};

constexpr char kDefaultFamily[] = " (the default)";
constexpr char kBothOtherwise[] = " (without -4 and -6: both)";

Declared Declare(CLI::App& group, Command& chosen, const std::string& name,
                 const std::string& purpose, void (*work)(const GatewayOptions&),
                 const std::string& footer) {
    CLI::App* command = group.add_subcommand(name, purpose);
    const auto options = std::make_shared<GatewayOptions>();
    command->callback([&chosen, work, options] { chosen = [work, options] { work(*options); }; });
    command->footer(footer);
    return {command, options};
}

void DeclareReading(CLI::App& group, Command& chosen) {
    Declare(group, chosen, "list", "Show the lists and who carries the default route", ListGateways,
            "The first usable entry wins; * marks the one that carries the default route.\n\n"
            "Example: vexonetctl gateway list -4")
        .Families(kBothOtherwise)
        .Json();
    Declare(group, chosen, "explain", "Tell what an election makes of each entry, and why",
            ExplainGateways,
            "Beside it stands the default route that the kernel has, and what to do when that\n"
            "is another. Nothing is changed.\n\n"
            "Example: vexonetctl gateway explain -4")
        .Families(kBothOtherwise)
        .Json();
    Declare(group, chosen, "show", "Show what is known of one interface", ShowGateway,
            "Example: vexonetctl gateway show eth0 --json")
        .Interface("IFNAME", "The interface", &GatewayOptions::ifname)
        .Families(kDefaultFamily)
        .Json();
}

void DeclareAdd(CLI::App& group, Command& chosen) {
    const Declared add =
        Declare(group, chosen, "add", "Add an interface, or change or move its entry", AddGateway,
                "What is left out stays as it is stored. The IPv6 gateway :: means a default\n"
                "route that names the interface alone. The election looks for a link where the\n"
                "class is ethernet. Then the default route is elected anew.\n\n"
                "Example: vexonetctl gateway add eth0 --gateway 192.0.2.1 --dns 192.0.2.53 \\\n"
                "             --class ethernet --priority first");
    add.Interface("IFNAME", "The interface", &GatewayOptions::ifname)
        .Families(kDefaultFamily)
        .Quiet();
    GatewayOptions& options = *add.options;
    add.command->add_option("--gateway", options.gateway, "Its gateway, or none")
        ->type_name("ADDR");
    add.command->add_option("--dns", options.dns, "The DNS server announced with it, or none")
        ->type_name("ADDR");
    add.command
        ->add_option("--class", options.interfaceClass, "Its kind; ethernet for a new one that is")
        ->type_name("WORD")
        ->check(CheckClassWord);
    add.command
        ->add_option("--priority", options.priority,
                     "first, last, keep (the default) or a place from 0")
        ->type_name("PLACE")
        ->check(CheckPriority);
}

void DeclareDelete(CLI::App& group, Command& chosen) {
    Declare(group, chosen, "del", "Take an interface out of a list", DeleteGateway,
            "Then the default route is elected anew.\n\n"
            "Example: vexonetctl gateway del eth0 -6")
        .Interface("IFNAME", "The interface", &GatewayOptions::ifname)
        .Families(kDefaultFamily)
        .Quiet();
}

void DeclareSlave(CLI::App& group, Command& chosen) {
    const Declared slave = Declare(
        group, chosen, "slave", "Bar an interface from carrying the default route", SetSlave,
        "For members of a bond. The default route is not elected anew.\n\n"
        "Example: vexonetctl gateway slave eth1 on");
    slave.Interface("IFNAME", "The interface", &GatewayOptions::ifname);
    slave.command->add_option("STATE", slave.options->slave, "on or off")
        ->required()
        ->type_name("")
        ->check(CheckOnOrOff);
    slave.Families(kDefaultFamily).Quiet();
}

void DeclareCopy(CLI::App& group, Command& chosen) {
    const Declared copy = Declare(
        group, chosen, "copy", "Give one interface's entry and place to another", CopyGateway,
        "For an interface that replaces another. The default route is not elected anew.\n\n"
        "Example: vexonetctl gateway copy eth0 bond0 --delete-source");
    copy.Interface("SOURCE", "The interface to copy from", &GatewayOptions::ifname)
        .Interface("DESTINATION", "The interface that gets the entry", &GatewayOptions::destination)
        .Families(kDefaultFamily)
        .Quiet();
    copy.command->add_flag("--delete-source", copy.options->deleteSource,
                           "Take SOURCE out of the list");
}

void DeclareRefresh(CLI::App& group, Command& chosen) {
    Declare(group, chosen, "refresh", "Elect the default route anew", RefreshGateways,
            "Example: vexonetctl gateway refresh")
        .Families(kBothOtherwise)
        .Quiet();
}

}  // namespace

void AddGatewayCommands(CLI::App& app, Command& chosen) {
    CLI::App* group =
        app.add_subcommand("gateway", "The candidates for the default route, in order");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl gateway add eth0 --gateway 192.0.2.1");
    for (const auto declare :
         {DeclareReading, DeclareAdd, DeclareDelete, DeclareSlave, DeclareCopy, DeclareRefresh}) {
        declare(*group, chosen);
    }
}

}  // namespace vexonetctl
