#pragma once

#include <optional>
#include <string>

namespace vexoservice {

/// What a service ends with.
enum ExitCode { kEnded = 0, kFailed = 1, kWrongUsage = 2 };

/// What a service says of itself.
struct Program {
    const char* name;     ///< "vexonetd"; also in the system log
    const char* purpose;  ///< lines of --help, each with its newline
    const char* example;  ///< likewise: when, and the indented command
};

struct Options {
    bool foreground = false;  ///< the log goes to stderr too
};

/// Reads the command line (getopt_long): --foreground, --help, --version.
/// @param exitCode  takes what to end with when there is nothing to do
/// @return nothing when --help or --version has been answered, or stderr says what is wrong
std::optional<Options> ReadOptions(const Program& program, int argc, char* argv[],
                                   ExitCode& exitCode);

/// Opens the system log, of facility daemon.
/// @param program  outlives the log
void OpenLog(const Program& program, const Options& options);

/// Says why the service ends, in the log and to who started it.
/// @return kFailed
ExitCode EndWith(const Program& program, const Options& options, const std::string& why);

}  // namespace vexoservice
