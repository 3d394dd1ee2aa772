#pragma once

#include <chrono>

namespace vexonetwork::network::module {

/// How much may be said in a second about what strangers send: a flood of theirs must not become
/// one of log lines.
class LogBudget {
  public:
    /// Whether a line may be logged now.
    /// @param leftOut  takes the number of lines that were not since the last one; 0 mostly
    bool Spend(unsigned& leftOut) {
        constexpr unsigned kLinesPerSecond = 100;
        const auto now = std::chrono::steady_clock::now();
        if (now >= secondEnd) {
            secondEnd = now + std::chrono::seconds(1);
            lines = 0;
        }
        if (++lines > kLinesPerSecond) {
            ++silent;
            return false;
        }
        leftOut = silent;
        silent = 0;
        return true;
    }

  private:
    std::chrono::steady_clock::time_point secondEnd;
    unsigned lines = 0;
    unsigned silent = 0;
};

}  // namespace vexonetwork::network::module
