#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <random>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

#include "conflict_detector.h"
#include "options.h"

namespace conflictd {
namespace {

constexpr std::chrono::hours kLongest(1);

/// SIGTERM and SIGINT as a descriptor. Taken before the first thread starts: threads inherit the
/// mask.
vexobase::UniqueFd TakeSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return vexobase::UniqueFd();
    }
    return vexobase::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// How often the supervisor wants to hear of this process; sd_watchdog_enabled(3).
Clock::duration WatchdogInterval() {
    uint64_t microseconds = 0;
    const bool isAsked = ::sd_watchdog_enabled(0, &microseconds) > 0;
    return isAsked ? Clock::duration(std::chrono::microseconds(microseconds / 2)) : kLongest;
}

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

/// Until a signal is pending, which it then still is: no further hook is begun because of that.
void Serve(int signals) {
    ConflictDetector detector(RandomTimes());
    const auto interval = WatchdogInterval();
    auto nextSign = Clock::now();
    bool wasReady = false;
    while (!IsReadable(signals)) {
        detector.Turn(nextSign, signals);
        if (detector.IsReady() && !std::exchange(wasReady, true)) {
            ::sd_notify(0, "READY=1");
        }
        if (Clock::now() >= nextSign) {
            ::sd_notify(0, "WATCHDOG=1");
            nextSign = Clock::now() + interval;
        }
    }
    ::sd_notify(0, "STOPPING=1");
}

void LogSignal(int signals) {
    signalfd_siginfo signal{};
    if (::read(signals, &signal, sizeof signal) == sizeof signal) {
        VEXO_LOG(LOG_INFO, "Ended on signal %u of process %u", signal.ssi_signo, signal.ssi_pid);
    }
}

int EndWith(const Options& options, const std::string& why) {
    VEXO_LOG(LOG_ERR, "%s", why.c_str());
    if (!options.foreground) {  // else the log is on stderr already
        std::fprintf(stderr, "vexonet-conflictd: %s\n", why.c_str());
    }
    return kFailed;
}

int Run(const Options& options) {
    try {
        const vexobase::UniqueFd signals = TakeSignals();
        if (!signals) {
            return EndWith(options, std::string("cannot take signals: ") + ::strerror(errno));
        }
        Serve(signals.Get());
        LogSignal(signals.Get());
        return kEnded;
    } catch (const std::exception& error) {
        return EndWith(options, error.what());
    }
}

}  // namespace
}  // namespace conflictd

int main(int argc, char* argv[]) {
    conflictd::ExitCode exitCode = conflictd::kEnded;
    const auto options = conflictd::ReadOptions(argc, argv, exitCode);
    if (!options) {
        return exitCode;
    }
    ::openlog("vexonet-conflictd", LOG_PID | (options->foreground ? LOG_PERROR : 0), LOG_DAEMON);
    return conflictd::Run(*options);
}
