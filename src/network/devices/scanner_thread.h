#pragma once

#include <functional>
#include <thread>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network {

/// The thread of a scanner. It may be started again when it was stopped.
class ScannerThread {
  public:
    /// What the thread does until the descriptor, which is never read, becomes readable. After an
    /// exception it is begun anew, soon at first and then within a minute, with a log line.
    using Work = std::function<void(int stop)>;

    ScannerThread() = default;
    ~ScannerThread() { Stop(); }
    ScannerThread(const ScannerThread&) = delete;
    ScannerThread& operator=(const ScannerThread&) = delete;

    /// Starts the thread; one that runs goes on.
    /// @param name  for the log and debuggers, at most 15 bytes
    /// @return 0, or -1 after a log line
    int Start(const char* name, Work work);

    /// Has the thread end and waits for that.
    void Stop();

  private:
    vexobase::UniqueFd stop;
    std::thread thread;
};

}  // namespace vexonetwork::network
