#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vexonetctl {

/// Says on a terminal's standard error what is being waited for, when it takes more than a second,
/// and takes that back at the end. Elsewhere it says nothing.
class Patience {
  public:
    explicit Patience(const std::string& text);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

  private:
    std::mutex mutex;
    std::condition_variable change;
    bool over = false;
    std::thread thread;
};

}  // namespace vexonetctl
