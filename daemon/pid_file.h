#pragma once

#include <vexobase/unique_fd.h>

namespace vexonetd {

/// The daemon's pid file, locked for as long as this lives: of two daemons one gives way.
///
/// In the end the file is emptied, not removed. A daemon that starts in that moment may have
/// opened it already, would lock a file without a name, and a third one would then find no lock.
class PidFile {
  public:
    PidFile();
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    /// Whether the file is ours.
    explicit operator bool() const { return static_cast<bool>(fd); }

    /// The living process that the file names; 0 when there is none.
    static int Holder();

  private:
    vexobase::UniqueFd fd;
};

}  // namespace vexonetd
