#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "failure.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

int Complain(ExitCode code, const std::string& text) {
    // What was printed so far belongs before the complaint also where both go to one place.
    std::cout.flush();
    std::cerr << "vexonetctl: " << text << '\n';
    return code;
}

/// The command whose help fits the mistake.
std::string ChosenCommand(const CLI::App& app) {
    std::string name = app.get_name();
    for (const CLI::App* deeper = &app; !deeper->get_subcommands().empty();) {
        deeper = deeper->get_subcommands().back();
        name += " " + deeper->get_name();
    }
    return name;
}

int ExitOfParse(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return app.exit(error);  // --help and --version
    }
    // What is surplus explains more than what is then missing: most often it is misspelt.
    const std::vector<std::string> surplus = app.remaining(true);
    const std::string what = surplus.empty() ? error.what() : "unknown: " + surplus.front();
    return Complain(kWrongUsage, what + "\nSee '" + ChosenCommand(app) + " --help'.");
}

void Declare(CLI::App& app, Command& chosen) {
    app.set_version_flag("--version", "vexonetctl " VEXO_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 done, 1 refused or failed, 2 wrong usage, 3 daemon not running.\n\n"
        "Example: vexonetctl gateway list -4");
    AddStatusCommand(app, chosen);
    AddGatewayCommands(app, chosen);
    AddIPv6Commands(app, chosen);
    AddDeviceCommands(app, chosen);
    AddConflictCommands(app, chosen);
    AddRouter6Commands(app, chosen);
    AddPrefixCommands(app, chosen);
    AddRouteCommands(app, chosen);
    AddPolicyCommands(app, chosen);
    AddMonitorCommand(app, chosen);
    AddEventsCommand(app, chosen);
}

int Run(int argc, char* argv[]) {
    CLI::App app("Show and change what the network daemon manages", "vexonetctl");
    Command chosen;
    Declare(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return ExitOfParse(app, error);
    }
    chosen();
    if (!std::cout.flush()) {
        throw Failure(kRefused, "it was done, but the output could not be written");
    }
    return kDone;
}

}  // namespace
}  // namespace vexonetctl

int main(int argc, char* argv[]) {
    using namespace vexonetctl;
    try {
        return Run(argc, argv);
    } catch (const Failure& failure) {
        return Complain(failure.Code(), failure.what());
    } catch (const std::exception& error) {
        return Complain(kRefused, error.what());
    }
}
