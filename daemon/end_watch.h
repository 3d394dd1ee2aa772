#pragma once

#include <thread>

#include <vexobase/unique_fd.h>

namespace vexonetd {

/// Sees to it that the process comes to its end: when a signal has asked for that, or the end has
/// begun, and this still lives 40 s later, the process ends with status 1. That is a second hook
/// that hangs, or a request that does; systemd(1) would kill the process a little later without a
/// word of ours, and at a terminal nobody would.
class EndWatch {
  public:
    /// @param signals  the descriptor of TakeSignals, which is not read here; outlives this
    explicit EndWatch(int signals);
    ~EndWatch();
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

    /// From now on the time runs.
    void Begin();

  private:
    void Watch(int signals) const;

    vexobase::UniqueFd begun;
    vexobase::UniqueFd over;
    std::thread thread;
};

}  // namespace vexonetd
