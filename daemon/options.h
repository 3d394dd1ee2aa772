#pragma once

namespace vexonetd {

/// What to do with a command line.
enum class Action {
    kServe,
    kDone,        ///< --help or --version has been answered
    kWrongUsage,  ///< it has been said on stderr what is wrong
};

struct Options {
    bool foreground = false;  ///< the log goes to stderr too
};

/// Reads the command line (getopt_long). `options` is filled for kServe.
Action ReadOptions(int argc, char* argv[], Options& options);

}  // namespace vexonetd
