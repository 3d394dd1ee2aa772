#include <poll.h>
#include <string.h>
#include <vexoservice/program.h>
#include <vexoservice/signals.h>
#include <vexoservice/supervisor.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <random>
#include <string>

#include <vexobase/unique_fd.h>

#include "conflict_detector.h"

namespace conflictd {
namespace {

constexpr vexoservice::Program kProgram = {
    .name = "vexonet-conflictd",
    .purpose =
        "Finds out whether another host uses an IPv4 address of this machine. It stays in the\n"
        "foreground of its supervisor, logs to the system log and ends on SIGTERM.\n",
    .example =
        "for a trial as root:\n"
        "  vexonet-conflictd --foreground\n",
};

constexpr std::chrono::hours kLongest(1);

Draw RandomTimes() {
    return [source = std::minstd_rand(std::random_device()())](Clock::duration least,
                                                               Clock::duration most) mutable {
        std::uniform_int_distribution<Clock::rep> times(least.count(), most.count());
        return Clock::duration(times(source));
    };
}

bool IsReadable(int fd) {
    pollfd event{fd, POLLIN, 0};
    return ::poll(&event, 1, 0) > 0;
}

/// What the supervisor is told, and when.
class Signs {
  public:
    /// @return when to call again, at the latest
    Clock::time_point Tell(bool isReady, Clock::time_point now) {
        if (isReady && !toldReady) {
            toldReady = vexoservice::TellSupervisor("READY=1");
        }
        if (now >= next) {
            if (interval) {
                vexoservice::TellSupervisor("WATCHDOG=1");
            }
            next = now + interval.value_or(kLongest);
        }
        return isReady && !toldReady ? std::min(next, now + vexoservice::kTellAgain) : next;
    }

  private:
    const std::optional<std::chrono::microseconds> interval = vexoservice::WatchdogInterval();
    Clock::time_point next = Clock::now();
    bool toldReady = false;
};

/// Until a signal asks for the end.
void Serve(int signals) {
    ConflictDetector detector(RandomTimes());
    Signs signs;
    while (!IsReadable(signals)) {
        const auto next = signs.Tell(detector.IsReady(), Clock::now());
        detector.Turn(next, signals);
    }
    vexoservice::TakeSignal(signals);
    vexoservice::TellSupervisor("STOPPING=1");
}

/// @return why the service ends; "" when it was asked to
std::string Run() {
    const vexobase::UniqueFd signals = vexoservice::TakeSignals();
    if (!signals) {
        return std::string("cannot take signals: ") + ::strerror(errno);
    }
    Serve(signals.Get());
    return "";
}

}  // namespace
}  // namespace conflictd

int main(int argc, char* argv[]) {
    return vexoservice::RunService(conflictd::kProgram, argc, argv, conflictd::Run);
}
