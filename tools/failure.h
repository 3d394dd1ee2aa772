#pragma once

#include <stdexcept>
#include <string>

namespace vexonetctl {

/// What the program ends with.
enum ExitCode {
    kDone = 0,
    kRefused = 1,  ///< the daemon refused, or the work failed
    kWrongUsage = 2,
    kNotRunning = 3,  ///< there is no daemon to ask
};

/// Ends a command: main prints the text, which says what is wrong and what to do about it.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode exitCode, const std::string& text)
        : std::runtime_error(text), code(exitCode) {}

    ExitCode Code() const { return code; }

  private:
    ExitCode code;
};

}  // namespace vexonetctl
