#pragma once

#include <algorithm>
#include <chrono>

namespace vexonetwork::network {

/// Allows something so many times a second, and as many at once: never more than twice that
/// number in any second.
class TokenBucket {
  public:
    explicit TokenBucket(double timesPerSecond) : rate(timesPerSecond), tokens(timesPerSecond) {}

    /// Whether it may be done now.
    bool Spend() {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> elapsed = now - filled;
        filled = now;
        tokens = std::min(rate, tokens + elapsed.count() * rate);
        if (tokens < 1) {
            return false;
        }
        tokens -= 1;
        return true;
    }

  private:
    const double rate;
    double tokens;
    std::chrono::steady_clock::time_point filled = std::chrono::steady_clock::now();
};

}  // namespace vexonetwork::network
