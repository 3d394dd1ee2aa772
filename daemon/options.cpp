#include "options.h"

#include <getopt.h>

#include <cstdio>

namespace vexonetd {
namespace {

constexpr char kUsage[] =
    "Usage: vexonetd [--foreground]\n"
    "\n"
    "The network-management daemon. It stays in the foreground of its supervisor, logs to the\n"
    "system log and ends on SIGTERM.\n"
    "\n"
    "  -f, --foreground  log to standard error too\n"
    "  -h, --help        show this text and exit\n"
    "  -V, --version     show the version and exit\n"
    "\n"
    "Example, on a message bus of its own for a trial:\n"
    "  dbus-run-session vexonetd --foreground\n";

constexpr option kLongOptions[] = {
    {"foreground", no_argument, nullptr, 'f'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

Action WrongUsage() {
    std::fputs("See 'vexonetd --help'.\n", stderr);
    return Action::kWrongUsage;
}

}  // namespace

Action ReadOptions(int argc, char* argv[], Options& options) {
    int option = 0;
    while ((option = ::getopt_long(argc, argv, "fhV", kLongOptions, nullptr)) != -1) {
        switch (option) {
            case 'f':
                options.foreground = true;
                break;
            case 'h':
                std::fputs(kUsage, stdout);
                return Action::kDone;
            case 'V':
                std::puts("vexonetd " VEXO_VERSION);
                return Action::kDone;
            default:
                return WrongUsage();
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "vexonetd: takes no argument '%s'\n", argv[optind]);
        return WrongUsage();
    }
    return Action::kServe;
}

}  // namespace vexonetd
