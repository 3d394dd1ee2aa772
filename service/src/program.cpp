#include "vexoservice/program.h"

#include <getopt.h>

#include <cstdio>
#include <exception>
#include <optional>

#include <vexobase/log.h>

namespace vexoservice {
namespace {

enum ExitCode { kEnded = 0, kFailed = 1, kWrongUsage = 2 };

struct Options {
    bool foreground = false;  ///< the log goes to stderr too
};

constexpr option kLongOptions[] = {
    {"foreground", no_argument, nullptr, 'f'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

void PrintUsage(const Program& program) {
    std::printf(
        "Usage: %s [--foreground]\n"
        "\n"
        "%s"
        "\n"
        "  -f, --foreground  log to standard error too\n"
        "  -h, --help        show this text and exit\n"
        "  -V, --version     show the version and exit\n"
        "\n"
        "Example, %s",
        program.name, program.purpose, program.example);
}

ExitCode WrongUsage(const Program& program) {
    std::fprintf(stderr, "See '%s --help'.\n", program.name);
    return kWrongUsage;
}

/// @return what to end with, or nothing when there is work to do
std::optional<ExitCode> Read(const Program& program, int argc, char* argv[], Options& options) {
    int letter = 0;
    while ((letter = ::getopt_long(argc, argv, "fhV", kLongOptions, nullptr)) != -1) {
        switch (letter) {
            case 'f':
                options.foreground = true;
                break;
            case 'h':
                PrintUsage(program);
                return kEnded;
            case 'V':
                std::printf("%s " VEXO_VERSION "\n", program.name);
                return kEnded;
            default:
                return WrongUsage(program);
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "%s: takes no argument '%s'\n", program.name, argv[optind]);
        return WrongUsage(program);
    }
    return std::nullopt;
}

std::string WhyEnded(std::string (*work)()) {
    try {
        return work();
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace

int RunService(const Program& program, int argc, char* argv[], std::string (*work)()) {
    Options options;
    if (const auto ended = Read(program, argc, argv, options)) {
        return *ended;
    }
    ::openlog(program.name, LOG_PID | (options.foreground ? LOG_PERROR : 0), LOG_DAEMON);
    const std::string why = WhyEnded(work);
    if (why.empty()) {
        return kEnded;
    }
    VEXO_LOG(LOG_ERR, "%s", why.c_str());
    if (!options.foreground) {  // else the log is on stderr already
        std::fprintf(stderr, "%s: %s\n", program.name, why.c_str());
    }
    return kFailed;
}

}  // namespace vexoservice
