#include "vexo/hooks/hook_limits.h"

#include <poll.h>

#include <algorithm>
#include <atomic>

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
    std::atomic<int> intervalMilliseconds = 0;
};
Watch watch;

/// When those that run are killed, as the process ends; a time of steady_clock.
constexpr steady_clock::rep kNever = steady_clock::duration::max().count();
std::atomic<steady_clock::rep> stopTime = kNever;

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
    deadline.Lower(steady_clock::time_point(steady_clock::duration(stopTime)), HookLimit::kStop);
    return deadline;
}

/// As poll(2) takes it: until then, or until it is time to look for a stop and to tell of progress.
int TimeoutUntil(steady_clock::time_point time) {
    constexpr milliseconds kLookForStop(500);
    const int interval = watch.intervalMilliseconds;
    const auto longest =
        interval > 0 ? std::min(kLookForStop, milliseconds(interval)) : kLookForStop;
    const auto left = std::chrono::ceil<milliseconds>(time - steady_clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}

void TellProgress() {
    if (auto* const progress = watch.progress.load(); progress != nullptr && request.depth > 0) {
        progress();
    }
}

HookLimit Await(int process, steady_clock::time_point start, milliseconds timeout) {
    for (;;) {
        const Deadline deadline = DeadlineOf(start, timeout);
        pollfd event{process, POLLIN, 0};
        if (::poll(&event, 1, TimeoutUntil(deadline.time)) > 0) {
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
    if (stopTime != kNever) {
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
    vexoplatform::watch.intervalMilliseconds = milliseconds;
    vexoplatform::watch.progress = progress;
}

void VEXOHookStop(int milliseconds) {
    const auto time = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    auto never = vexoplatform::kNever;
    vexoplatform::stopTime.compare_exchange_strong(never, time.time_since_epoch().count());
}
