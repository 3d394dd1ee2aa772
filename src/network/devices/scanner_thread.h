#pragma once

#include <functional>
#include <thread>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network {

/// The thread of a scanner. It may be started again after its end.
class ScannerThread {
  public:
    /// What the thread does until the descriptor, which is never read, becomes readable.
    using Work = std::function<void(int stop)>;

    ScannerThread() = default;
    ~ScannerThread() { Stop(); }
    ScannerThread(const ScannerThread&) = delete;
    ScannerThread& operator=(const ScannerThread&) = delete;

    /// Starts the thread; one that runs goes on. An exception of its work ends it with a log line.
    /// @param name  for debuggers, at most 15 bytes
    /// @return 0, or -1 after a log line
    int Start(const char* name, Work work);

    /// Has the thread end and waits for that.
    void Stop();

  private:
    vexobase::UniqueFd stop;
    std::thread thread;
};

}  // namespace vexonetwork::network
