#pragma once

#include <string>

#include <vexonetwork/utils/lock.h>

namespace vexonetwork::network {

/// Held around reading, changing and replacing a configuration file, so that two writers at once
/// lose nothing. Readers need none: files are replaced at once.
class ConfigLock {
  public:
    explicit ConfigLock(const std::string& file)
        : lock("/run/vexo/" + file.substr(file.rfind('/') + 1) + ".lock", true),
          held(lock.Lock()) {}
    ~ConfigLock() {
        if (held) {
            lock.Unlock();
        }
    }
    ConfigLock(const ConfigLock&) = delete;
    ConfigLock& operator=(const ConfigLock&) = delete;

    explicit operator bool() const { return held; }

  private:
    utils::FileLock lock;
    bool held;
};

}  // namespace vexonetwork::network
