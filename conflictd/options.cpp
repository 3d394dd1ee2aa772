#include "options.h"

#include <getopt.h>

#include <cstdio>

namespace conflictd {
namespace {

constexpr char kUsage[] =
    "Usage: vexonet-conflictd [--foreground]\n"
    "\n"
    "Finds out whether another host uses an IPv4 address of this machine. It stays in the\n"
    "foreground of its supervisor, logs to the system log and ends on SIGTERM.\n"
    "\n"
    "  -f, --foreground  log to standard error too\n"
    "  -h, --help        show this text and exit\n"
    "  -V, --version     show the version and exit\n"
    "\n"
    "Example, for a trial as root:\n"
    "  vexonet-conflictd --foreground\n";

constexpr option kLongOptions[] = {
    {"foreground", no_argument, nullptr, 'f'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

std::optional<Options> End(ExitCode& exitCode, ExitCode code) {
    if (code == kWrongUsage) {
        std::fputs("See 'vexonet-conflictd --help'.\n", stderr);
    }
    exitCode = code;
    return std::nullopt;
}

}  // namespace

std::optional<Options> ReadOptions(int argc, char* argv[], ExitCode& exitCode) {
    Options options;
    int option = 0;
    while ((option = ::getopt_long(argc, argv, "fhV", kLongOptions, nullptr)) != -1) {
        switch (option) {
            case 'f':
                options.foreground = true;
                break;
            case 'h':
                std::fputs(kUsage, stdout);
                return End(exitCode, kEnded);
            case 'V':
                std::puts("vexonet-conflictd " VEXO_VERSION);
                return End(exitCode, kEnded);
            default:
                return End(exitCode, kWrongUsage);
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "vexonet-conflictd: takes no argument '%s'\n", argv[optind]);
        return End(exitCode, kWrongUsage);
    }
    return options;
}

}  // namespace conflictd
