#pragma once

#include <optional>

namespace conflictd {

/// What the service ends with.
enum ExitCode { kEnded = 0, kFailed = 1, kWrongUsage = 2 };

struct Options {
    bool foreground = false;  ///< the log goes to stderr too
};

/// Reads the command line (getopt_long).
/// @param exitCode  takes what to end with when there is nothing to do
/// @return nothing when --help or --version has been answered, or stderr says what is wrong
std::optional<Options> ReadOptions(int argc, char* argv[], ExitCode& exitCode);

}  // namespace conflictd
