#include "vexoservice/signals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <vexobase/log.h>

namespace vexoservice {

vexobase::UniqueFd TakeSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaddset(&signals, number);
    }
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return vexobase::UniqueFd();
    }
    return vexobase::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool TakeSignal(int signals) {
    signalfd_siginfo signal{};
    if (::read(signals, &signal, sizeof signal) != sizeof signal) {
        return false;
    }
    VEXO_LOG(LOG_INFO, "Ending on signal %u of process %u", signal.ssi_signo, signal.ssi_pid);
    return true;
}

}  // namespace vexoservice
