#pragma once

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

/// Held while the kernel is compared with what should be and brought in step with it: two processes
/// at once would each add what both miss. Best-effort lock: waits one second, then proceeds without
/// it, so that a process that hangs stops nobody.
class KernelTurn : public utils::ScopedFileLock {
  public:
    KernelTurn()
        : ScopedFileLock("/run/vexo/kernel-routes.lock", std::chrono::milliseconds(2), 500) {}
};

}  // namespace vexonetwork::network
