#pragma once

#include <chrono>
#include <utility>

namespace vexobase {

/// How many lines may be logged about what strangers send: a flood of theirs, however long, costs
/// a number of lines in each span of time, and one that says how many were left out.
class LogBudget {
  public:
    using Clock = std::chrono::steady_clock;

    /// @param linesInSpan, span  a span begins with its first line
    explicit LogBudget(unsigned linesInSpan = 1000,
                       Clock::duration lengthOfSpan = std::chrono::hours(1))
        : lines(linesInSpan), span(lengthOfSpan) {}

    /// Whether a line may be logged now; if not, it is counted.
    bool Spend(Clock::time_point now = Clock::now()) {
        if (now >= end) {
            end = now + span;
            spent = 0;
        }
        if (spent == lines) {
            ++leftOut;
            return false;
        }
        ++spent;
        return true;
    }

    /// How many lines were left out in a span that is over, once; else 0. To be asked before Spend,
    /// and now and then when nothing is to be said.
    unsigned TakeLeftOut(Clock::time_point now = Clock::now()) {
        return now >= end ? std::exchange(leftOut, 0U) : 0U;
    }

  private:
    unsigned lines;
    Clock::duration span;
    Clock::time_point end{};
    unsigned spent = 0;
    unsigned leftOut = 0;
};

}  // namespace vexobase
