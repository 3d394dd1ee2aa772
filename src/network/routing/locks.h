#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include <vexonetwork/utils/lock.h>

namespace vexonetwork::network {

/// Held around reading, changing and replacing a configuration file, so that two writers at once
/// lose nothing. Readers need none: files are replaced at once.
class ConfigLock : public utils::ScopedFileLock {
  public:
    explicit ConfigLock(const std::string& file)
        : ScopedFileLock("/run/vexo/" + file.substr(file.rfind('/') + 1) + ".lock") {}
};

/// A lock whose holders need a moment. Who waits for it in vain makes a single try the next times,
/// until he gets it: a process that hangs with it delays the requests of the daemon once.
template <typename Kind>
class BriefLock : public utils::ScopedFileLock {
  protected:
    BriefLock(const std::string& path, std::chrono::milliseconds pause)
        : ScopedFileLock(path, pause, holderHangs ? 1 : int(kLongestWait / pause)) {
        holderHangs = !*this;
    }

  private:
    static constexpr std::chrono::milliseconds kLongestWait{500};
    static inline std::atomic<bool> holderHangs = false;
};

/// Held around reading and replacing the file of the table numbers.
class TablesLock : public BriefLock<TablesLock> {
  public:
    static constexpr char kPath[] = "/run/vexo/rt_tables.lock";

    TablesLock() : BriefLock(kPath, std::chrono::milliseconds(10)) {}
};

/// Held while the kernel is compared with what should be and brought in step with it: two processes
/// at once would each add what both miss. Who does not get it proceeds without it, so that a
/// process that hangs stops nobody.
class KernelTurn : public BriefLock<KernelTurn> {
  public:
    KernelTurn() : BriefLock("/run/vexo/kernel-routes.lock", std::chrono::milliseconds(2)) {}
};

}  // namespace vexonetwork::network
