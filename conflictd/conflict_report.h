#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <vexobase/log_budget.h>

#include "conflict.h"
#include "report_budget.h"

namespace conflictd {

/// Tells conflicts to the system log, the event log and the hooks net/ip_conflict, within a
/// budget. Hooks take their time, so they run on a thread of their own.
class ConflictReport {
  public:
    ConflictReport();

    /// For the end of the process: hooks that have not begun are left out, the one that runs has
    /// two seconds.
    ~ConflictReport();
    ConflictReport(const ConflictReport&) = delete;
    ConflictReport& operator=(const ConflictReport&) = delete;

    void Tell(const Conflict& conflict, Clock::time_point now);

  private:
    void SayTooMany(Clock::time_point now);
    void QueueHook(const Conflict& conflict);
    void RunHooks();

    ReportBudget budget;
    vexobase::LogBudget overflow{1, std::chrono::minutes(1)};  ///< for conflicts that are not told
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Conflict> waiting;
    bool stopping = false;
    std::thread thread;
};

}  // namespace conflictd
