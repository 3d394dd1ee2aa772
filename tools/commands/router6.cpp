#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/router6_work.h"
#include "facts/validation.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

using Work = void (*)(const Router6Options&);

/// One command of a group and what its line is read into.
struct Declared {
    CLI::App* command;
    std::shared_ptr<Router6Options> options;

    const Declared& Word(const char* name, const char* what, std::string Router6Options::*target,
                         std::string (*check)(const std::string&)) const {
        command->add_option(name, options.get()->*target, what)
            ->required()
            ->type_name(name[0] == '-' ? "ADDR" : "")
            ->check(check);
        return *this;
    }
    const Declared& Wan() const {
        return Word("WAN", "The interface, or pppoe", &Router6Options::wan, CheckInterfaceName);
    }
    const Declared& Grant() const {
        Word("PREFIX", "The /64", &Router6Options::prefix, CheckLanPrefix);
        return Word("LAN", "The interface", &Router6Options::lan, CheckInterfaceName);
    }
    const Declared& Json() const {
        command->add_flag("--json", options->json, "Print JSON");
        return *this;
    }
    const Declared& Choices() const {
        command->add_flag("--default", options->isDefault, "Make it the first choice of gateways");
        command->add_flag("--open", options->isOpen, "Let anybody outside connect to the LANs");
        return *this;
    }
};

Declared Declare(CLI::App& group, Command& chosen, const std::string& name,
                 const std::string& purpose, Work work, const std::string& footer) {
    CLI::App* command = group.add_subcommand(name, purpose);
    const auto options = std::make_shared<Router6Options>();
    command->callback([&chosen, work, options] { chosen = [work, options] { work(*options); }; });
    command->footer(footer);
    return {command, options};
}

CLI::App* Group(CLI::App& parent, const std::string& name, const std::string& purpose,
                const std::string& footer) {
    CLI::App* group = parent.add_subcommand(name, purpose);
    group->require_subcommand(1);
    group->footer(footer);
    return group;
}

void DeclareCreate(CLI::App& routers, Command& chosen) {
    CLI::App& create = *Group(routers, "create", "Make a router",
                              "Example: vexonetctl router6 create native wan0 --default");
    Declare(create, chosen, "6in4", "A tunnel to a broker, who routes a prefix to it", Create6in4,
            "It begins at the IPv4 address of the WAN.\n\n"
            "Example: vexonetctl router6 create 6in4 wan0 --prefix 2001:db8:8::/48 \\\n"
            "             --remote 203.0.113.9 --local 2001:db8:7::2/64")
        .Wan()
        .Word("--prefix", "What is routed to it, ADDRESS/LENGTH", &Router6Options::prefix,
              CheckRoutedPrefix)
        .Word("--remote", "The broker's IPv4 address", &Router6Options::remote, CheckAddressV4)
        .Word("--local", "The IPv6 address of this end, ADDRESS/LENGTH", &Router6Options::local,
              CheckAddressLengthV6)
        .Choices();
    Declare(create, chosen, "6to4", "A tunnel to the relays that anybody may use", Create6to4,
            "The prefix is made of the public IPv4 address of the WAN, and follows it.\n\n"
            "Example: vexonetctl router6 create 6to4 wan0")
        .Wan()
        .Choices();
    Declare(create, chosen, "native", "Ask the provider for a prefix by DHCPv6", CreateNative,
            "The WAN gets its own address and gateway as before, of routers that advertise\n"
            "themselves.\n\n"
            "Example: vexonetctl router6 create native wan0 --default")
        .Wan()
        .Choices();
}

}  // namespace

void AddRouter6Commands(CLI::App& app, Command& chosen) {
    CLI::App& routers = *Group(app, "router6", "IPv6 for the LANs: tunnels and delegated prefixes",
                               "Example: vexonetctl router6 list");
    DeclareCreate(routers, chosen);
    Declare(routers, chosen, "destroy", "Take a router away", DestroyRouter,
            "Its LANs lose what they have of its prefix. A delegated prefix is given back.\n\n"
            "Example: vexonetctl router6 destroy wan0")
        .Wan();
    Declare(routers, chosen, "list", "Show the routers", ListRouters,
            "Example: vexonetctl router6 list --json")
        .Json();
    Declare(routers, chosen, "show", "Show one router", ShowRouter,
            "Example: vexonetctl router6 show wan0")
        .Wan()
        .Json();
    Declare(routers, chosen, "restore", "Make what is configured be there", RestoreRouters,
            "So it is done at each start, and when a link, an IPv4 address or a delegated\n"
            "prefix has changed. What is there already is not touched.\n\n"
            "Example: vexonetctl router6 restore");
}

void AddPrefixCommands(CLI::App& app, Command& chosen) {
    CLI::App& prefixes = *Group(app, "prefix", "Which LAN has got which /64 of a router",
                                "Example: vexonetctl prefix list");
    Declare(prefixes, chosen, "list", "Show the /64s that the routers have to give", ListPrefixes,
            "Example: vexonetctl prefix list --json")
        .Json();
    Declare(prefixes, chosen, "allocate", "Give a /64 to a LAN, and announce it there",
            AllocatePrefix,
            "Hosts make their addresses of it, and the LAN's interface has the first one.\n\n"
            "Example: vexonetctl prefix allocate 2001:db8:8:: br0")
        .Grant();
    Declare(prefixes, chosen, "deallocate", "Take a /64 back from a LAN", DeallocatePrefix,
            "Example: vexonetctl prefix deallocate 2001:db8:8:: br0")
        .Grant();
}

}  // namespace vexonetctl
