#include "vexo/firewall.h"

#include <string>

#include "vexo/services/system_manager.h"
#include "vlib/error.h"

int VEXOFwRuleHup(void) {
    const std::string unit = "nftables.service";
    auto manager = vexoplatform::SystemManager::Connect();
    const int active = manager ? manager->IsActive(unit) : -1;
    if (active == 0) {
        return 0;
    }
    if (active < 0 || !manager->RunJob("ReloadOrRestartUnit", unit)) {
        VLIBCErrSet(VLIB_ERR_SYSTEMD_FAILED);
        return -1;
    }
    return 0;
}
