#pragma once

#include <string>

namespace vexoservice {

/// What a service says of itself.
struct Program {
    const char* name;     ///< "vexonetd"; also in the system log
    const char* purpose;  ///< lines of --help, each with its newline
    const char* example;  ///< likewise: when, and the indented command
};

/// The whole of a service's main: reads the command line (--foreground, --help, --version), opens
/// the system log and has the service work. Why it ends, unless it was asked to, is said in the log
/// and to who started it.
/// @param program  outlives the log
/// @param work     @return why the service ends, "" when it was asked to; an exception says it too
/// @return the process's exit status: 0, 1 when it failed, 2 for a wrong command line
int RunService(const Program& program, int argc, char* argv[], std::string (*work)());

}  // namespace vexoservice
