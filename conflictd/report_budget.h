#pragma once

#include <deque>

#include <vexobase/log_budget.h>

#include "address_watch.h"

namespace conflictd {

/// Which conflicts are told. Packets come from strangers, who may forge as many as they like: a
/// conflict is told once in a minute for each pair of an address and a MAC, for one address at
/// most three times, and all of them together thirty times, or three hundred in an hour.
class ReportBudget {
  public:
    enum class Answer {
        kTell,
        kKnown,    ///< told less than a minute ago
        kTooMany,  ///< one that was not told
    };

    Answer Ask(Ipv4Address address, const MacAddress& mac, Clock::time_point now);

  private:
    struct Report {
        Ipv4Address address;
        MacAddress mac;
        Clock::time_point time;
    };

    std::deque<Report> told;  ///< in the last minute, by time; bounded by what may be told
    vexobase::LogBudget inMinute{30, std::chrono::minutes(1)};
    vexobase::LogBudget inHour{300, std::chrono::hours(1)};
};

}  // namespace conflictd
