#include <string.h>
#include <unistd.h>

#include <cerrno>

#include <vexobase/log.h>
#include <vexonetwork/emitter/net_link_flag.h>
#include <vlib/proc.h>

namespace vexonetwork::utils {
namespace {

constexpr char kFlagFile[] = "/tmp/.net_link_is_processing";

}  // namespace

void SetNetLinkIsProcessing() {
    if (VLIBCProcPidFileCreate(kFlagFile) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to write pid file: %s", ::strerror(errno));
    }
}

void UnsetNetLinkIsProcessing() {
    if (::unlink(kFlagFile) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to unlike pid file: %s", ::strerror(errno));
    }
}

bool IsNetLinkProcessing() {
    const pid_t pid = VLIBCReadPidFile(kFlagFile);
    return pid >= 1 && VLIBCProcAlive(pid) == 1;
}

}  // namespace vexonetwork::utils
