#include "vexo/hooks/hook_limits.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <set>

#include <vexobase/unique_fd.h>

#include "vexo/hook_limits.h"

namespace vexoplatform {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The request that a thread serves.
struct Request {
    int depth = 0;
    milliseconds budget{};
    steady_clock::duration left{};
};
thread_local Request request;

struct Watch {
    std::atomic<void (*)()> progress = nullptr;
    std::atomic<int> interval = 0;  ///< milliseconds
};
Watch watch;

/// The end of the process, and the descriptors that wake those who wait for hooks. Never
/// destroyed: threads may wait until the process is gone.
class Stop {
  public:
    static Stop& Get() {
        static Stop& stop = *new Stop;
        return stop;
    }

    void Begin(milliseconds grace) {
        const std::lock_guard guard(mutex);
        if (!HasBegun()) {
            deadline = (steady_clock::now() + grace).time_since_epoch().count();
        }
        for (const int fd : waiting) {
            ::eventfd_write(fd, 1);
        }
    }

    bool HasBegun() const { return deadline != kNever; }

    steady_clock::time_point Deadline() const {
        return steady_clock::time_point(steady_clock::duration(deadline));
    }

    void Add(int fd) {
        const std::lock_guard guard(mutex);
        waiting.insert(fd);
    }
    void Remove(int fd) {
        const std::lock_guard guard(mutex);
        waiting.erase(fd);
    }

  private:
    static constexpr steady_clock::rep kNever = steady_clock::duration::max().count();

    std::atomic<steady_clock::rep> deadline = kNever;
    std::mutex mutex;
    std::set<int> waiting;
};

/// Becomes readable when the stop begins. It may have begun before this was made.
class StopSign {
  public:
    StopSign() : fd(::eventfd(0, EFD_CLOEXEC)) { Stop::Get().Add(fd.Get()); }
    ~StopSign() { Stop::Get().Remove(fd.Get()); }
    StopSign(const StopSign&) = delete;
    StopSign& operator=(const StopSign&) = delete;

    int Descriptor() const { return Stop::Get().HasBegun() ? -1 : fd.Get(); }

  private:
    vexobase::UniqueFd fd;
};

/// Until when a hook may run, and what ends it then.
struct Deadline {
    steady_clock::time_point time;
    HookLimit limit;

    void Lower(steady_clock::time_point other, HookLimit otherLimit) {
        if (other < time) {
            *this = {other, otherLimit};
        }
    }
};

Deadline DeadlineOf(steady_clock::time_point start, milliseconds timeout) {
    Deadline deadline{start + timeout, HookLimit::kOwn};
    if (request.depth > 0) {
        deadline.Lower(start + request.left, HookLimit::kRequest);
    }
    deadline.Lower(Stop::Get().Deadline(), HookLimit::kStop);
    return deadline;
}

/// As poll(2) takes it, at most until somebody is to be told of progress.
int TimeoutUntil(steady_clock::time_point time) {
    // A stop is noticed also by who could not have a descriptor for its sign.
    constexpr milliseconds kLongest = std::chrono::seconds(1);
    const int interval = watch.interval;
    const auto longest = interval > 0 ? std::min(kLongest, milliseconds(interval)) : kLongest;
    const auto left = std::chrono::ceil<milliseconds>(time - steady_clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}

/// @return whether the process has ended, before a time, a stop, or the next sign of progress
bool EndsSoon(int process, const StopSign& stop, steady_clock::time_point time) {
    std::array<pollfd, 2> events{{{process, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}}};
    return ::poll(events.data(), events.size(), TimeoutUntil(time)) > 0 && events[0].revents != 0;
}

void TellProgress() {
    if (auto* const progress = watch.progress.load(); progress != nullptr && request.depth > 0) {
        progress();
    }
}

HookLimit Await(int process, steady_clock::time_point start, milliseconds timeout) {
    const StopSign stop;
    for (;;) {
        const Deadline deadline = DeadlineOf(start, timeout);
        if (EndsSoon(process, stop, deadline.time)) {
            return HookLimit::kNone;
        }
        if (steady_clock::now() >= deadline.time) {
            return deadline.limit;
        }
        TellProgress();
    }
}

}  // namespace

HookLimit LimitNow() {
    if (Stop::Get().HasBegun()) {
        return HookLimit::kStop;
    }
    return request.depth > 0 && request.left <= steady_clock::duration() ? HookLimit::kRequest
                                                                         : HookLimit::kNone;
}

HookLimit AwaitHook(int process, milliseconds timeout) {
    const auto start = steady_clock::now();
    const HookLimit limit = Await(process, start, timeout);
    request.left -= steady_clock::now() - start;
    return limit;
}

std::string Reason(HookLimit limit) {
    switch (limit) {
        case HookLimit::kRequest:
            return ", as all hooks of a request have " + std::to_string(request.budget.count())
                   + " ms together";
        case HookLimit::kStop:
            return ", as this process ends";
        default:
            return "";
    }
}

}  // namespace vexoplatform

using vexoplatform::request;

void VEXOHookRequestBegin(int milliseconds) {
    if (request.depth++ == 0) {
        request.budget = std::chrono::milliseconds(milliseconds);
        request.left = request.budget;
    }
}

void VEXOHookRequestEnd(void) {
    --request.depth;
}

void VEXOHookWatch(void (*progress)(void), int milliseconds) {
    vexoplatform::watch.interval = milliseconds;
    vexoplatform::watch.progress = progress;
}

void VEXOHookStop(int milliseconds) {
    vexoplatform::Stop::Get().Begin(std::chrono::milliseconds(milliseconds));
}
