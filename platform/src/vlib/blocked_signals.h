#pragma once

#include <csignal>

namespace vlib {

/// While it lives, threads that this one starts begin with every signal blocked, so that each
/// signal still reaches those threads that the process has for it.
class BlockedSignals {
  public:
    BlockedSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &former);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t former;
};

}  // namespace vlib
