#include "vexo/services/unit_jobs.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

#include <vexobase/log.h>

#include "vexo/services/system_manager.h"
#include "vlib/blocked_signals.h"

namespace vexoplatform {

namespace {

/// A few for each interface; more than these wait only for a manager that does not answer.
constexpr std::size_t kMaxWaiting = 64;

struct Job {
    const char* method;
    std::string unit;
};

void LogLost(const char* method, const std::string& unit, const char* reason) {
    VEXO_LOG(LOG_ERR, "The system manager is not told to %s [%s]: %s", method, unit.c_str(),
             reason);
}

void HandOver(const Job& job) {
    try {
        auto manager = SystemManager::Connect();
        if (!manager) {
            LogLost(job.method, job.unit, "it cannot be reached");
            return;
        }
        manager->QueueJob(job.method, job.unit);
    } catch (const std::exception& error) {
        LogLost(job.method, job.unit, error.what());
    }
}

class JobQueue {
  public:
    bool Add(const char* method, const std::string& unit) {
        const std::lock_guard lock(mutex);
        if (jobs.size() >= kMaxWaiting) {
            LogLost(method, unit, "too many others wait");
            return false;
        }
        if (!hasThread) {
            Start();
        }
        jobs.push_back({method, unit});
        added.notify_one();
        return true;
    }

    const char* Newest(const std::string& unit) {
        const std::lock_guard lock(mutex);
        const auto place = std::find_if(jobs.rbegin(), jobs.rend(),
                                        [&unit](const Job& job) { return job.unit == unit; });
        return place == jobs.rend() ? nullptr : place->method;
    }

  private:
    void Start() {
        const vlib::BlockedSignals blocked;
        std::thread thread([this] { Work(); });
        ::pthread_setname_np(thread.native_handle(), "unit-jobs");
        thread.detach();
        hasThread = true;
    }

    [[noreturn]] void Work() {
        for (;;) {
            HandOver(First());
            const std::lock_guard lock(mutex);
            jobs.pop_front();
        }
    }

    /// It stays in the queue until it is handed over, and where it is: others are only appended.
    const Job& First() {
        std::unique_lock lock(mutex);
        added.wait(lock, [this] { return !jobs.empty(); });
        return jobs.front();
    }

    std::mutex mutex;
    std::condition_variable added;
    std::deque<Job> jobs;
    bool hasThread = false;
};

/// Never destroyed: its thread lives until the process is gone.
JobQueue& Queue() {
    static JobQueue& queue = *new JobQueue;
    return queue;
}

}  // namespace

bool QueueUnitJob(const char* method, const std::string& unit) {
    if (!SystemManager::Runs()) {
        return false;
    }
    try {
        return Queue().Add(method, unit);
    } catch (const std::exception& error) {
        LogLost(method, unit, error.what());
        return false;
    }
}

const char* PendingUnitJob(const std::string& unit) {
    return Queue().Newest(unit);
}

}  // namespace vexoplatform
