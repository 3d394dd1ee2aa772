#pragma once

#include <thread>

#include <vexobase/unique_fd.h>

namespace vexonetd {

/// Sees to it that the process comes to its end, from when a signal asks for that or Begin is
/// called, whatever the other threads do: hooks that run then, on whichever thread, have 2 s in all
/// and none is begun any more; when this still lives 30 s later, because a request or a module
/// hangs, the process ends with status 1. systemd(1) would kill it a little later without a word of
/// ours, and at a terminal nobody would.
class EndWatch {
  public:
    /// Throws std::system_error when there is no descriptor or thread to be had.
    /// @param signals  the descriptor of vexoservice::TakeSignals, which is not read here; outlives
    ///                 this
    explicit EndWatch(int signals);
    ~EndWatch();
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

    /// From now on the time runs. May be called again.
    void Begin();

  private:
    void Watch(int signals) const;

    vexobase::UniqueFd begun;
    vexobase::UniqueFd over;
    std::thread thread;
};

}  // namespace vexonetd
