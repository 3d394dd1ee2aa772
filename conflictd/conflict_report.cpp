#include "conflict_report.h"

#include <pthread.h>

#include <exception>
#include <utility>

#include <vexo/event_log.h>
#include <vexo/hook_limits.h>
#include <vexobase/log.h>
#include <vexonetsdk/base_hook.h>

namespace conflictd {
namespace {

constexpr int kWarning = 2;
constexpr int kEventConflict = 0x11801330;
constexpr int kHookGraceMilliseconds = 2000;

/// As many as may be told in a minute; more wait only for hooks that hang.
constexpr std::size_t kMaxWaiting = 30;

void RunHook(const Conflict& conflict) {
    vexonetsdk::hook::BaseHook hook("net", "ip_conflict");
    hook.SetEnv("IFNAME", conflict.ifname);
    hook.SetEnv("ADDRESS", ToText(conflict.address));
    hook.SetEnv("MAC", ToText(conflict.mac));
    hook.ExecHook();  // what fails in it is in the log
}

}  // namespace

ConflictReport::ConflictReport() : thread([this] { RunHooks(); }) {
    ::pthread_setname_np(thread.native_handle(), "hooks");
}

ConflictReport::~ConflictReport() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_one();
    if (VEXOHookStop != nullptr) {
        VEXOHookStop(kHookGraceMilliseconds);
    }
    thread.join();
}

void ConflictReport::Tell(const Conflict& conflict, Clock::time_point now) {
    switch (budget.Ask(conflict.address, conflict.mac, now)) {
        case ReportBudget::Answer::kKnown:
            return;
        case ReportBudget::Answer::kTooMany:
            SayTooMany(now);
            return;
        case ReportBudget::Answer::kTell:
            break;
    }
    const std::string address = ToText(conflict.address);
    const std::string mac = ToText(conflict.mac);
    VEXO_LOG(LOG_WARNING, "Address [%s] of [%s] is also used by [%s]: one of the two has to change",
             address.c_str(), conflict.ifname.c_str(), mac.c_str());
    VEXOLogSet1(kWarning, 1, kEventConflict, conflict.ifname.c_str(), address.c_str(), mac.c_str(),
                "", "", "", "");
    QueueHook(conflict);
}

void ConflictReport::SayTooMany(Clock::time_point now) {
    if (overflow.Spend(now)) {
        VEXO_LOG(LOG_WARNING, "More conflicts than are told in a minute; ARP may be forged");
    }
}

void ConflictReport::QueueHook(const Conflict& conflict) {
    const std::lock_guard lock(mutex);
    if (waiting.size() >= kMaxWaiting) {
        VEXO_LOG(LOG_ERR, "Hooks of a conflict on [%s] are not run: too many others wait",
                 conflict.ifname.c_str());
        return;
    }
    waiting.push_back(conflict);
    changed.notify_one();
}

void ConflictReport::RunHooks() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return stopping || !waiting.empty(); });
        if (stopping) {
            return;
        }
        const Conflict next = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        try {
            RunHook(next);
        } catch (const std::exception& error) {
            VEXO_LOG(LOG_ERR, "Failed to run the hooks of a conflict: %.200s", error.what());
        }
        lock.lock();
    }
}

}  // namespace conflictd
