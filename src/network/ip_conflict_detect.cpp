#include "vexonetwork/network/ip_conflict_detect.h"

#include <vexo/systemd.h>
#include <vexobase/log.h>
#include <vlib/file.h>

namespace vexonetwork::network {
namespace {

constexpr char kFile[] = "/usr/vexo/etc/vexo_ip_conflict_detect.conf";
constexpr char kKey[] = "enable";
constexpr char kUnit[] = "ip-conflict-detect";

bool SetFlag(const char* value) {
    if (VLIBCFileSetKeyValue(kFile, kKey, value, nullptr) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to set enable to %s", kFile);
        return false;
    }
    return true;
}

}  // namespace

bool IPConflictDetect::Enable() {
    if (!SetFlag("yes")) {
        return false;
    }
    if (!VEXOCSystemdEnable(kUnit)) {
        VEXO_LOG(LOG_ERR, "Failed to enable ip conflict detect service.");
        return false;
    }
    if (!VEXOCSystemdStart(kUnit)) {
        VEXO_LOG(LOG_ERR, "Failed to start ip conflict detect service.");
        return false;
    }
    return true;
}

bool IPConflictDetect::Disable() {
    if (!SetFlag("no")) {
        return false;
    }
    if (!VEXOCSystemdStop(kUnit)) {
        VEXO_LOG(LOG_ERR, "Failed to stop ip conflict detect service");
        return false;
    }
    if (!VEXOCSystemdDisable(kUnit)) {
        // Not a slip: this text is what those who read the log already know for it.
        VEXO_LOG(LOG_ERR, "Failed to enable ip conflict detect service.");
        return false;
    }
    return true;
}

bool IPConflictDetect::IsEnable() {
    return VLIBCFileCheckKeyValue(kFile, kKey, "yes", 0) == 1;
}

}  // namespace vexonetwork::network
