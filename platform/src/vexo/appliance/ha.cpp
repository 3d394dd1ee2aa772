#include "vexo/ha.h"

#include <net/if.h>

#include <algorithm>

#include "vexo/out_text.h"
#include "vlib/error.h"
#include "vlib/file.h"

namespace {

constexpr char kConfig[] = "/usr/vexo/etc/ha.conf";

}  // namespace

int VEXOHAIsRunning(void) {
    return VLIBCFileCheckKeyValue(kConfig, "running", "yes", 0);
}

int VEXOHAGetHeartbeatIF(char* ifname, int size) {
    // One byte more than a name may have, so that a longer one is not cut to another name.
    char name[IFNAMSIZ + 1] = "";
    if (VLIBCFileGetKeyValue(kConfig, "heartbeat_if", name, sizeof name, 0) <= 0) {
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    // A name that is too long fits into no buffer for names.
    return vexoplatform::PutOut(name, ifname, std::min(size, IFNAMSIZ));
}
