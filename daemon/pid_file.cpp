#include "pid_file.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <vexobase/log.h>
#include <vexonetwork/utils/create_pid_file.h>
#include <vlib/proc.h>

namespace vexonetd {
namespace {

constexpr char kPath[] = "/var/run/vexonetd.pid";

}  // namespace

PidFile::PidFile() : fd(vexonetwork::utils::CreatePidFile(kPath)) {
    // Clients that are not root look here whether there is a daemon to ask.
    if (fd && ::fchmod(fd.Get(), 0644) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to make [%s] readable: %s", kPath, ::strerror(errno));
    }
}

PidFile::~PidFile() {
    if (fd && ::ftruncate(fd.Get(), 0) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to empty [%s]: %s", kPath, ::strerror(errno));
    }
}

int PidFile::Holder() {
    return ::VLIBCProcAliveByPidFile(kPath) == 1 ? ::VLIBCReadPidFile(kPath) : 0;
}

}  // namespace vexonetd
