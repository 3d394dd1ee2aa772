#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace vexotest {

using Milliseconds = std::chrono::milliseconds;
using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

/// What a command that has ended left behind.
struct Outcome {
    int status;       ///< exit status, or 128+N when signal N ended it
    std::string out;  ///< standard output
    std::string err;  ///< standard error
};

/// Runs a program found in PATH to its end, with a deadline of a minute.
Outcome Run(const Arguments& command, const Environment& added = {});

/// A command line split at blanks.
Arguments Words(const std::string& commandLine);

/// Runs a command line, split at blanks, that must succeed; a failure fails the test and tells
/// what the command said. Returns its standard output. Paths of the project go into arguments of
/// their own, as there may be blanks in them.
std::string Must(const std::string& commandLine);
std::string Must(const Arguments& command);

/// A program in the background. Killed and reaped when the object dies.
class Process {
  public:
    Process() = default;

    /// @param output  file that takes standard output and error, appended to
    Process(const Arguments& command, const std::string& output, const Environment& added = {});
    Process(const Arguments& command, const std::string& out, const std::string& err,
            const Environment& added);
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    ~Process();

    pid_t Pid() const { return pid; }
    void Signal(int number) const;

    /// Waits for its end.
    /// @return as Outcome::status, or -1 when the deadline came first
    int Wait(Milliseconds deadline = std::chrono::minutes(1));

  private:
    pid_t pid = -1;
};

}  // namespace vexotest
